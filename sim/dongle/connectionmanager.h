#pragma once

#include <functional>

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QPointer>

#include "air/link.h"
#include "air/peer.h"
#include "engine.h"

// The dongle's links by connection index, as central and as peripheral: connection and
// disconnection events, the GAP commands that name a link, and the data channels on the links.
class ConnectionManager final : public Engine, public Peer
{
public:
    static constexpr int MaxConnections = 8;
    // What a dongle's crystal gives: 50 ppm.
    static constexpr quint8 ClockAccuracy = 5;
    // condix and the data that came on a channel.
    using ChannelHandler = std::function<void(int condix, const QByteArray& data)>;

    explicit ConnectionManager(VirtualDongle& dongle);
    ~ConnectionManager() override;

    void install(Router& router) override;
    void reset() override;

    int count() const { return m_links.size(); }
    // The far ends, as address and type (7 bytes each).
    QList<QByteArray> peers() const;
    // The far end of a connection goes away with this reason. False: no such connection.
    bool drop(int condix, quint8 reason = Link::ReasonRemoteUser);

    // The later engines (GATT, L2CAP) take the data of their channels here; data on a channel
    // nobody took is dropped, as a stack drops an unknown channel.
    void setChannelHandler(quint16 channel, ChannelHandler handler);
    // Queued on the link for its next connection event. False: no such connection.
    bool send(int condix, quint16 channel, const QByteArray& data);

    bool hasCentral() const override;
    void linkUp(Link* link) override;
    void linkDown(Link* link, quint8 reason) override;
    void received(Link* link, quint16 channel, const QByteArray& data) override;

private:
    int condixOf(const Link* link) const;

    QMap<int, QPointer<Link>> m_links; // the air may delete a link first when both go
    QHash<quint16, ChannelHandler> m_channels;
};
