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
    frame.append(char(payload.size() & 0xFF));
    frame.append(char((payload.size() >> 8) & 0xFF));
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

QByteArray fromHex(const QString& text, bool* ok)
{
    QString digits = text;
    digits.remove(QLatin1Char(' ')).remove(QLatin1Char(':')).remove(QLatin1Char('-'));
    bool good = digits.size() % 2 == 0;
    for (QChar c : digits) {
        if (!good)
            break;
        good = c.isDigit() || (c.toLower() >= QLatin1Char('a') && c.toLower() <= QLatin1Char('f'));
    }
    if (ok)
        *ok = good;
    return good ? QByteArray::fromHex(digits.toLatin1()) : QByteArray();
}

QString toHex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ')).toUpper();
}

} // namespace SimFrame
