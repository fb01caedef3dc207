#pragma once

#include <QByteArray>

// The frame with the byte behind it that makes all its bytes sum to zero, as the link adds it.
inline QByteArray withChecksum(const QByteArray& frame)
{
    char sum = 0;
    for (char byte : frame)
        sum = char(sum + byte);
    return frame + char(-sum);
}

// A 16-bit value least significant byte first, as the frames carry numbers.
inline QByteArray le16(int value)
{
    return QByteArray(1, char(value & 0xff)) + char((value >> 8) & 0xff);
}

// An uplink as the program passes it around: header, module, opcode, length, body; no checksum.
inline QByteArray uplink(quint8 head, quint8 module, quint8 opcode, const QByteArray& body)
{
    return QByteArray(1, char(head)) + char(module) + char(opcode) + le16(body.size()) + body;
}
