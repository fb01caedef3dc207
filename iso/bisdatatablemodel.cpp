#include "bisdatatablemodel.h"

BisDataTableModel::BisDataTableModel(QObject* parent)
    : IsoTableModel({"BIS ID", "BIS Connection Handle"}, parent)
{
}

QVariant BisDataTableModel::cell(const bisParameter& bis, int column, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case 0: return bis.bis_id;
    case 1: return bis.connection_handle;
    default: return {};
    }
}
