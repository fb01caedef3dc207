#include "csettinggroup.h"

#include <QFrame>
#include <QTreeWidget>
#include <QVBoxLayout>

CSettingGroup::CSettingGroup(const QString& title, CSetting* parent)
    : CSettingCategory(title, parent)
{
}

QLayout* CSettingGroup::buildBox()
{
    m_box = new QVBoxLayout(this);
    m_box->setContentsMargins(0, 0, 0, 0);
    auto* frame = new QFrame(this);
    auto* frameBox = new QVBoxLayout(frame);
    frameBox->setSpacing(30);
    m_box->addWidget(frame);
    m_box->addStretch();
    return frameBox;
}

void CSettingGroup::addToTree(QTreeWidget* tree)
{
    auto* parentGroup = qobject_cast<CSettingGroup*>(m_parent);
    if (parentGroup && parentGroup->treeItem())
        m_treeItem = new QTreeWidgetItem(parentGroup->treeItem(), {m_title});
    else
        m_treeItem = new QTreeWidgetItem(tree, {m_title});
    m_treeItem->setData(0, Qt::UserRole, QVariant::fromValue<QObject*>(this));
    for (CSetting* child : qAsConst(m_children)) {
        if (auto* group = qobject_cast<CSettingGroup*>(child))
            group->addToTree(tree);
    }
}

bool CSettingGroup::hasSubGroups() const
{
    for (CSetting* child : m_children) {
        if (qobject_cast<CSettingGroup*>(child))
            return true;
    }
    return false;
}
