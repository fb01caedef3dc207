#include "cigdatatablemodel.h"

CigDataTableModel::CigDataTableModel(QObject* parent)
    : IsoTableModel({"CIGID", "SDUM2S(us)", "SDUS2M(us)", "TLM2S(ms)", "TLS2M(ms)", "SCA", "Packing", "Framing",
                     "Status"},
                    parent)
{
}

QString CigDataTableModel::scaText(const QString& sca)
{
    return captionOf(sca, {"251 ppm to 500 ppm", "151 ppm to 250 ppm", "101 ppm to 150 ppm", "76 ppm to 100 ppm",
                           "51 ppm to 75 ppm", "31 ppm to 50 ppm", "21 ppm to 30 ppm", "0 ppm to 20 ppm"});
}

QVariant CigDataTableModel::cell(const cigParameter& cig, int column, int role) const
{
    if (column == 8)
        return statusIcon(role, cig.configured == 1);
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case 0: return cig.cig_id;
    case 1: return cig.sdu_interval_m2s;
    case 2: return cig.sdu_interval_s2m;
    case 3: return cig.transport_latency_m2s;
    case 4: return cig.transport_latency_s2m;
    case 5: return scaText(cig.sca);
    case 6: return captionOf(cig.packing, {"Sequential", "Interleaved"});
    case 7: return captionOf(cig.framing, {"Unframed", "Framed"});
    default: return {};
    }
}
