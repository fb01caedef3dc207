#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

struct UiNameToFields;

// Byte and text conversions shared by the codec and the pages.
// Byte order arguments: 0 little-endian, 1 big-endian.
class CUtil
{
public:
    CUtil() = delete;

    static int arrayToValue(int byteOrder, const QByteArray& bytes, quint64& value);
    static QByteArray valueToArray(int byteOrder, quint64 value, int size);
    static quint16 byteAraryToShort(const QByteArray& bytes, int byteOrder);
    static int cmpArray(const QByteArray& a, const QByteArray& b);
    static QString reverseString(const QString& text, int unit);
    // The bytes last to first: the wire's little-endian order turned into reading order.
    static QByteArray reversed(QByteArray bytes);
    static QByteArray fitArray(const QByteArray& bytes, int size);
    // "AABBCC" -> "AA:BB:CC"; an odd last digit stands alone.
    static QString colonPairs(const QString& digits);
    static int findUiFields(const QVector<UiNameToFields>& vector, const QString& name,
                            UiNameToFields& fields);
    // low <= result < high; -1 when low > high.
    static int randomInRange(int low, int high);
};
