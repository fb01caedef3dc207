#include "deviceentrymodel.h"

#include "log/logmanager.h"
#include "schema/cutil.h"

DeviceEntryModel::DeviceEntryModel(LogManager* logger, const QVector<Column>& columns, QObject* parent)
    : QAbstractTableModel(parent)
    , m_logger(logger)
    , m_columns(columns)
{
}

int DeviceEntryModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int DeviceEntryModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_columns.size();
}

QVariant DeviceEntryModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || index.column() >= m_columns.size())
        return QVariant();
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return QVariant();
    const Column& column = m_columns.at(index.column());
    const QByteArray bytes = m_rows.at(index.row()).value(QLatin1String(column.key));
    if (bytes.size() != column.length) {
        if (column.wrongLength)
            m_logger->log(QLatin1String(column.wrongLength), 1);
        return QString();
    }
    return text(column, bytes);
}

QString DeviceEntryModel::text(const Column& column, const QByteArray& bytes) const
{
    const quint8 first = quint8(bytes.at(0));
    switch (column.kind) {
    case Kind::Address:
        return QString::fromLatin1(CUtil::reversed(bytes).toHex(':'));
    case Kind::TypeCapitalised:
        return first == 0 ? QStringLiteral("Public") : QStringLiteral("Random");
    case Kind::TypeLowerCase:
        return first == 0 ? QStringLiteral("public") : QStringLiteral("random");
    case Kind::Number:
        return QString::number(first);
    case Kind::PrivacyMode:
        return first == 0 ? QStringLiteral("network") : QStringLiteral("device");
    case Kind::Key:
        // Keys are written most significant byte first, the wire carries them the other way.
        return QString::fromLatin1(CUtil::reversed(bytes).toHex());
    }
    return QString();
}

QVariant DeviceEntryModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return section + 1;
    if (section < 0 || section >= m_columns.size()) {
        m_logger->log(QStringLiteral("Device list error."), 1);
        return QVariant();
    }
    return QLatin1String(m_columns.at(section).title);
}

int DeviceEntryModel::addItem(const UplinkFieldMap& fields)
{
    UplinkFieldMap entry;
    for (const Column& column : qAsConst(m_columns)) {
        const QByteArray bytes = fields.value(QLatin1String(column.key));
        if (bytes.size() != column.length)
            return -1;
        entry.insert(QLatin1String(column.key), bytes);
    }
    beginResetModel();
    m_rows.append(entry);
    endResetModel();
    return 0;
}

bool DeviceEntryModel::removeItem(const UplinkFieldMap& fields)
{
    for (int row = 0; row < m_rows.size(); ++row) {
        const UplinkFieldMap& entry = m_rows.at(row);
        bool same = true;
        for (auto it = entry.cbegin(); same && it != entry.cend(); ++it)
            same = fields.value(it.key()) == it.value();
        if (same) {
            beginRemoveRows(QModelIndex(), row, row);
            m_rows.remove(row);
            endRemoveRows();
            return true;
        }
    }
    return false;
}

void DeviceEntryModel::clear()
{
    beginResetModel();
    m_rows.clear();
    endResetModel();
}

UplinkFieldMap DeviceEntryModel::item(int row) const
{
    return m_rows.value(row);
}

int DeviceEntryModel::entrySize() const
{
    int size = 0;
    for (const Column& column : m_columns)
        size += column.length;
    return size;
}

bool DeviceEntryModel::setContent(const QByteArray& bytes)
{
    const int size = entrySize();
    if (bytes.size() % size != 0)
        return false;
    QVector<UplinkFieldMap> rows;
    for (int at = 0; at < bytes.size(); at += size) {
        UplinkFieldMap entry;
        int offset = at;
        for (const Column& column : qAsConst(m_columns)) {
            entry.insert(QLatin1String(column.key), bytes.mid(offset, column.length));
            offset += column.length;
        }
        rows.append(entry);
    }
    beginResetModel();
    m_rows = rows;
    endResetModel();
    return true;
}
