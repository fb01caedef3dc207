#pragma once

#include <QAbstractItemModel>
#include <QHash>
#include <QVector>

#include "gatt/gattattribute.h"

class LogManager;
class TreeItem;

// The attribute table nested as services, their includes and characteristics, and each
// characteristic's value row and descriptors; built at the end of a whole discovery, after
// checking that the nesting holds.
class TreeModel : public QAbstractItemModel
{
    Q_OBJECT
    Q_DISABLE_COPY(TreeModel)

public:
    // The table is the panel's; the model only reads it.
    TreeModel(LogManager* logger, const QVector<GattAttribute>* attributeTable, QObject* parent = nullptr);
    ~TreeModel() override;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // 0, or -1 after a logged failure.
    int build();
    void clear();
    // A value that came from the peer, shown in the arrival colour; -1 when no row has the handle.
    int updateValue(quint16 handle, const QByteArray& value);
    int getAttribute(const QModelIndex& index, GattAttribute& out) const;
    QVector<TreeItem*> items() const { return allItems; }

private:
    int buildService(TreeItem* service, int start, int end);
    TreeItem* makeItem(const GattAttribute& attribute, TreeItem* parent);
    QModelIndex indexOf(TreeItem* item, int column) const;

    LogManager* m_logger = nullptr;
    TreeItem* m_root = nullptr;
    const QVector<GattAttribute>* m_attributeTable = nullptr;
    QVector<TreeItem*> allItems;
    int buildState = 0;
    // The first item of each handle: notifications find their row without a walk.
    QHash<quint16, TreeItem*> m_firstByHandle;
};
