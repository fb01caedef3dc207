#include "ccomboboxwithcheckboxsetting.h"

#include <QHBoxLayout>
#include <QLabel>

#include "schema/ccomboboxwithcheckbox.h"

CComboBoxWithCheckBoxSetting::CComboBoxWithCheckBoxSetting(const QString& key, const QString& title,
                                                           const QMap<uint, QString>& items,
                                                           uint defaultValue, CSetting* parent)
    : CSetting(key, title, parent)
    , m_items(items)
{
    m_defaultValue = defaultValue;
    m_value = defaultValue;
}

void CComboBoxWithCheckBoxSetting::setReadOnly(bool readOnly)
{
    if (m_comboBox)
        m_comboBox->setEnabled(!readOnly);
}

QVariant CComboBoxWithCheckBoxSetting::value() const
{
    if (!m_comboBox)
        return m_value;
    return m_comboBox->value();
}

void CComboBoxWithCheckBoxSetting::setValue(const QVariant& value)
{
    m_value = value.toUInt();
    if (m_comboBox)
        m_comboBox->setValue(m_value.toUInt());
}

void CComboBoxWithCheckBoxSetting::addToLayout(QLayout* layout)
{
    if (!m_comboBox) {
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(0, 0, 0, 0);
        auto* label = new QLabel(m_title, this);
        label->setMinimumWidth(260);
        row->addWidget(label);
        m_comboBox = new CComboBoxWithCheckBox(m_items, this);
        m_comboBox->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        row->addWidget(m_comboBox);
        setValue(m_value);
        connect(m_comboBox, &CComboBoxWithCheckBox::comboxWithCheckBoxValueChanged, this,
                &CComboBoxWithCheckBoxSetting::valueChanged);
    }
    layout->addWidget(this);
    show();
}
