#pragma once

#include <functional>

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QPointer>
#include <QString>

#include "air/controllerinfo.h"
#include "air/link.h"
#include "air/peer.h"
#include "engine.h"
#include "proto/responder.h"

class Request;

// The dongle's links by connection index, as central and as peripheral: connection and
// disconnection events, the GAP commands that name a link (parameters, data length, PHY, the
// peer's version and features, RSSI, channel map, power), and the data channels on the links.
class ConnectionManager final : public Engine, public Peer
{
public:
    static constexpr int MaxConnections = 8;
    // What a dongle's crystal gives: 50 ppm.
    static constexpr quint8 ClockAccuracy = 5;
    // The transmit powers the radio has, in dBm; a request beyond them gets the nearest.
    static constexpr int MinTxPower = -20;
    static constexpr int MaxTxPower = 10;
    // condix and the data that came on a channel.
    using ChannelHandler = std::function<void(int condix, const QByteArray& data)>;

    explicit ConnectionManager(VirtualDongle& dongle);
    ~ConnectionManager() override;

    void install(Router& router) override;
    void reset() override;
    void powerCycle() override;

    int count() const { return m_links.size(); }
    // The far ends, as address and type (7 bytes each).
    QList<QByteArray> peers() const;
    // The far end of a connection goes away with this reason. False: no such connection.
    bool drop(int condix, quint8 reason = Link::ReasonRemoteUser);
    // The far end of a connection asks for new parameters, in wire counts (1.25 ms, events,
    // 10 ms), and the host hears DD@01@3C; what is wrong with the request, or nothing.
    QString requestFromPeer(int condix, int intervalMin, int intervalMax, int latency, int timeout);

    // The later engines (GATT, L2CAP) take the data of their channels here; data on a channel
    // nobody took is dropped, as a stack drops an unknown channel.
    void setChannelHandler(quint16 channel, ChannelHandler handler);
    // Queued on the link for its next connection event. False: no such connection.
    bool send(int condix, quint16 channel, const QByteArray& data);

    bool acceptsCentral() const override;
    const ControllerInfo& controller() const override { return m_controller; }
    void linkUp(Link* link) override;
    void linkDown(Link* link, quint8 reason) override;
    void received(Link* link, quint16 channel, const QByteArray& data) override;
    void parametersRequested(Link* link, const Link::ParameterRequest& request) override;
    void linkChanged(Link* link, Link::Change change, quint8 error) override;
    std::optional<quint32> shownPasskey(const Link* link) const override;

private:
    int condixOf(const Link* link) const;
    // The link that the request's condix names; without one the command is acked with the
    // controller's "unknown connection" status and null comes back.
    Link* linkOf(const Request& request);
    // Acks a refused request with "invalid parameter" and says why in a log line.
    void refuse(const Request& request, const QString& why);
    // A Get whose result comes `events` connection events later (0: at once), made by `result`.
    using Result = std::function<Responder::Fields(const Link* link, Link::End end)>;
    void addGet(Router& router, quint8 opcode, int events, Result result);
    void updateParameters(const Request& request);
    void reply(const Request& request);
    void setChannelMap(const Request& request);

    ControllerInfo m_controller;
    QByteArray m_channelMap; // the host's classification, for the links it is central of
    QMap<int, QPointer<Link>> m_links; // the air may delete a link first when both go
    QHash<quint16, ChannelHandler> m_channels;
};
