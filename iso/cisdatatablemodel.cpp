#include "cisdatatablemodel.h"

namespace {

constexpr int kCheckColumn = 0;

} // namespace

CisDataTableModel::CisDataTableModel(QObject* parent)
    : IsoTableModel({"Item", "CISID", "MSDUM2S", "MSDUS2M", "PHYM2S", "PHYS2M", "RTNM2S", "RTNS2M", "CHandle",
                     "CStatus"},
                    parent)
{
}

QString CisDataTableModel::phyText(const QString& phy)
{
    switch (phy.toUInt()) {
    case 1: return QStringLiteral("LE 1M");
    case 2: return QStringLiteral("LE 2M");
    case 4: return QStringLiteral("LE Coded");
    default: return QString();
    }
}

QVariant CisDataTableModel::cell(const cisParameter& cis, int column, int role) const
{
    if (column == kCheckColumn)
        return role == Qt::CheckStateRole ? QVariant(cis.checked) : QVariant();
    if (column == 9)
        return statusIcon(role, cis.connected == 1);
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
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

Qt::ItemFlags CisDataTableModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (index.column() == kCheckColumn)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}
