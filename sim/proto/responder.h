#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include "commandtable.h"

// Builds uplink frames from their rows in up_link_command.xml. With checks on (debug builds and
// tests) a frame whose fields disagree with its row is refused with a message on stderr: that is
// a fault of the simulator, which must never reach the tool.
class Responder
{
public:
    struct Field {
        const char* key;
        QByteArray value; // wire order
    };
    using Fields = QVector<Field>;

    explicit Responder(const SimCommandTable& table);

    static void setChecking(bool on);

    // An ack: one status byte, whatever the row says, since every command has one.
    QByteArray ack(quint8 module, quint8 opcode, quint8 status) const;
    // A frame laid out by the fields of its row; empty when refused.
    QByteArray frame(quint8 header, quint8 module, quint8 opcode, const Fields& fields) const;
    // A frame of a row without fields, whose body the tool's pages cut by hand; empty when refused.
    QByteArray frame(quint8 header, quint8 module, quint8 opcode, const QByteArray& body) const;

private:
    QByteArray refuse(const QString& id, const QString& why) const;

    const SimCommandTable& m_table;
};
