#include "slavebigdatatablemodel.h"

SlaveBigDataTableModel::SlaveBigDataTableModel(QObject* parent)
    : IsoTableModel({"BIGID", "AdvIndex", "NumBIS", "SDU(us)", "MSDU", "TL(ms)", "Packing", "Framing", "Encryption",
                     "Bcode", "Status"},
                    parent)
{
}

QVariant SlaveBigDataTableModel::cell(const slaveBigPara& big, int column, int role) const
{
    if (column == 10)
        return statusIcon(role, big.created == 1);
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case 0: return big.big_id;
    case 1: return big.adv_index;
    case 2: return big.number_bis;
    case 3: return big.sdu_interval;
    case 4: return big.max_sdu;
    case 5: return big.transport_latency;
    case 6: return captionOf(big.packing, {"Sequential", "Interleaved"});
    case 7: return captionOf(big.framing, {"UnFramed", "Framed"});
    case 8: return captionOf(big.encryption, {"UnEncrypted", "Encrypted"});
    case 9: return big.broadcastcode;
    default: return {};
    }
}
