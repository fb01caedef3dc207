#include "simframe.h"

namespace SimFrame {

quint8 checksum(const QByteArray& bytes)
{
    quint8 sum = 0;
    for (char byte : bytes)
        sum = quint8(sum + quint8(byte));
    return quint8(-sum);
}

QByteArray build(quint8 header, quint8 module, quint8 opcode, const QByteArray& payload)
{
    QByteArray frame;
    frame.reserve(payload.size() + 6);
    frame.append(char(header));
    frame.append(char(module));
    frame.append(char(opcode));
    frame.append(le16(payload.size()));
    frame.append(payload);
    frame.append(char(checksum(frame)));
    return frame;
}

QString commandId(quint8 module, quint8 opcode)
{
    return QStringLiteral("%1@%2")
        .arg(module, 2, 16, QLatin1Char('0'))
        .arg(opcode, 2, 16, QLatin1Char('0'))
        .toUpper();
}

QString uplinkId(quint8 header, quint8 module, quint8 opcode)
{
    return QStringLiteral("%1@").arg(header, 2, 16, QLatin1Char('0')).toUpper() + commandId(module, opcode);
}

QByteArray u8(int value)
{
    return QByteArray(1, char(value & 0xFF));
}

QByteArray le16(int value)
{
    QByteArray bytes;
    bytes.append(char(value & 0xFF));
    bytes.append(char((value >> 8) & 0xFF));
    return bytes;
}

QByteArray le(quint32 value, int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(char((value >> (8 * i)) & 0xFF));
    return bytes;
}

quint16 readLe16(const QByteArray& bytes, int at)
{
    return quint16(readLe(bytes, at, 2));
}

quint32 readLe(const QByteArray& bytes, int at, int count)
{
    quint32 value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | quint8(bytes.at(at + i));
    return value;
}

QString hexText(int value, int digits)
{
    return QStringLiteral("0x") + QString::number(value, 16).rightJustified(digits, QLatin1Char('0')).toUpper();
}

QByteArray fromHex(const QString& text, bool* ok)
{
    QString digits = text;
    digits.remove(QLatin1Char(' ')).remove(QLatin1Char(':')).remove(QLatin1Char('-'));
    bool good = digits.size() % 2 == 0;
    for (QChar c : digits) {
        if (!good)
            break;
        const char latin = c.toLatin1();
        good = (latin >= '0' && latin <= '9') || (latin >= 'a' && latin <= 'f') || (latin >= 'A' && latin <= 'F');
    }
    if (ok)
        *ok = good;
    return good ? QByteArray::fromHex(digits.toLatin1()) : QByteArray();
}

} // namespace SimFrame
