#include "bigdatatablemodel.h"

BigDataTableModel::BigDataTableModel(QObject* parent)
    : IsoTableModel({"BIGID", "ST(ms)", "Encryption", "Bcode", "Status"}, parent)
{
}

QVariant BigDataTableModel::cell(const bigParameter& big, int column, int role) const
{
    if (column == 4)
        return statusIcon(role, big.created == 1);
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case 0: return big.big_id;
    case 1: return big.big_sync_timeout;
    case 2: return captionOf(big.encryption, {"UnEncrypted", "Encrypted"});
    case 3: return big.broadcastcode;
    default: return {};
    }
}
