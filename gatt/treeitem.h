#pragma once

#include <QList>

#include "gatt/gattattribute.h"

// A node of the attribute tree: a copy of its attribute and its children. The model that makes
// the items owns them; an item only points at its children and parent.
class TreeItem
{
public:
    // An item made with a parent is that parent's last child.
    TreeItem(const GattAttribute& attribute, TreeItem* parent);

    TreeItem* child(int row) const { return m_children.value(row); }
    int childCount() const { return m_children.size(); }
    int columnCount() const { return m_columns; }
    // The place of this item among its parent's children.
    int row() const;
    TreeItem* parentItem() const { return m_parent; }
    const GattAttribute& attribute() const { return m_attribute; }
    GattAttribute& attribute() { return m_attribute; }
    void removeChildren() { m_children.clear(); }

private:
    QList<TreeItem*> m_children;
    GattAttribute m_attribute;
    TreeItem* m_parent = nullptr;
    int m_columns = GattAttributes::ColumnCount;
};
