#include "cvalidatelineedit.h"

#include <climits>
#include <cmath>

#include <QIntValidator>
#include <QRegExp>
#include <QRegExpValidator>

#include "schema/cutil.h"

namespace {

const QString StringHint = QStringLiteral("Default Name(String)");

// Each comma-separated part without colons, left-filled with zeros to `width` digits (to an
// even count when `width` is 0), as colon pairs. Empty parts are dropped: the comma that
// follows each whole UUID while typing must not become a UUID of its own.
QString repairList(const QString& text, int width)
{
    QString digits = text;
    digits.remove(QLatin1Char(':'));
    QStringList parts = digits.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (QString& part : parts) {
        const int w = width > 0 ? width : part.size() + part.size() % 2;
        part = CUtil::colonPairs(part.rightJustified(w, QLatin1Char('0')));
    }
    return parts.join(QLatin1Char(','));
}


bool fullMatch(const QString& pattern, const QString& text)
{
    return QRegExp(pattern).exactMatch(text);
}

} // namespace

CValidateLineEdit::CValidateLineEdit(QWidget* parent)
    : QLineEdit(parent)
    , m_regExpValidator(new QRegExpValidator(this))
    , m_intValidator(new QIntValidator(this))
{
    setMaxLength(255);
}

CValidateLineEdit::~CValidateLineEdit() = default;

void CValidateLineEdit::resetKind()
{
    m_min.clear();
    m_max.clear();
    m_defaultValue.clear();
    m_length.clear();
    m_singleStep.clear();
    m_precision.clear();
    m_type.clear();
    setValidator(nullptr);
    setMaxLength(255);
    setPlaceholderText(QString());
    disconnect(this, &QLineEdit::textEdited, this, &CValidateLineEdit::on_hexTextEdited);
    disconnect(this, &QLineEdit::textEdited, this, &CValidateLineEdit::on_stringTextEdit);
    disconnect(this, &QLineEdit::textEdited, this, &CValidateLineEdit::on_advDataTextEdited);
}

void CValidateLineEdit::setNumberType(const QString& type, const QString& min, const QString& max,
                                      const QString& length, const QString& defaultValue)
{
    resetKind();
    m_type = type;
    m_min = min;
    m_max = max;
    m_length = length;
    m_defaultValue = defaultValue;
    // An absent limit is no limit, not zero.
    m_intValidator->setRange(min.isEmpty() ? INT_MIN : min.toInt(),
                             max.isEmpty() ? INT_MAX : max.toInt());
    setValidator(m_intValidator);
}

void CValidateLineEdit::setIntType(const QString& min, const QString& max, const QString& length,
                                   const QString& defaultValue)
{
    setNumberType(QStringLiteral("int"), min, max, length, defaultValue);
    setText(defaultValue.isEmpty() ? min : defaultValue);
}

void CValidateLineEdit::setInt8Type(const QString& min, const QString& max, const QString& length,
                                    const QString& defaultValue)
{
    setNumberType(QStringLiteral("int8"), min, max, length, defaultValue);
    setText(defaultValue);
}

void CValidateLineEdit::setDecimalType(const QString& type, const QString& pattern,
                                       const QString& min, const QString& max,
                                       const QString& singleStep, const QString& precision,
                                       const QString& length, const QString& defaultValue)
{
    resetKind();
    m_type = type;
    m_min = min;
    m_max = max;
    m_singleStep = singleStep;
    m_precision = precision;
    m_length = length;
    m_defaultValue = defaultValue;
    m_regExpValidator->setRegExp(QRegExp(pattern + precision + QLatin1Char('}')));
    setValidator(m_regExpValidator);
    setText(defaultValue);
}

void CValidateLineEdit::setDoubleType(const QString& min, const QString& max,
                                      const QString& singleStep, const QString& precision,
                                      const QString& length, const QString& defaultValue)
{
    setDecimalType(QStringLiteral("double"), QStringLiteral("[0-9]+\\.[0-9]{"), min, max,
                   singleStep, precision, length, defaultValue);
}

