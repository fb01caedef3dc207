#include "clineeditsetting.h"

#include <QHBoxLayout>

CLineEditSetting::CLineEditSetting(const QString& key, const QString& title, const Limits& limits,
                                   const QString& defaultText, CSetting* parent)
    : CSetting(key, title, parent)
    , m_limits(limits)
    , m_defaultText(defaultText)
{
    m_defaultValue = valueForm(limits, defaultText);
    m_value = m_defaultValue;
}

QString CLineEditSetting::valueForm(const Limits& limits, const QString& text)
{
    // Unlike the editor, a littleEnd default stays in typed order; its one row has all bytes alike.
    if (limits.type == QLatin1String("littleEnd"))
        return QString(text).remove(QLatin1Char(':'));
    return CValidateLineEdit::valueForm(limits, text);
}

void CLineEditSetting::setReadOnly(bool readOnly)
{
    if (m_lineEdit)
        m_lineEdit->setReadOnly(readOnly);
}

QVariant CLineEditSetting::value() const
{
    if (!m_lineEdit)
        return m_value;
    return m_lineEdit->value();
}

void CLineEditSetting::setValue(const QVariant& value)
{
    m_value = value.toString();
    if (m_lineEdit)
        m_lineEdit->setValue(m_value.toString());
}

void CLineEditSetting::addToLayout(QLayout* layout)
{
    if (!m_lineEdit) {
        QHBoxLayout* row = makeTitledRow();
        m_lineEdit = new CValidateLineEdit(this);
        m_lineEdit->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        m_lineEdit->setToolTip(m_description);
        m_lineEdit->setKind(m_limits, m_defaultText);
        row->addWidget(m_lineEdit);
        setValue(m_value);
    }
    layout->addWidget(this);
    show();
}
