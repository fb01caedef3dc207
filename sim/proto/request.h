#pragma once

#include <QByteArray>
#include <QString>

#include "commandtable.h"

// One downlink command as it came: its payload, read by the keys of its row in
// down_link_command.xml rather than by offsets.
class Request
{
public:
    Request(const SimCommandTable::Command& command, quint8 module, quint8 opcode, const QByteArray& payload);

    quint8 module() const { return m_module; }
    quint8 opcode() const { return m_opcode; }
    QString id() const { return m_command->id; }
    QString name() const { return m_command->name; }
    const QByteArray& payload() const { return m_payload; }
    // The payload has the length that the row's fields give; that of a variable row holds its
    // fixed fields at least.
    bool isWhole() const;
    // The payload's length, or for a variable row the least it takes.
    int expectedLength() const;
    bool isVariable() const { return m_command->fixedPayloadLength() < 0; }

    // The bytes of a field, in wire order; empty when the payload is short, and empty with a
    // message on stderr when the row lacks the key.
    QByteArray field(const QString& key) const;
    // A field read as a little-endian number; 0 when it is missing.
    int number(const QString& key) const;

private:
    const SimCommandTable::Command* m_command = nullptr;
    quint8 m_module = 0;
    quint8 m_opcode = 0;
    QByteArray m_payload;
};
