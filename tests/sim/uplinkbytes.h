#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include "frames.h"

// Bytes for the simulator's tests, made here and never by the simulator.

inline QByteArray hex(const QString& text)
{
    return QByteArray::fromHex(text.toLatin1());
}

// Downlinks that many cases send, and the answer to a reset.
const char* const kReset = "AA 00 01 00 00 55";
const char* const kResetAnswer = "BB 00 01 01 00 00 43 | CC 00 02 01 00 00 31 | log: Tarvine virtual dongle 0 ready, sdk 5.0.0";
const char* const kActiveScan = "AA 01 3D 10 00 02 05 10 00 10 00 10 00 10 00 00 00 00 00 00 00 C1";
const char* const kStopScan = "AA 01 03 00 00 52";
// 5_0_Connect with scan 9.375 ms in 9.375 ms, interval 7.5 to 12.5 ms, latency 1, timeout 1 s; to
// the heart-rate sensor of the default world, and to dongle 1 (00:00:5E:00:53:11, public).
#define CONNECT(TYPE_PHYS_TIMEOUT, PEER) "AA 01 3F 32 00 " TYPE_PHYS_TIMEOUT " 0F 00 0F 00 0F 00 0F 00 " \
    "06 00 0A 00 01 00 64 00 00 00 06 00 0A 00 01 00 64 00 00 00 06 00 0A 00 01 00 64 00 00 00 " PEER
const char* const kConnectHr = CONNECT("00 01 00 00", "01 00 00 10 5A C6 01 00 16");
const char* const kConnectDongle1 = CONNECT("00 01 00 00", "11 53 00 5E 00 00 00 00 86");
// Dongle 1's set 0, connectable and general discoverable every 20 ms, its name in the data;
// kConnectDongle1 connects to it (00:00:5E:00:53:11).
const char* const kAdvertise = "AA 01 23 15 00 00 01 00 00 00 00 00 00 00 00 20 00 20 00 07 00 00 00 00 00 00 D5 "
                               "AA 01 25 10 00 00 0D 0C 09 54 61 72 76 69 6E 65 20 53 69 6D 00 DC AA 01 27 01 00 00 2D";
// On condix 0: new parameters of 20 to 30 ms, latency 0, 2 s; both ends hear that 30 ms and 2 s are taken.
const char* const kUpdateParameters = "AA 01 37 0B 00 10 00 18 00 00 00 C8 00 00 00 00 23";
const char* const kParametersUpdated = "DD 01 38 08 00 00 18 00 00 00 C8 00 00 02";

// A number as hex bytes, least significant first, each after a blank.
inline QString le(int value, int bytes = 2)
{
    QString text;
    for (int i = 0; i < bytes; ++i)
        text += QString(" %1").arg((value >> (8 * i)) & 0xFF, 2, 16, QChar('0'));
    return text;
}

// Header, module and opcode, then the payload; the length and checksum are added.
inline QString frame(const QString& head, const QString& payload)
{
    const QByteArray body = hex(payload);
    return QString(withChecksum(hex(head) + le16(body.size()) + body).toHex(' '));
}

// The ack of the command "MM@OO".
inline QString ackFrame(const char* id, int status = 0)
{
    return frame("BB " + QString(id).replace('@', ' '), le(status, 1));
}

// Frames separated by " | "; "log: TEXT" stands for a dongle log line.
inline QByteArray frames(const QString& text)
{
    QByteArray bytes;
    for (const QString& part : text.split(" | ", Qt::SkipEmptyParts)) {
        if (!part.startsWith("log: ")) {
            bytes += hex(part);
            continue;
        }
        const QByteArray line = part.mid(5).toUtf8();
        bytes += withChecksum(hex("FF 00 00") + char(line.size() & 0xFF) + char(line.size() >> 8) + line);
    }
    return bytes;
}

// Cuts an uplink byte stream into frames; what is left over comes last, as a partial one.
inline QList<QByteArray> cut(QByteArray stream)
{
    QList<QByteArray> list;
    while (stream.size() >= 5) {
        const int size = quint8(stream.at(3)) + quint8(stream.at(4)) * 256 + 6;
        list.append(stream.left(size));
        stream.remove(0, size);
    }
    if (!stream.isEmpty())
        list.append(stream);
    return list;
}

// "DD@01@06" for each frame of the stream.
inline QStringList uplinkIds(const QByteArray& stream)
{
    QStringList ids;
    for (const QByteArray& frame : cut(stream))
        ids.append(QString(frame.left(3).toHex('@')).toUpper());
    return ids;
}
