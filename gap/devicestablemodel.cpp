#include "devicestablemodel.h"

#include <QColor>

#include "log/logmanager.h"
#include "schema/cutil.h"

namespace {

const QString kAddrKey = QStringLiteral("addr");
const QString kAddrTypeKey = QStringLiteral("addr_type");
const QString kConnectedKey = QStringLiteral("connected");

constexpr int kAddrLength = 6;
constexpr quint8 kConnectedState = 2;

QString addressText(const QByteArray& addr)
{
    static const char digits[] = "0123456789abcdef";
    QString text;
    text.reserve(3 * kAddrLength - 1);
    // The air carries the address least significant byte first; people read it the other way.
    for (int i = kAddrLength - 1; i >= 0; --i) {
        const quint8 b = static_cast<quint8>(addr.at(i));
        text.append(QLatin1Char(digits[b >> 4]));
        text.append(QLatin1Char(digits[b & 0x0f]));
        if (i > 0)
            text.append(QLatin1Char(':'));
    }
    return text;
}

} // namespace

DevicesTableModel::DevicesTableModel(LogManager* logger, QVector<DeviceRow>& rows,
                                     const QVector<UiField>& columns, QObject* parent)
    : QAbstractTableModel(parent)
    , m_logger(logger)
    , m_rows(rows)
    , m_columns(columns)
    , m_connectedIcon(QStringLiteral(":/icons/status"))
{
    m_kinds.reserve(m_columns.size());
    for (const UiField& field : qAsConst(m_columns)) {
        Column column;
        column.key = field.key;
        // The special keys win over the file's type: addr and rssi are listed as numbers and
        // connected as an enum, but none of them is shown as one.
        if (field.key == kAddrKey)
            column.kind = Kind::Addr;
        else if (field.key == QLatin1String("rssi"))
            column.kind = Kind::Rssi;
        else if (field.key == kConnectedKey)
            column.kind = Kind::Connected;
        else if (field.type == QLatin1String("string"))
            column.kind = Kind::String;
        else if (field.type == QLatin1String("number"))
            column.kind = Kind::Number;
        else if (field.type == QLatin1String("enum"))
            column.kind = Kind::Enum;
        else if (field.type == QLatin1String("enum_mask"))
            column.kind = Kind::EnumMask;
        else if (field.type == QLatin1String("bool"))
            column.kind = Kind::Bool;
        if (column.kind == Kind::EnumMask) {
            // Only the first byte is looked at, so at most eight bits can be named.
            const int bits = qMin(field.elems.size(), 8);
            for (int k = 0; k < bits; ++k)
                column.maskTexts.append(field.valueToDesc.value(quint64(1) << k));
        }
        m_kinds.append(column);
    }
    for (int i = 0; i < m_rows.size(); ++i) {
        const QPair<QByteArray, QByteArray> key{m_rows.at(i).value(kAddrKey),
                                                m_rows.at(i).value(kAddrTypeKey)};
        if (!m_firstRowOf.contains(key))
            m_firstRowOf.insert(key, i);
    }
}

int DevicesTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int DevicesTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_columns.size();
}

QVariant DevicesTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || index.column() >= m_columns.size())
        return {};

    switch (role) {
    case Qt::BackgroundRole:
        if (m_highlight.isValid() && index.row() == m_highlight.row()
            && index.column() == m_highlight.column())
            return QColor(0, 255, 0);
        return {};
    case Qt::TextAlignmentRole:
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::DecorationRole: {
        const Column& column = m_kinds.at(index.column());
        if (column.kind != Kind::Connected)
            return {};
        const QByteArray state = m_rows.at(index.row()).value(kConnectedKey);
        if (state.size() != 1) {
            log(QStringLiteral("DevicesTableModel::data: connected field is wrong."), 1);
            return {};
        }
        if (static_cast<quint8>(state.at(0)) == kConnectedState)
            return m_connectedIcon;
        return {};
    }
    case Qt::DisplayRole:
    case Qt::ToolTipRole: {
        const Column& column = m_kinds.at(index.column());
        if (column.kind == Kind::Connected)
            return {};
        return cellText(m_rows.at(index.row()), m_columns.at(index.column()), column);
    }
    default:
        return {};
    }
}