void CValidateLineEdit::setInt16DoubleType(const QString& min, const QString& max,
                                           const QString& singleStep, const QString& precision,
                                           const QString& length, const QString& defaultValue)
{
    setDecimalType(QStringLiteral("int16double"), QStringLiteral("^[\\-|0-9][0-9]*\\.[0-9]{"),
                   min, max, singleStep, precision, length, defaultValue);
}

void CValidateLineEdit::setKind(const Limits& l, const QString& defaultValue)
{
    if (l.type == QLatin1String("int"))
        setIntType(l.min, l.max, l.length, defaultValue);
    else if (l.type == QLatin1String("int8"))
        setInt8Type(l.min, l.max, l.length, defaultValue);
    else if (l.type == QLatin1String("double"))
        setDoubleType(l.min, l.max, l.singleStep, l.precision, l.length, defaultValue);
    else if (l.type == QLatin1String("int16double"))
        setInt16DoubleType(l.min, l.max, l.singleStep, l.precision, l.length, defaultValue);
    else if (l.type == QLatin1String("hex"))
        setHexType(l.length, QLatin1String(kHexPattern), defaultValue, QString());
    else if (l.type == QLatin1String("addr"))
        setAddrType(l.length, QLatin1String(kColonHexPattern), defaultValue);
    else if (l.type == QLatin1String("littleEnd"))
        setLittleEndType(l.length, QLatin1String(kColonHexPattern), defaultValue);
    else if (l.type == QLatin1String("string"))
        setStringType(l.length, defaultValue);
}

void CValidateLineEdit::setHexType(const QString& length, const QString& pattern,
                                   const QString& defaultValue, const QString& secondDefault)
{
    resetKind();
    m_type = QStringLiteral("hex");
    m_length = length;
    m_defaultValue = defaultValue;
    m_regExpValidator->setRegExp(QRegExp(pattern));
    setValidator(m_regExpValidator);

    QString first = QStringLiteral("0x00");
    if (length != QLatin1String("0")) {
        applyMaxLength(length);
        first = QStringLiteral("0x").leftJustified(length.toInt(), QLatin1Char('0'));
        if (fullMatch(pattern, defaultValue))
            first = defaultValue;
        else if (fullMatch(pattern, secondDefault))
            first = secondDefault;
    } else {
        setMaxLength(34);
    }
    setText(first);
    connect(this, &QLineEdit::textEdited, this, &CValidateLineEdit::on_hexTextEdited);
}

void CValidateLineEdit::setColonType(const QString& type, const QString& length,
                                     const QString& pattern, const QString& defaultValue)
{
    resetKind();
    m_type = type;
    m_length = length;
    m_defaultValue = defaultValue;
    m_regExpValidator->setRegExp(QRegExp(pattern));
    setValidator(m_regExpValidator);
    if (fullMatch(pattern, defaultValue)) {
        setText(defaultValue);
    } else {
        QString zeros = QStringLiteral("00:").repeated((length.toInt() + 1) / 3);
        zeros.chop(1);
        setText(zeros);
    }
}

void CValidateLineEdit::setAddrType(const QString& length, const QString& pattern,
                                    const QString& defaultValue)
{
    setColonType(QStringLiteral("addr"), length, pattern, defaultValue);
    applyMaxLength(length);
}

void CValidateLineEdit::setLittleEndType(const QString& length, const QString& pattern,
                                         const QString& defaultValue)
{
    setColonType(QStringLiteral("littleEnd"), length, pattern, defaultValue);
    if (length == QLatin1String("0"))
        setMaxLength(32767);
    else
        applyMaxLength(length);
}

void CValidateLineEdit::setStringType(const QString& length, const QString& defaultValue)
{
    resetKind();
    m_type = QStringLiteral("string");
    m_length = length;
    m_defaultValue = defaultValue;
    applyMaxLength(length);
    if (!defaultValue.isEmpty() && defaultValue.size() < length.toInt()) {
        setText(defaultValue);
    } else {
        setText(QString());
        setPlaceholderText(StringHint);
    }
    connect(this, &QLineEdit::textEdited, this, &CValidateLineEdit::on_stringTextEdit);
}

