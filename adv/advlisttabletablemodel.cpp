#include "advlisttabletablemodel.h"

#include <algorithm>

#include "log/logmanager.h"

namespace {

enum Column { IndexColumn, TypeColumn, StatusColumn, ColumnCount };

} // namespace

AdvListTableTableModel::AdvListTableTableModel(LogManager* logger, QObject* parent)
    : QAbstractTableModel(parent)
    , m_logger(logger)
    , m_statusIcon(QStringLiteral(":/icons/status"))
{
}

AdvListTableTableModel::~AdvListTableTableModel() = default;

int AdvListTableTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_items.size();
}

int AdvListTableTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant AdvListTableTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_items.size())
        return QVariant();
    const AdvListItem& item = m_items.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        if (index.column() == IndexColumn)
            return item.advIndex;
        if (index.column() == TypeColumn)
            return item.advType;
        return QVariant();
    case Qt::DecorationRole:
        return index.column() == StatusColumn && item.status ? QVariant(m_statusIcon) : QVariant();
    case Qt::TextAlignmentRole:
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    default:
        return QVariant();
    }
}

QVariant AdvListTableTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return section + 1;
    switch (section) {
    case IndexColumn:
        return QStringLiteral("Adv Index");
    case TypeColumn:
        return QStringLiteral("Advertising Type");
    case StatusColumn:
        return QStringLiteral("Status");
    default:
        if (m_logger)
            m_logger->log(QStringLiteral("Device list error."), 1);
        return QVariant();
    }
}

bool AdvListTableTableModel::appendItem(const AdvListItem& item)
{
    if (m_items.size() >= MaxSets || rowOf(item.advIndex) >= 0)
        return false;
    beginInsertRows(QModelIndex(), m_items.size(), m_items.size());
    m_items.append(item);
    endInsertRows();
    return true;
}

bool AdvListTableTableModel::removeItem(int row)
{
    if (row < 0 || row >= m_items.size())
        return false;
    beginRemoveRows(QModelIndex(), row, row);
    m_items.remove(row);
    endRemoveRows();
    return true;
}

void AdvListTableTableModel::clear()
{
    beginResetModel();
    m_items.clear();
    endResetModel();
}

int AdvListTableTableModel::rowOf(int advIndex) const
{
    const auto found = std::find_if(m_items.cbegin(), m_items.cend(),
                                    [advIndex](const AdvListItem& item) { return item.advIndex == advIndex; });
    return found == m_items.cend() ? -1 : int(found - m_items.cbegin());
}

void AdvListTableTableModel::setStatus(int row, bool status)
{
    if (row < 0 || row >= m_items.size())
        return;
    m_items[row].status = status;
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

bool AdvListTableTableModel::anyRunning() const
{
    return std::any_of(m_items.cbegin(), m_items.cend(), [](const AdvListItem& item) { return item.status; });
}
