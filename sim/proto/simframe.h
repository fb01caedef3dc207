#pragma once

#include <QByteArray>
#include <QString>

// The simulator's own frame code: it must not share the tool's codec, so that a fault in one
// shows up as a disagreement with the other.
namespace SimFrame {

constexpr quint8 Downlink = 0xAA;
constexpr quint8 Ack = 0xBB;
constexpr quint8 Completion = 0xCC;
constexpr quint8 Data = 0xDD;
constexpr quint8 Log = 0xFF;
constexpr int MaxLength = 5000;

// Minus the 8-bit sum of the bytes, so that a whole frame sums to 0.
quint8 checksum(const QByteArray& bytes);
QByteArray build(quint8 header, quint8 module, quint8 opcode, const QByteArray& payload);
// "MM@OO", upper-case hex, as the command files write downlink ids; "HH@MM@OO" with a header.
QString commandId(quint8 module, quint8 opcode);
QString uplinkId(quint8 header, quint8 module, quint8 opcode);
QByteArray u8(int value);
QByteArray le16(int value);
// The low `count` bytes of a number, least significant first: 24- and 32-bit fields.
QByteArray le(quint32 value, int count);
// The little-endian 16-bit number at `at`.
quint16 readLe16(const QByteArray& bytes, int at);
// The little-endian number of `count` bytes (at most 4) at `at`.
quint32 readLe(const QByteArray& bytes, int at, int count);
// "0x0040": a CID or handle as log lines name it.
QString hexText(int value, int digits = 4);
// Hex digits; blanks, colons and dashes between them are ignored.
QByteArray fromHex(const QString& text, bool* ok = nullptr);

} // namespace SimFrame
