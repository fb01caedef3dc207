#include "rfrxtablemodel.h"

namespace {

QString hexByte(quint8 value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
}

} // namespace

RfRxTableModel::RfRxTableModel(bool withHeader, QObject* parent)
    : RecordTableModel<RfRxRecord>(parent)
    , m_withHeader(withHeader)
{
}

int RfRxTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : (m_withHeader ? 4 : 3);
}

RfRxTableModel::Column RfRxTableModel::columnAt(int section) const
{
    return Column(!m_withHeader && section > Time ? section + 1 : section);
}

QVariant RfRxTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    if (role == Qt::TextAlignmentRole)
        return columnAt(index.column()) == Payload ? QVariant() : QVariant(Qt::AlignCenter);
    if (role != Qt::DisplayRole)
        return QVariant();
    const RfRxRecord& record = m_rows.at(index.row());
    switch (columnAt(index.column())) {
    case Time:
        return record.time.toString(QStringLiteral("hh:mm:ss.zzz"));
    case Header:
        return hexByte(record.header);
    case Length:
        return hexByte(record.length);
    case Payload:
        return QString::fromLatin1(record.payload.toHex().toUpper());
    }
    return QVariant();
}

QVariant RfRxTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return RecordTableModel<RfRxRecord>::headerData(section, orientation, role);
    static const char* const titles[] = {"Rx Time", "Header", "Length", "Payload"};
    return QString::fromLatin1(titles[columnAt(section)]);
}
