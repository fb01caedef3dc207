#include "treeitem.h"

TreeItem::TreeItem(const GattAttribute& attribute, TreeItem* parent)
    : m_attribute(attribute)
    , m_parent(parent)
{
    if (parent)
        parent->m_children.append(this);
}

int TreeItem::row() const
{
    return m_parent ? m_parent->m_children.indexOf(const_cast<TreeItem*>(this)) : 0;
}
