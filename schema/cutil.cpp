#include "cutil.h"

#include <algorithm>

#include <QRandomGenerator>
#include <QTime>

#include "schema/ccfgfileparse.h"

int CUtil::arrayToValue(int byteOrder, const QByteArray& bytes, quint64& value)
{
    value = 0;
    if (bytes.size() > 8 || (byteOrder != 0 && byteOrder != 1))
        return -1;
    const int n = bytes.size();
    for (int i = 0; i < n; ++i) {
        const int pos = byteOrder == 0 ? n - 1 - i : i;
        value = (value << 8) | static_cast<quint8>(bytes.at(pos));
    }
    return 0;
}

QByteArray CUtil::valueToArray(int byteOrder, quint64 value, int size)
{
    if (size <= 0 || (byteOrder != 0 && byteOrder != 1))
        return QByteArray();
    QByteArray out(size, '\0');
    for (int i = 0; i < size && i < 8; ++i) {
        const char b = static_cast<char>((value >> (8 * i)) & 0xff);
        out[byteOrder == 0 ? i : size - 1 - i] = b;
    }
    return out;
}

quint16 CUtil::byteAraryToShort(const QByteArray& bytes, int byteOrder)
{
    if (bytes.size() < 2)
        return 0;
    quint64 value = 0;
    if (arrayToValue(byteOrder, bytes.left(2), value) != 0)
        return 0;
    return static_cast<quint16>(value);
}

int CUtil::cmpArray(const QByteArray& a, const QByteArray& b)
{
    return a == b ? 0 : -1;
}

QString CUtil::colonPairs(const QString& digits)
{
    QString out;
    out.reserve(digits.size() + digits.size() / 2);
    for (int i = 0; i < digits.size(); i += 2) {
        if (i > 0)
            out += QLatin1Char(':');
        out += digits.midRef(i, 2);
    }
    return out;
}

QString CUtil::reverseString(const QString& text, int unit)
{
    if (unit < 1 || text.size() % unit != 0)
        return QStringLiteral("CUtil::reverseString");
    QString out;
    out.reserve(text.size());
    if (unit == 1) {
        for (int i = text.size() - 1; i >= 0; --i)
            out.append(text.at(i));
        return out;
    }
    for (int block = 0; block < text.size(); block += unit) {
        for (int i = block + unit - 1; i >= block; --i)
            out.append(text.at(i));
    }
    return out;
}

QByteArray CUtil::fitArray(const QByteArray& bytes, int size)
{
    if (size <= 0)
        return QByteArray();
    QByteArray out = bytes.left(size);
    if (out.size() < size)
        out.append(QByteArray(size - out.size(), '\0'));
    return out;
}

QByteArray CUtil::reversed(QByteArray bytes)
{
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

int CUtil::findUiFields(const QVector<UiNameToFields>& vector, const QString& name,
                        UiNameToFields& fields)
{
    for (const UiNameToFields& entry : vector) {
        if (entry.name == name) {
            fields.name = entry.name;
            fields.fields = entry.fields;
            return 0;
        }
    }
    return -1;
}

int CUtil::randomInRange(int low, int high)
{
    if (low > high)
        return -1;
    if (low == high)
        return low;
    // Seeded once per process, from the seconds since midnight.
    static QRandomGenerator generator(
        static_cast<quint32>(QTime(0, 0).secsTo(QTime::currentTime())));
    const quint32 span = static_cast<quint32>(static_cast<qint64>(high) - low);
    return static_cast<int>(low + static_cast<qint64>(generator.generate() % span));
}