bool CValidateLineEdit::setAdvDataType(const QString& length, const QString& pattern,
                                       const QString& defaultValue)
{
    QString type;
    if (length == QLatin1String("5"))
        type = QStringLiteral("16bit");
    else if (length == QLatin1String("11"))
        type = QStringLiteral("32bit");
    else if (length == QLatin1String("47"))
        type = QStringLiteral("128bit");
    if (type.isEmpty()) {
        resetKind();
        return false;
    }
    setColonType(type, length, pattern, defaultValue);
    connect(this, &QLineEdit::textEdited, this, &CValidateLineEdit::on_advDataTextEdited);
    return true;
}

void CValidateLineEdit::applyMaxLength(const QString& length)
{
    // A missing length keeps the cleared 255 rather than an editor that holds nothing.
    if (length.toInt() > 0)
        setMaxLength(length.toInt());
}

int CValidateLineEdit::uuidDigits() const
{
    if (m_type == QLatin1String("16bit"))
        return 4;
    if (m_type == QLatin1String("32bit"))
        return 8;
    if (m_type == QLatin1String("128bit"))
        return 32;
    return 0;
}

double CValidateLineEdit::step() const
{
    return stepOf(m_singleStep);
}

double CValidateLineEdit::stepOf(const QString& singleStep)
{
    // Without a step the value counts whole units rather than dividing by zero.
    const double s = singleStep.toDouble();
    return s > 0 ? s : 1.0;
}

void CValidateLineEdit::repair()
{
    QString t = text();
    if (m_type == QLatin1String("int") || m_type == QLatin1String("int8")) {
        if (!m_min.isEmpty() && t.toLongLong() <= m_min.toLongLong())
            t = m_min;
    } else if (m_type == QLatin1String("double") || m_type == QLatin1String("int16double")) {
        double v = t.toDouble();
        if (!m_min.isEmpty() && m_min.toDouble() > v)
            v = m_min.toDouble();
        else if (!m_max.isEmpty() && v > m_max.toDouble())
            v = m_max.toDouble();
        else
            v = static_cast<double>(stepCount(v / step())) * step();
        // Adding 0.0 turns -0.0 into 0.0, which would otherwise print as "-0.0".
        t = QString::number(v + 0.0, 'f', m_precision.toInt());
    } else if (m_type == QLatin1String("hex")) {
        if (!t.startsWith(QLatin1String("0x")))
            t.prepend(QLatin1String("0x"));
        if (m_length != QLatin1String("0")) {
            while (t.size() < m_length.toInt())
                t.insert(2, QLatin1Char('0'));
        } else if (t.size() % 2 != 0) {
            t.insert(2, QLatin1Char('0'));
        } else if (t.size() == 2) {
            t = QStringLiteral("0x00");
        }
    } else if (m_type == QLatin1String("addr")) {
        t.remove(QLatin1Char(':'));
        t = t.size() <= 12 ? CUtil::colonPairs(t.rightJustified(12, QLatin1Char('0')))
                           : QStringLiteral("00:00:00:00:00:00");
    } else if (m_type == QLatin1String("littleEnd")) {
        t = repairList(t, 0);
    } else if (uuidDigits() > 0) {
        t = repairList(t, uuidDigits());
    }
    if (t != text())
        setText(t);
}

QString CValidateLineEdit::value()
{
    repair();
    return valueForm({m_type, m_min, m_max, m_singleStep, m_precision, m_length}, text());
}

