#include "clineeditsetting.h"

#include <QHBoxLayout>

#include "schema/cutil.h"

namespace {

QString paddedHex(quint64 value, const QString& byteLength)
{
    return QString::number(value, 16).rightJustified(2 * byteLength.toInt(), QLatin1Char('0'));
}

} // namespace

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
    const QString& type = limits.type;
    if (type == "int")
        return paddedHex(text.toULongLong(), limits.length);
    if (type == "hex")
        return text.mid(2);
    if (type == "addr" || type == "littleEnd")
        return QString(text).remove(':');
    if (type == "string") {
        return QString::fromLatin1(CUtil::reversed(text.toLocal8Bit()).toHex());
    }
    if (type == "double" || type == "int16double") {
        const qint64 count = CValidateLineEdit::stepCount(text.toDouble() / limits.singleStep.toDouble());
        if (type == "int16double")
            return paddedHex(quint16(count), limits.length);
        return paddedHex(quint64(count), limits.length);
    }
    return text;
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
