#include "clineeditsetting.h"

#include <algorithm>

#include <QHBoxLayout>

#include "schema/cvalidatelineedit.h"

namespace {

const char* const kHexPattern = "0x[0-9a-fA-F]*";
const char* const kColonHexPattern = "[0-9a-fA-F:]*";

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
        QByteArray bytes = text.toLocal8Bit();
        std::reverse(bytes.begin(), bytes.end());
        return QString::fromLatin1(bytes.toHex());
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
        const Limits& l = m_limits;
        if (l.type == "int")
            m_lineEdit->setIntType(l.min, l.max, l.length, m_defaultText);
        else if (l.type == "double")
            m_lineEdit->setDoubleType(l.min, l.max, l.singleStep, l.precision, l.length, m_defaultText);
        else if (l.type == "int16double")
            m_lineEdit->setInt16DoubleType(l.min, l.max, l.singleStep, l.precision, l.length,
                                           m_defaultText);
        else if (l.type == "hex")
            m_lineEdit->setHexType(l.length, kHexPattern, m_defaultText, QString());
        else if (l.type == "addr")
            m_lineEdit->setAddrType(l.length, kColonHexPattern, m_defaultText);
        else if (l.type == "littleEnd")
            m_lineEdit->setLittleEndType(l.length, kColonHexPattern, m_defaultText);
        else if (l.type == "string")
            m_lineEdit->setStringType(l.length, m_defaultText);
        row->addWidget(m_lineEdit);
        setValue(m_value);
    }
    layout->addWidget(this);
    show();
}
