#include "datatablemodel.h"

#include <QRegExp>

namespace {

// A length of this size is a name's: any text will do.
constexpr quint32 kUnlimitedLength = 0xFF;

} // namespace

dataTableModel::dataTableModel(const QVector<AdvDataField>& types, QObject* parent)
    : QAbstractTableModel(parent)
    , m_types(types)
{
}

int dataTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int dataTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant dataTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    if (role == Qt::DisplayRole || role == Qt::EditRole) {
        const Row& row = m_rows.at(index.row());
        return index.column() == 0 ? row.first : row.second;
    }
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    return QVariant();
}

QVariant dataTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return section + 1;
    return section == 0 ? QStringLiteral("AD Type") : QStringLiteral("Value");
}

Qt::ItemFlags dataTableModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags f = QAbstractTableModel::flags(index);
    if (index.isValid() && index.column() == 1)
        f |= Qt::ItemIsEditable;
    return f;
}

bool dataTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !index.isValid() || index.column() != 1 || index.row() >= m_rows.size())
        return false;
    const QString text = value.toString();
    if (text.isEmpty())
        return false;
    const QString& title = m_rows.at(index.row()).first;
    for (const AdvDataField& type : qAsConst(m_types)) {
        if (type.title != title || type.type == QLatin1String("string") || type.type == QLatin1String("hex"))
            continue;
        if (!QRegExp(QStringLiteral("[0-9a-fA-F]*")).exactMatch(text))
            return false;
        // The length counts bytes; a custom row has none, being a whole structure of any size.
        if (type.length != 0 && type.length != kUnlimitedLength && quint32(text.size()) > 2 * type.length)
            return false;
        break;
    }
    m_rows[index.row()].second = text;
    emit dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole});
    return true;
}

bool dataTableModel::containsTitle(const QString& title) const
{
    for (const Row& row : m_rows) {
        if (row.first == title)
            return true;
    }
    return false;
}

void dataTableModel::appendRow(const QString& title, const QString& value)
{
    beginInsertRows(QModelIndex(), m_rows.size(), m_rows.size());
    m_rows.append({title, value});
    endInsertRows();
}

void dataTableModel::removeRowAt(int row)
{
    if (row < 0 || row >= m_rows.size())
        return;
    beginRemoveRows(QModelIndex(), row, row);
    m_rows.remove(row);
    endRemoveRows();
}

void dataTableModel::clear()
{
    beginResetModel();
    m_rows.clear();
    endResetModel();
}
