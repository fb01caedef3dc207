#include "ccheckboxsetting.h"

#include <QCheckBox>
#include <QHBoxLayout>

CCheckBoxSetting::CCheckBoxSetting(const QString& key, const QString& title, bool defaultValue,
                                   CSetting* parent)
    : CSetting(key, title, parent)
{
    m_defaultValue = defaultValue;
    m_value = defaultValue;
}

QVariant CCheckBoxSetting::value() const
{
    if (!m_checkBox)
        return m_value;
    return m_checkBox->isChecked();
}

void CCheckBoxSetting::setValue(const QVariant& value)
{
    m_value = value.toBool();
    if (m_checkBox)
        m_checkBox->setChecked(m_value.toBool());
}

void CCheckBoxSetting::addToLayout(QLayout* layout)
{
    if (!m_checkBox) {
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(0, 0, 0, 0);
        m_checkBox = new QCheckBox(m_title, this);
        row->addWidget(m_checkBox);
        setValue(m_value);
    }
    layout->addWidget(this);
    show();
}
