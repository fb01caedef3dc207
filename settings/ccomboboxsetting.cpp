#include "ccomboboxsetting.h"

#include <QHBoxLayout>

#include "schema/cstyledcombobox.h"

CComboBoxSetting::CComboBoxSetting(const QString& key, const QString& title,
                                   const QList<Item>& items, uint defaultValue, CSetting* parent)
    : CSetting(key, title, parent)
    , m_items(items)
{
    m_defaultValue = defaultValue;
    m_value = defaultValue;
}

void CComboBoxSetting::setReadOnly(bool readOnly)
{
    if (m_comboBox)
        m_comboBox->setEnabled(!readOnly);
}

QVariant CComboBoxSetting::value() const
{
    if (!m_comboBox)
        return m_value;
    return m_comboBox->currentData();
}

void CComboBoxSetting::setValue(const QVariant& value)
{
    m_value = value.toUInt();
    if (m_comboBox)
        m_comboBox->setCurrentIndex(m_comboBox->findData(m_value));
}

void CComboBoxSetting::addToLayout(QLayout* layout)
{
    if (!m_comboBox) {
        QHBoxLayout* row = makeTitledRow();
        m_comboBox = new CStyledComboBox(this);
        m_comboBox->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        // Long captions must not widen the page past the dialog.
        m_comboBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        m_comboBox->setMinimumContentsLength(20);
        for (const Item& item : qAsConst(m_items))
            m_comboBox->addItem(item.first, item.second);
        row->addWidget(m_comboBox);
        setValue(m_value);
        connect(m_comboBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
                [this] { emit valueChanged(m_comboBox->currentData().toUInt()); });
    }
    layout->addWidget(this);
    show();
}
