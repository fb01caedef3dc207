#pragma once

#include <QByteArray>

// Frames as the dongle and the tool write them, for tests that feed a page or read its output.
inline QByteArray le16(quint16 value)
{
    return QByteArray(1, char(value & 0xFF)) + char(value >> 8);
}

// An uplink as the program passes it around: header, module, opcode, length, body; no checksum.
inline QByteArray uplink(quint8 head, quint8 module, quint8 opcode, const QByteArray& body)
{
    return QByteArray(1, char(head)) + char(module) + char(opcode) + le16(quint16(body.size())) + body;
}

// A frame as it goes on the wire: the checksum makes the sum of all bytes zero.
inline QByteArray withChecksum(const QByteArray& frame)
{
    char sum = 0;
    for (char byte : frame)
        sum = char(sum + byte);
    return frame + char(-sum);
}