QString DevicesTableModel::cellText(const DeviceRow& row, const UiField& field,
                                    const Column& column) const
{
    const auto it = row.constFind(column.key);
    if (it == row.constEnd() || it.value().isEmpty())
        return QString();
    const QByteArray& bytes = it.value();

    switch (column.kind) {
    case Kind::Addr:
        if (bytes.size() != kAddrLength) {
            log(QStringLiteral("Bluetooth Address's format is wrong."), 4);
            return QString();
        }
        return addressText(bytes);
    case Kind::Rssi:
        return QString::number(static_cast<qint8>(bytes.at(0)));
    case Kind::String:
        return QString::fromUtf8(bytes);
    case Kind::Number: {
        quint64 value = 0;
        if (CUtil::arrayToValue(0, bytes, value) != 0) {
            log(QStringLiteral("Number format is wrong"), 4);
            return QString();
        }
        return QString::number(value);
    }
    case Kind::Enum: {
        quint64 value = 0;
        if (CUtil::arrayToValue(0, bytes, value) != 0)
            return QString();
        return field.valueToDesc.value(value);
    }
    case Kind::EnumMask: {
        const quint8 mask = static_cast<quint8>(bytes.at(0));
        QStringList names;
        for (int k = 0; k < column.maskTexts.size(); ++k) {
            if ((mask & (1u << k)) && !column.maskTexts.at(k).isEmpty())
                names.append(column.maskTexts.at(k));
        }
        return names.join(QStringLiteral(" | "));
    }
    case Kind::Bool:
        switch (bytes.at(0)) {
        case 0:
            return QStringLiteral("false");
        case 1:
            return QStringLiteral("true");
        default:
            return QString();
        }
    case Kind::Connected:
    case Kind::Other:
        break;
    }
    return QString();
}

QVariant DevicesTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Vertical)
        return section + 1;
    if (section < 0 || section >= m_columns.size())
        return {};
    return m_columns.at(section).title;
}

QModelIndex DevicesTableModel::highlightIndex() const
{
    return m_highlight;
}

void DevicesTableModel::setHighlightIndex(const QModelIndex& index)
{
    const QModelIndex next = index.isValid() ? this->index(index.row(), index.column()) : QModelIndex();
    if (next == m_highlight)
        return;
    const QModelIndex previous = m_highlight;
    m_highlight = next;
    emitCellChanged(previous);
    emitCellChanged(m_highlight);
}

void DevicesTableModel::emitCellChanged(const QModelIndex& index)
{
    if (index.isValid())
        emit dataChanged(index, index, {Qt::BackgroundRole});
}

int DevicesTableModel::findRow(const QByteArray& addr, const QByteArray& addrType) const
{
    const int row = m_firstRowOf.value({addr, addrType}, -1);
    // Guards against a page that emptied the rows behind the model's back.
    return row < m_rows.size() ? row : -1;
}

void DevicesTableModel::appendRow(const DeviceRow& row)
{
    const int at = m_rows.size();
    beginInsertRows(QModelIndex(), at, at);
    m_rows.append(row);
    // insert() would overwrite: a later row with the same address must not shadow the first.
    const QPair<QByteArray, QByteArray> key{row.value(kAddrKey), row.value(kAddrTypeKey)};
    if (!m_firstRowOf.contains(key))
        m_firstRowOf.insert(key, at);
    endInsertRows();
}

void DevicesTableModel::updateItem(int row)
{
    if (row < 0 || row >= m_rows.size()) {
        log(QStringLiteral("Update item failed."), 4);
        return;
    }
    if (m_columns.isEmpty())
        return;
    emit dataChanged(index(row, 0), index(row, m_columns.size() - 1));
}

void DevicesTableModel::clear()
{
    beginResetModel();
    m_rows.clear();
    m_firstRowOf.clear();
    m_highlight = QModelIndex();
    endResetModel();
}

const QVector<UiField>& DevicesTableModel::columns() const
{
    return m_columns;
}

void DevicesTableModel::log(const QString& text, int level) const
{
    if (m_logger)
        m_logger->log(text, level);
}
