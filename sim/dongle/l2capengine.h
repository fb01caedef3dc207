#pragma once

#include <map>
#include <memory>

#include <QByteArray>
#include <QMap>
#include <QString>

#include "air/creditchannels.h"
#include "engine.h"

class ConnectionManager;
class Request;

// LE credit-based channels as the dongle's host stack runs them: the PSMs the host registers,
// channels it opens to the far end of a link or accepts from it, and SDUs both ways with their
// credits. The protocol on the link is each link's CreditChannels; this engine turns the host's
// commands into it and what it hears into events.
class L2capEngine final : public Engine
{
public:
    static constexpr int MaxPsms = 8;
    // Channels of the dongle on all its links, those being opened included.
    static constexpr int MaxChannels = 10;
    // The statuses of the acks of Register PSM and Unregister PSM.
    static constexpr quint8 StatusInvalidPsm = 23;
    static constexpr quint8 StatusPsmRegistered = 24;
    static constexpr quint8 StatusTooManyPsms = 25;
    // The stack's result codes in the events.
    static constexpr quint8 StatusNoPeerCredits = 42; // this stack's own: an SDU the peer has no credits for
    static constexpr quint8 StatusMtuExceeded = 49;
    static constexpr quint8 StatusInvalidCid = 51;
    static constexpr quint8 StatusInvalidPdu = 52;
    static constexpr quint8 StatusCreditError = 61;

    L2capEngine(VirtualDongle& dongle, ConnectionManager& connections);
    ~L2capEngine() override;

    void install(Router& router) override;
    void reset() override;
    void linkOpened(int condix, Link* link) override;
    void linkClosed(int condix) override;

private:
    CreditChannels::Handlers handlersFor(int condix, const Link* link);
    // The channels of the request's link; without the link, the ack of an unknown connection
    // index and null.
    CreditChannels* channelsOf(const Request& request);
    // Acks with this status and says why in a log line.
    void refuse(const Request& request, quint8 status, const QString& why);
    // Why the host's CID, MTU and MPS make no channel on this link; empty when they do.
    static QString endpointError(const CreditChannels& channels, int condix, const CreditChannels::Endpoint& local);
    int channelCount() const;
    quint16 admit(quint16 psm, const Link::Security& security) const;

    void registerPsm(const Request& r);
    void unregisterPsm(const Request& r);
    void create(const Request& r);
    void acceptRequest(const Request& r);
    void sendSdu(const Request& r);
    void manageCredits(const Request& r);
    void disconnect(const Request& r);

    ConnectionManager& m_connections;
    QMap<quint8, quint8> m_psms; // the security level each asks for, by PSM
    std::map<int, std::unique_ptr<CreditChannels>> m_links;
};
