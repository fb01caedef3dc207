#pragma once

#include "iso/isoparameters.h"
#include "schema/recordtablemodel.h"

// The streams of the group shown, one a row; the user ticks those to create.
class CisDataTableModel : public RecordTableModel<cisParameter>
{
    Q_OBJECT

public:
    using RecordTableModel::RecordTableModel;

    // The caption of a PHY value; empty for one that is not a PHY.
    static QString phyText(const QString& phy);

    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
};
