#include "cigdatatablemodel.h"

#include <QIcon>

#include <iterator>

namespace {

const char* const kHeaders[] = {"CIGID", "SDUM2S(us)", "SDUS2M(us)", "TLM2S(ms)", "TLS2M(ms)",
                                "SCA",   "Packing",    "Framing",    "Status"};
constexpr int kStatusColumn = 8;

QString captionOf(const QString& value, std::initializer_list<const char*> captions)
{
    bool ok = false;
    const uint index = value.toUInt(&ok);
    return ok && index < captions.size() ? QLatin1String(captions.begin()[index]) : QString();
}

} // namespace

QString CigDataTableModel::scaText(const QString& sca)
{
    return captionOf(sca, {"251 ppm to 500 ppm", "151 ppm to 250 ppm", "101 ppm to 150 ppm", "76 ppm to 100 ppm",
                           "51 ppm to 75 ppm", "31 ppm to 50 ppm", "21 ppm to 30 ppm", "0 ppm to 20 ppm"});
}

int CigDataTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(std::size(kHeaders));
}

QVariant CigDataTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    if (role == Qt::TextAlignmentRole)
        return 0x81;
    const cigParameter& cig = m_rows.at(index.row());
    if (role == Qt::DecorationRole && index.column() == kStatusColumn && cig.configured == 1)
        return QIcon(QStringLiteral(":/icons/status"));
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
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

QVariant CigDataTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < columnCount())
        return QLatin1String(kHeaders[section]);
    return QAbstractTableModel::headerData(section, orientation, role);
}
