#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>

#include "engine.h"

struct VirtualAdvertiser;

// The dongle's links, by connection index: connection and disconnection events, and the GAP
// commands that name a link.
class ConnectionManager final : public Engine
{
public:
    static constexpr int MaxConnections = 8;
    // Disconnection reasons, as the link layer gives them.
    static constexpr quint8 ReasonRemoteUser = 0x13;
    static constexpr quint8 ReasonLocalHost = 0x16;

    explicit ConnectionManager(VirtualDongle& dongle);
    ~ConnectionManager() override;

    void install(Router& router) override;
    void reset() override;

    int count() const { return m_links.size(); }
    // Peers as address and type, 7 bytes each.
    QList<QByteArray> peers() const { return m_links.values(); }
    // A link as central stands: it takes the lowest free index, and the host hears of it.
    void addCentral(const VirtualAdvertiser& peer, int interval, int latency, int timeout);
    // The peer of a connection goes away: the link ends with this reason. False: no such link.
    bool drop(int condix, quint8 reason = ReasonRemoteUser);

private:
    void end(int condix, quint8 reason);

    QMap<int, QByteArray> m_links; // condix -> peer address + type
};
