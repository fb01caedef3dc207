#pragma once

#include "settings/csettingcategory.h"

class QTreeWidget;
class QTreeWidgetItem;

// A node of the dialog's catalogue; a group without sub-groups is one page.
class CSettingGroup : public CSettingCategory
{
    Q_OBJECT
    Q_DISABLE_COPY(CSettingGroup)

public:
    CSettingGroup(const QString& title, CSetting* parent);

    void addToTree(QTreeWidget* tree);
    QTreeWidgetItem* treeItem() const { return m_treeItem; }
    bool hasSubGroups() const;

protected:
    QLayout* buildBox() override;

private:
    QTreeWidgetItem* m_treeItem = nullptr;
};
