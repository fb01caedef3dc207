#pragma once

#include <functional>

#include <QHash>
#include <QStringList>

#include "proto/request.h"

// Which engine answers which downlink command: module and opcode to a handler.
class Router
{
public:
    using Handler = std::function<void(const Request&)>;
    enum Check {
        AnyLength,
        // The payload must have the length of the row's fields; else an ack with status 14.
        WholePayload,
    };
    struct Route {
        Check check = AnyLength;
        Handler handler;
    };

    void add(quint8 module, quint8 opcode, Check check, Handler handler);
    // Null when no engine answers the command.
    const Route* find(quint8 module, quint8 opcode) const;
    // "MM@OO" of every command answered, sorted.
    QStringList ids() const;

private:
    QHash<quint16, Route> m_routes;
};
