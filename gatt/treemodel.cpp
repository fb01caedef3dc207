#include "treemodel.h"

#include <QColor>

#include "gatt/treeitem.h"
#include "log/logmanager.h"

using namespace GattAttributes;

namespace {

const QColor kServiceBackground(0xe4, 0xe4, 0xe4);
const QColor kDeclarationBackground(0xf7, 0xf7, 0xf7);

} // namespace

TreeModel::TreeModel(LogManager* logger, const QVector<GattAttribute>* attributeTable, QObject* parent)
    : QAbstractItemModel(parent)
    , m_logger(logger)
    , m_root(new TreeItem(GattAttribute(), nullptr))
    , m_attributeTable(attributeTable)
{
}

TreeModel::~TreeModel()
{
    qDeleteAll(allItems);
    delete m_root;
}

QModelIndex TreeModel::index(int row, int column, const QModelIndex& parent) const
{
    if (row < 0 || column < 0 || column >= ColumnCount)
        return QModelIndex();
    const TreeItem* parentItem = parent.isValid() ? static_cast<TreeItem*>(parent.internalPointer()) : m_root;
    TreeItem* child = parentItem->child(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex TreeModel::parent(const QModelIndex& index) const
{
    if (!index.isValid())
        return QModelIndex();
    TreeItem* parentItem = static_cast<TreeItem*>(index.internalPointer())->parentItem();
    return parentItem == m_root || !parentItem ? QModelIndex() : indexOf(parentItem, 0);
}

int TreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    const TreeItem* item = parent.isValid() ? static_cast<TreeItem*>(parent.internalPointer()) : m_root;
    return item->childCount();
}

int TreeModel::columnCount(const QModelIndex&) const
{
    return ColumnCount;
}

QVariant TreeModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return QVariant();
    const GattAttribute& attribute = static_cast<TreeItem*>(index.internalPointer())->attribute();
    if (role == Qt::BackgroundRole) {
        if (isUuid16(attribute, PrimaryService))
            return kServiceBackground;
        if (isUuid16(attribute, Characteristic))
            return kDeclarationBackground;
        return QVariant();
    }
    return cellData(attribute, index.column(), role);
}

QVariant TreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    return GattAttributes::headerData(section, orientation, role);
}

Qt::ItemFlags TreeModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? QAbstractItemModel::flags(index) : Qt::NoItemFlags;
}

void TreeModel::clear()
{
    beginResetModel();
    qDeleteAll(allItems);
    allItems.clear();
    m_firstByHandle.clear();
    m_root->removeChildren();
    endResetModel();
}

TreeItem* TreeModel::makeItem(const GattAttribute& attribute, TreeItem* parent)
{
    auto* item = new TreeItem(attribute, parent);
    allItems.append(item);
    if (!m_firstByHandle.contains(attribute.handle))
        m_firstByHandle.insert(attribute.handle, item);
    return item;
}

int TreeModel::build()
{
    clear();
    const QVector<GattAttribute>& table = *m_attributeTable;
    const auto used = [&table](int h) { return h < table.size() && table.at(h).used == 1; };
    for (int i = 0; i < table.size();) {
        const GattAttribute& slot = table.at(i);
        if (slot.used == 0 || !isUuid16(slot, PrimaryService)) {
            ++i;
            continue;
        }
        quint16 start = 0;
        quint16 end = 0;
        if (!readHandle(slot.value, 0, &start) || !readHandle(slot.value, 2, &end) || start != i) {
            m_logger->log(QStringLiteral("GATT tree model data is wrong."), 4);
            return -1;
        }
        int last = end == 0xFFFF ? table.size() - 1 : end;
        int lastUsed = start;
        for (int h = start; h <= last; ++h) {
            if (used(h))
                lastUsed = h;
        }
        if (lastUsed != last) {
            m_logger->log(QStringLiteral("The service end handle is not correct"), 3);
            last = lastUsed;
        }
        GattAttribute service = slot;
        service.value.remove(0, 4);
        if (buildService(makeItem(service, m_root), start, last) != 0)
            return -1;
        i = last + 1;
    }
    beginResetModel();
    endResetModel();
    return 0;
}

int TreeModel::buildService(TreeItem* service, int start, int end)
{
    const QVector<GattAttribute>& table = *m_attributeTable;
    buildState = 0;
    TreeItem* current = nullptr;
    for (int h = start + 1; h <= end; ++h) {
        const GattAttribute slot = h < table.size() ? table.at(h) : GattAttribute();
        switch (buildState) {
        case 0:
            if (isUuid16(slot, Include)) {
                makeItem(slot, service);
            } else if (isUuid16(slot, Characteristic)) {
                current = makeItem(slot, service);
                buildState = 1;
            } else {
                m_logger->log(QStringLiteral("GATT tree model data is wrong."), 4);
                return -1;
            }
            break;
        case 1: {
            GattAttribute row;
            if (!valueRow(current->attribute(), &row) || row.handle != h) {
                m_logger->log(QStringLiteral("GATT tree model data is wrong."), 4);
                return -1;
            }
            makeItem(row, current);
            buildState = 2;
            break;
        }
        case 2:
            // Only a new declaration ends a characteristic: an include here is a descriptor.
            if (isUuid16(slot, Characteristic)) {
                current = makeItem(slot, service);
                buildState = 1;
            } else {
                makeItem(slot, current);
            }
            break;
        default:
            m_logger->log(QStringLiteral("state is wrong."), 1);
            return 0;
        }
    }
    return 0;
}

QModelIndex TreeModel::indexOf(TreeItem* item, int column) const
{
    return createIndex(item->row(), column, item);
}

int TreeModel::updateValue(quint16 handle, const QByteArray& value)
{
    TreeItem* item = m_firstByHandle.value(handle);
    if (!item)
        return -1;
    item->attribute().value = value;
    item->attribute().textColor = ArrivedColor;
    const QModelIndex cell = indexOf(item, 3);
    emit dataChanged(cell, cell, {Qt::DisplayRole, Qt::ToolTipRole, Qt::ForegroundRole});
    return 0;
}

int TreeModel::getAttribute(const QModelIndex& index, GattAttribute& out) const
{
    if (!index.isValid() || index.model() != this)
        return -1;
    out = static_cast<TreeItem*>(index.internalPointer())->attribute();
    return 0;
}
