#pragma once

#include "iso/isoparameters.h"
#include "iso/isotablemodel.h"

// The streams of the group shown, one a row; the user ticks those to create.
class CisDataTableModel : public IsoTableModel<cisParameter>
{
    Q_OBJECT

public:
    explicit CisDataTableModel(QObject* parent = nullptr);

    // The caption of a PHY value; empty for one that is not a PHY.
    static QString phyText(const QString& phy);

    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

protected:
    QVariant cell(const cisParameter& cis, int column, int role) const override;
};
