#include "receivedatatablemodel.h"

#include "log/logmanager.h"
#include "schema/cutil.h"

ReceiveDataTableModel::ReceiveDataTableModel(LogManager* logger, QObject* parent)
    : QAbstractTableModel(parent)
    , m_logger(logger)
{
    UiNameToFields component;
    if (CUtil::findUiFields(CCfgFileParse::instance()->m_uplinkNameToUiVec, QStringLiteral("RECEIVE_CIS_DATA"),
                            component)
            != 0
        && m_logger)
        m_logger->log(QStringLiteral("find element from m_uplinkNameToUiVec failed."), 4);
    m_columns = component.fields;
}

ReceiveDataTableModel::~ReceiveDataTableModel() = default;

void ReceiveDataTableModel::addRow(const UplinkFieldMap& fields)
{
    if (m_rows.size() >= MaxRows) {
        beginRemoveRows(QModelIndex(), 0, 0);
        m_rows.removeFirst();
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), m_rows.size(), m_rows.size());
    m_rows.append(fields);
    endInsertRows();
}

void ReceiveDataTableModel::clear()
{
    beginResetModel();
    m_rows.clear();
    endResetModel();
}

int ReceiveDataTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int ReceiveDataTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_columns.size();
}

QVariant ReceiveDataTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || index.column() >= m_columns.size())
        return {};
    const UiField& column = m_columns.at(index.column());
    const QByteArray value = m_rows.at(index.row()).value(column.key);
    if (value.isEmpty())
        return {};
    if (role == Qt::TextAlignmentRole)
        return Qt::AlignCenter;
    if (role != Qt::DisplayRole)
        return {};
    if (column.type == QLatin1String("string"))
        return QString::fromLatin1(value.toHex());
    if (column.type == QLatin1String("enum"))
        return column.valueToDesc.value(quint8(value.at(0)));
    if (column.type == QLatin1String("number")) {
        quint64 number = 0;
        if (CUtil::arrayToValue(0, value, number) != 0) {
            if (m_logger)
                m_logger->log(QStringLiteral("Number format is wrong"), 4);
            return {};
        }
        return QString::number(number);
    }
    return {};
}

QVariant ReceiveDataTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < m_columns.size())
        return m_columns.at(section).title;
    return QAbstractTableModel::headerData(section, orientation, role);
}
