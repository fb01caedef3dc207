#include "cisdatatablemodel.h"

#include <QIcon>

#include <iterator>

namespace {

const char* const kHeaders[] = {"Item",   "CISID",  "MSDUM2S", "MSDUS2M", "PHYM2S",
                                "PHYS2M", "RTNM2S", "RTNS2M",  "CHandle", "CStatus"};
constexpr int kCheckColumn = 0;
constexpr int kStatusColumn = 9;

} // namespace

QString CisDataTableModel::phyText(const QString& phy)
{
    switch (phy.toUInt()) {
    case 1: return QStringLiteral("LE 1M");
    case 2: return QStringLiteral("LE 2M");
    case 4: return QStringLiteral("LE Coded");
    default: return QString();
    }
}

int CisDataTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(std::size(kHeaders));
}

QVariant CisDataTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    if (role == Qt::TextAlignmentRole)
        return 0x81;
    const cisParameter& cis = m_rows.at(index.row());
    if (role == Qt::CheckStateRole && index.column() == kCheckColumn)
        return cis.checked;
    if (role == Qt::DecorationRole && index.column() == kStatusColumn && cis.connected == 1)
        return QIcon(QStringLiteral(":/icons/status"));
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case 1: return cis.cis_id;
    case 2: return cis.max_sdu_m2s;
    case 3: return cis.max_sdu_s2m;
    case 4: return phyText(cis.phy_m2s);
    case 5: return phyText(cis.phy_s2m);
    case 6: return cis.rtn_m2s;
    case 7: return cis.rtn_s2m;
    case 8: return cis.connection_handle;
    default: return {};
    }
}

bool CisDataTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || index.row() >= m_rows.size() || index.column() != kCheckColumn
        || role != Qt::CheckStateRole)
        return false;
    m_rows[index.row()].checked = value.toInt();
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

QVariant CisDataTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < columnCount())
        return QLatin1String(kHeaders[section]);
    return QAbstractTableModel::headerData(section, orientation, role);
}

Qt::ItemFlags CisDataTableModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (index.column() == kCheckColumn)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}
