#include "cprofiletablemodel.h"

CProfileTableModel::CProfileTableModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

int CProfileTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int CProfileTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 3;
}

QVariant CProfileTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const Row& row = m_rows.at(index.row());
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    if (role == Qt::CheckStateRole && index.column() == 0)
        return row.checkState;
    if (role == Qt::DisplayRole) {
        if (index.column() == 1)
            return row.id;
        if (index.column() == 2)
            return row.name;
    }
    return {};
}

bool CProfileTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || index.column() != 0 || role != Qt::CheckStateRole)
        return false;
    m_rows[index.row()].checkState = Qt::CheckState(value.toInt());
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

QVariant CProfileTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case 1:
        return QStringLiteral("ID");
    case 2:
        return QStringLiteral("Profile Name");
    default:
        return QString();
    }
}

Qt::ItemFlags CProfileTableModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (index.column() == 0)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QByteArray CProfileTableModel::value() const
{
    QByteArray records;
    for (const Row& row : m_rows) {
        const QByteArray name = row.name.toLatin1();
        records.append(char(row.checkState == Qt::Checked ? 1 : 0));
        records.append(char(name.size() + 1));
        records.append(char(row.id));
        records.append(name);
    }
    return records;
}

void CProfileTableModel::setValue(const QByteArray& records)
{
    beginResetModel();
    m_rows = parseRows(records);
    endResetModel();
}

QVector<CProfileTableModel::Row> CProfileTableModel::parseRows(const QByteArray& records)
{
    QVector<Row> rows;
    for (int at = 0; at + 2 < records.size();) {
        const int length = quint8(records.at(at + 1));
        if (at + 2 + length > records.size())
            break;
        if (length == 0) {
            at += 2;
            continue;
        }
        Row row;
        row.checkState = records.at(at) == 1 ? Qt::Checked : Qt::Unchecked;
        row.id = quint8(records.at(at + 2));
        row.name = QString::fromLatin1(records.mid(at + 3, length - 1));
        rows.append(row);
        at += 2 + length;
    }
    return rows;
}
