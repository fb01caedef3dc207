#include "csettingcategory.h"

#include <QLabel>
#include <QVBoxLayout>

CSettingCategory::CSettingCategory(const QString& title, CSetting* parent)
    : CSetting(title, title, parent)
{
}

QLayout* CSettingCategory::buildBox()
{
    m_box = new QVBoxLayout(this);
    m_box->setSpacing(15);
    m_box->setContentsMargins(0, 0, 0, 0);
    auto* caption = new QLabel(m_title, this);
    caption->setStyleSheet(QStringLiteral("font: 12pt"));
    m_box->addWidget(caption);
    return m_box;
}

void CSettingCategory::addToLayout(QLayout* layout)
{
    if (!m_box) {
        QLayout* box = buildBox();
        for (CSetting* child : qAsConst(m_children))
            child->addToLayout(box);
    }
    layout->addWidget(this);
    show();
}

void CSettingCategory::addChild(CSetting* setting)
{
    if (m_children.contains(setting))
        return;
    m_children.append(setting);
    setting->setParentSetting(this);
}

void CSettingCategory::removeChild(CSetting* setting)
{
    for (int i = 0; i < m_children.size(); ++i) {
        if (m_children.at(i)->key() == setting->key()) {
            m_children.removeAt(i);
            setting->setParentSetting(nullptr);
            return;
        }
    }
}

CSetting* CSettingCategory::childAt(int index) const
{
    return m_children.value(index, nullptr);
}

int CSettingCategory::childCount() const
{
    return m_children.size();
}
