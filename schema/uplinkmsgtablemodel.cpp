#include "uplinkmsgtablemodel.h"

#include "schema/ccfgfileparse.h"

UplinkBitTableModel::UplinkBitTableModel(const QString& title, const QList<UiEnumElem>& elems,
                                         int bitsPerRow, QObject* parent)
    : QAbstractTableModel(parent)
    , m_title(title)
    , m_statusIcon(QStringLiteral(":/icons/status"))
    , m_bitsPerRow(bitsPerRow)
{
    m_rows.reserve(elems.size());
    for (const UiEnumElem& elem : elems)
        m_rows.append({elem.desc, elem.value, 0});
}

int UplinkBitTableModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid())
        return 0;
    // The folded table keeps a last row even when the bits pair up evenly.
    return m_bitsPerRow == 1 ? m_rows.size() : m_rows.size() / m_bitsPerRow + 1;
}

int UplinkBitTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2 * m_bitsPerRow;
}

QVariant UplinkBitTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return QVariant();
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    const int bit = index.row() * m_bitsPerRow + index.column() / 2;
    if (bit >= m_rows.size())
        return QVariant();
    const bool stateColumn = index.column() % 2 == 1;
    if (role == Qt::DisplayRole && !stateColumn)
        return m_rows.at(bit).caption;
    if (role == Qt::DecorationRole && stateColumn && m_rows.at(bit).state == 1)
        return m_statusIcon;
    return QVariant();
}

QVariant UplinkBitTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return section % 2 == 0 ? m_title : QStringLiteral("Enable");
}

void UplinkBitTableModel::setValue(quint64 value)
{
    for (Row& row : m_rows)
        row.state = (value & row.mask) != 0 ? 1 : 0;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

uplinkMsgTableModel::uplinkMsgTableModel(const QString& title, const QList<UiEnumElem>& elems,
                                         QObject* parent)
    : UplinkBitTableModel(title, elems, 2, parent)
{
}

uplinkMsgHalfTableModel::uplinkMsgHalfTableModel(const QString& title,
                                                 const QList<UiEnumElem>& elems, QObject* parent)
    : UplinkBitTableModel(title, elems, 1, parent)
{
}