QString CValidateLineEdit::valueForm(const Limits& limits, const QString& t)
{
    const QString& type = limits.type;
    const int digits = 2 * limits.length.toInt();
    const double step = stepOf(limits.singleStep);
    if (type == QLatin1String("int")) {
        const qint64 n = t.toLongLong();
        quint64 u = static_cast<quint64>(n);
        // A negative number goes out as its two's complement in the field's bytes.
        const int bytes = limits.length.toInt();
        if (n < 0 && bytes > 0 && bytes < 8)
            u &= (quint64(1) << (8 * bytes)) - 1;
        return QString::number(u, 16).rightJustified(digits, QLatin1Char('0'));
    }
    if (type == QLatin1String("int8"))
        return QStringLiteral("%1").arg(uint(t.toInt() & 0xff), 2, 16, QLatin1Char('0'));
    if (type == QLatin1String("double")) {
        const quint64 count = static_cast<quint64>(stepCount(t.toDouble() / step));
        return QString::number(count, 16).rightJustified(digits, QLatin1Char('0'));
    }
    if (type == QLatin1String("int16double")) {
        const qint32 count = static_cast<qint32>(stepCount(t.toDouble() / step));
        return QString::number(count & 0xffff, 16).rightJustified(digits, QLatin1Char('0'));
    }
    if (type == QLatin1String("string"))
        return QString::fromLatin1(CUtil::reversed(t.toLocal8Bit()).toHex());
    if (type == QLatin1String("hex"))
        return t.startsWith(QLatin1String("0x")) ? t.mid(2) : t;
    if (type == QLatin1String("addr"))
        return QString(t).remove(QLatin1Char(':'));
    if (type == QLatin1String("littleEnd")) {
        const QString digitsOnly = QString(t).remove(QLatin1Char(':'));
        QString out;
        for (int i = 0; i < digitsOnly.size(); i += 2)
            out.prepend(digitsOnly.mid(i, 2));
        return out;
    }
    return t;
}

void CValidateLineEdit::setValue(QString hexText)
{
    const int decimals = m_precision.toInt();
    if (m_type == QLatin1String("int")) {
        setText(QString::number(hexText.toULongLong(nullptr, 16)));
    } else if (m_type == QLatin1String("int8")) {
        setText(QString::number(static_cast<qint8>(hexText.toUInt(nullptr, 16) & 0xff)));
    } else if (m_type == QLatin1String("double")) {
        const double v = static_cast<double>(hexText.toULongLong(nullptr, 16)) * step();
        setText(QString::number(v, 'f', decimals));
    } else if (m_type == QLatin1String("int16double")) {
        const auto count = static_cast<qint16>(hexText.toUInt(nullptr, 16) & 0xffff);
        setText(QString::number(count * step() + 0.0, 'f', decimals));
    } else if (m_type == QLatin1String("string")) {
        // value() writes the last byte first; reading it back undoes that, so that a name
        // stored in the settings shows as it was typed.
        setText(QString::fromLocal8Bit(CUtil::reversed(QByteArray::fromHex(hexText.toLatin1()))));
    } else if (m_type == QLatin1String("hex")) {
        // `length` counts the whole text, "0x" included, as the focus-out repair does.
        const int width = m_length == QLatin1String("0") ? 0 : m_length.toInt() - 2;
        setText(QStringLiteral("0x") + hexText.rightJustified(width, QLatin1Char('0')));
    } else if (m_type == QLatin1String("addr") || m_type == QLatin1String("littleEnd")) {
        setText(CUtil::colonPairs(hexText));
    } else {
        setText(hexText);
    }
}

void CValidateLineEdit::on_hexTextEdited(QString currData)
{
    if (currData.size() < 2)
        setText(QStringLiteral("0x"));
}

void CValidateLineEdit::on_stringTextEdit(QString currData)
{
    if (currData.isEmpty())
        setPlaceholderText(StringHint);
}

void CValidateLineEdit::on_advDataTextEdited(QString currData)
{
    currData.remove(QLatin1Char(',')).remove(QLatin1Char(':'));
    const int width = uuidDigits();
    if (width == 0)
        return;
    QString out;
    int i = 0;
    // Each whole UUID is followed by its comma, so the next one starts on its own.
    for (; i + width <= currData.size(); i += width)
        out += currData.mid(i, width) + QLatin1Char(',');
    out += currData.mid(i);
    setText(out);
}

void CValidateLineEdit::focusOutEvent(QFocusEvent* event)
{
    repair();
    QLineEdit::focusOutEvent(event);
}

// floor() that forgives the last bits of a division: 0.3 / 0.1 is 2.9999999999999996 in
// binary, yet the user typed three steps.
qint64 CValidateLineEdit::stepCount(double quotient)
{
    return static_cast<qint64>(std::floor(quotient + 1e-9 * qMax(1.0, std::fabs(quotient))));
}
