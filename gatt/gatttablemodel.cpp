#include "gatttablemodel.h"

#include <QColor>

#include "log/logmanager.h"

using namespace GattAttributes;

namespace {

const QColor kOddRowBackground(0xf7, 0xf7, 0xf7);

} // namespace

GattTableModel::GattTableModel(LogManager* logger, const QVector<GattAttribute>* attributeTable, QObject* parent)
    : QAbstractItemModel(parent)
    , m_logger(logger)
    , m_attributeTable(attributeTable)
{
}

QModelIndex GattTableModel::index(int row, int column, const QModelIndex& parent) const
{
    if (parent.isValid() || row < 0 || row >= rows.size() || column < 0 || column >= ColumnCount)
        return QModelIndex();
    return createIndex(row, column);
}

QModelIndex GattTableModel::parent(const QModelIndex&) const
{
    return QModelIndex();
}

int GattTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : rows.size();
}

int GattTableModel::columnCount(const QModelIndex&) const
{
    return ColumnCount;
}

QVariant GattTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rows.size())
        return QVariant();
    if (role == Qt::BackgroundRole)
        return index.row() % 2 == 0 ? QColor(Qt::white) : kOddRowBackground;
    return cellData(rows.at(index.row()), index.column(), role);
}

QVariant GattTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    return GattAttributes::headerData(section, orientation, role);
}

Qt::ItemFlags GattTableModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? QAbstractItemModel::flags(index) : Qt::NoItemFlags;
}

void GattTableModel::clear()
{
    beginResetModel();
    rows.clear();
    m_firstByHandle.clear();
    endResetModel();
}

void GattTableModel::build(bool withValueRows)
{
    clear();
    const QVector<GattAttribute>& table = *m_attributeTable;
    const auto append = [this](const GattAttribute& row) {
        if (!m_firstByHandle.contains(row.handle))
            m_firstByHandle.insert(row.handle, rows.size());
        rows.append(row);
    };
    for (int i = 0; i < table.size(); ++i) {
        const GattAttribute& slot = table.at(i);
        if (slot.used == 0)
            continue;
        if (isUuid16(slot, PrimaryService)) {
            GattAttribute service = slot;
            service.value.remove(0, 4);
            append(service);
        } else if (isUuid16(slot, Characteristic)) {
            append(slot);
            if (!withValueRows)
                continue;
            GattAttribute row;
            if (!valueRow(slot, &row)) {
                // The rows so far only grew since the reset of clear(): a view that hears
                // nothing of them until the next reset shows fewer, never a missing one.
                m_logger->log(QStringLiteral("Gatt table model data is wrong."), 4);
                return;
            }
            append(row);
            ++i; // the placeholder that stood for the value
        } else {
            append(slot);
        }
    }
    beginResetModel();
    endResetModel();
}

int GattTableModel::updateValue(quint16 handle, const QByteArray& value)
{
    const auto it = m_firstByHandle.constFind(handle);
    if (it == m_firstByHandle.constEnd())
        return -1;
    GattAttribute& row = rows[it.value()];
    row.value = value;
    row.textColor = ArrivedColor;
    const QModelIndex cell = index(it.value(), 3);
    emit dataChanged(cell, cell, {Qt::DisplayRole, Qt::ToolTipRole, Qt::ForegroundRole});
    return 0;
}

int GattTableModel::getAttribute(const QModelIndex& index, GattAttribute& out) const
{
    if (!index.isValid() || index.row() >= rows.size())
        return -1;
    out = rows.at(index.row());
    return 0;
}
