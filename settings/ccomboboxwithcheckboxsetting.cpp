#include "ccomboboxwithcheckboxsetting.h"

#include <QHBoxLayout>

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
        QHBoxLayout* row = makeTitledRow();
        m_comboBox = new CComboBoxWithCheckBox(m_items, this);
        m_comboBox->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        m_comboBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        m_comboBox->setMinimumContentsLength(20);
        row->addWidget(m_comboBox);
        setValue(m_value);
        connect(m_comboBox, &CComboBoxWithCheckBox::comboxWithCheckBoxValueChanged, this,
                &CComboBoxWithCheckBoxSetting::valueChanged);
    }
    layout->addWidget(this);
    show();
}
