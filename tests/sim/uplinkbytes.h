#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// Bytes for the simulator's tests, made here and never by the simulator.

inline QByteArray hex(const QString& text)
{
    return QByteArray::fromHex(text.toLatin1());
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
        QByteArray frame = hex("FF 00 00") + char(line.size() & 0xFF) + char(line.size() >> 8) + line;
        quint8 sum = 0;
        for (char byte : frame)
            sum = quint8(sum + quint8(byte));
        bytes += frame + char(quint8(-sum));
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
