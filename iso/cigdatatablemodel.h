#pragma once

#include "iso/isoparameters.h"
#include "schema/recordtablemodel.h"

// The groups of the CIG/CIS page, one a row.
class CigDataTableModel : public RecordTableModel<cigParameter>
{
    Q_OBJECT

public:
    using RecordTableModel::RecordTableModel;

    // The caption of a sleep clock accuracy; empty for a value no controller knows.
    static QString scaText(const QString& sca);

    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
};
