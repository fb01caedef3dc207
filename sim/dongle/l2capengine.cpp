#include "l2capengine.h"

#include "air/link.h"
#include "connectionmanager.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::le16;
using SimFrame::u8;

namespace {

using Endpoint = CreditChannels::Endpoint;

// The CID, MTU, MPS and credits that the host gives its end of a channel.
Endpoint localEndpoint(const Request& r)
{
    return {quint16(r.number(QStringLiteral("local_cid"))), r.number(QStringLiteral("mtu")), r.number(QStringLiteral("mps")),
            r.number(QStringLiteral("local_credits"))};
}

// The stack's result code for the far end's answer to a connection request, in DD@04@02.
quint8 creationStatus(quint16 result)
{
    switch (result) {
    case CreditChannels::Success:
        return 0;
    case CreditChannels::PsmNotSupported:
        return 58;
    case CreditChannels::NoResources:
        return 53;
    case CreditChannels::InsufficientAuthentication:
        return 54;
    case CreditChannels::InsufficientAuthorization:
        return 55;
    case CreditChannels::InsufficientKeySize:
        return 56;
    case CreditChannels::InsufficientEncryption:
        return 57;
    case CreditChannels::InvalidSourceCid:
        return L2capEngine::StatusInvalidCid;
    case CreditChannels::SourceCidAllocated:
        return 62;
    default:
        return 64; // invalid parameter: unacceptable parameters, and any result no stack gives
    }
}

} // namespace

L2capEngine::L2capEngine(VirtualDongle& dongle, ConnectionManager& connections)
    : Engine(dongle)
    , m_connections(connections)
{
    const auto take = [this](quint16 channel) {
        m_connections.setChannelHandler(channel, [this, channel](int condix, const QByteArray& data) {
            const auto it = m_links.find(condix);
            if (it != m_links.end())
                it->second->received(channel, data);
        });
    };
    take(CreditChannels::SignalingChannel);
    for (quint16 cid = CreditChannels::FirstDynamicCid; cid <= CreditChannels::LastDynamicCid; ++cid)
        take(cid);
}

L2capEngine::~L2capEngine() = default;

void L2capEngine::install(Router& router)
{
    router.add(0x04, 0x01, Router::WholePayload, [this](const Request& r) { create(r); });
    router.add(0x04, 0x03, Router::WholePayload, [this](const Request& r) { sendSdu(r); });
    router.add(0x04, 0x07, Router::WholePayload, [this](const Request& r) { acceptRequest(r); });
    router.add(0x04, 0x0B, Router::WholePayload, [this](const Request& r) { manageCredits(r); });
    router.add(0x04, 0x0D, Router::WholePayload, [this](const Request& r) { registerPsm(r); });
    router.add(0x04, 0x0F, Router::WholePayload, [this](const Request& r) { unregisterPsm(r); });
    router.add(0x04, 0x13, Router::WholePayload, [this](const Request& r) { disconnect(r); });
}

// The stack forgets its PSMs on a reset as on an unplug; the links, and their channels, end
// without a word.
void L2capEngine::reset()
{
    m_psms.clear();
    m_links.clear();
}

void L2capEngine::linkOpened(int condix, Link* link)
{
    m_links[condix] = std::make_unique<CreditChannels>(
        [this, condix](quint16 channel, const QByteArray& data) { m_connections.send(condix, channel, data); },
        handlersFor(condix, link));
}

// The tool drops the connection's pages with it: nothing of its channels is told.
void L2capEngine::linkClosed(int condix)
{
    m_links.erase(condix);
}

CreditChannels::Handlers L2capEngine::handlersFor(int condix, const Link* link)
{
    CreditChannels::Handlers handlers;
    handlers.admit = [this, link](quint16 psm) { return admit(psm, link->security()); };
    handlers.requested = [this, condix](const CreditChannels::Request& request) {
        m_dongle.respond(0x04, 0x06,
                         {{"le_psm", le16(request.psm)},
                          {"peer_cid", le16(request.peer.cid)},
                          {"peer_mtu", le16(request.peer.mtu)},
                          {"peer_mps", le16(request.peer.mps)},
                          {"condix", u8(condix)}});
    };
    handlers.answered = [this, condix](quint16 psm, const Endpoint& local, quint16 result, const Endpoint& peer) {
        m_dongle.respond(0x04, 0x02,
                         {{"op_status", u8(0)},
                          {"status", u8(creationStatus(result))},
                          {"peer_psm", le16(psm)},
                          {"local_cid", le16(local.cid)},
                          {"local_credits", le16(local.credits)},
                          {"peer_credits", le16(peer.credits)},
                          {"peer_mtu", le16(peer.mtu)},
                          {"peer_mps", le16(peer.mps)},
                          {"condix", u8(condix)}});
    };
    handlers.received = [this, condix](quint16 cid, const QByteArray& sdu, int frames) {
        m_dongle.respond(0x04, 0x0A,
                         {{"local_cid", le16(cid)},
                          {"credits", le16(frames)},
                          {"data_length", le16(sdu.size())},
                          {"condix", u8(condix)},
                          {"data", sdu}});
    };
    handlers.granted = [this, condix](quint16 cid, int credits) {
        m_dongle.respond(0x04, 0x15, {{"local_cid", le16(cid)}, {"credits", le16(credits)}, {"condix", u8(condix)}});
    };
    // A channel that this end closed for a K-frame that broke the rules tells why in its status.
    handlers.closed = [this, condix](quint16 cid, CreditChannels::Ending ending) {
        const quint8 status = ending == CreditChannels::CreditError ? StatusCreditError
                              : ending == CreditChannels::InvalidPdu ? StatusInvalidPdu
                                                                     : 0;
        const quint8 reason = ending == CreditChannels::ClosedThere ? Link::ReasonRemoteUser : Link::ReasonLocalHost;
        m_dongle.respond(0x04, 0x14,
                         {{"status", u8(status)}, {"local_cid", le16(cid)}, {"reason", u8(reason)}, {"condix", u8(condix)}});
    };
    return handlers;
}

CreditChannels* L2capEngine::channelsOf(const Request& request)
{
    const auto it = m_links.find(request.number(QStringLiteral("condix")));
    if (it != m_links.end())
        return it->second.get();
    m_dongle.ack(request.module(), request.opcode(), VirtualDongle::StatusInvalidConnIdx);
    return nullptr;
}

void L2capEngine::refuse(const Request& request, quint8 status, const QString& why)
{
    m_dongle.ack(request.module(), request.opcode(), status);
    m_dongle.sendLog(request.name() + QStringLiteral(": ") + why);
}

QString L2capEngine::endpointError(const CreditChannels& channels, int condix, const Endpoint& local)
{
    if (!CreditChannels::isDynamic(local.cid))
        return QStringLiteral("local CID %1 outside 0x0040 to 0x007F").arg(SimFrame::hexText(local.cid));
    if (!channels.isFree(local.cid))
        return QStringLiteral("local CID %1 is in use on link %2").arg(SimFrame::hexText(local.cid)).arg(condix);
    if (local.mtu < CreditChannels::MinMtu)
        return QStringLiteral("MTU %1 below %2").arg(local.mtu).arg(CreditChannels::MinMtu);
    if (local.mps < CreditChannels::MinMps || local.mps > CreditChannels::MaxMps)
        return QStringLiteral("MPS %1 outside %2 to %3").arg(local.mps).arg(CreditChannels::MinMps).arg(CreditChannels::MaxMps);
    return QString();
}

int L2capEngine::channelCount() const
{
    int count = 0;
    for (const auto& link : m_links)
        count += link.second->count();
    return count;
}

// A request of the far end: the PSM must be registered, the link as secure as the PSM asks, and
// a channel free on the dongle.
quint16 L2capEngine::admit(quint16 psm, const Link::Security& security) const
{
    if (psm > 0xFF || !m_psms.contains(quint8(psm)))
        return CreditChannels::PsmNotSupported;
    const quint16 result = CreditChannels::securityResult(m_psms.value(quint8(psm)), security);
    if (result != CreditChannels::Success)
        return result;
    return channelCount() >= MaxChannels ? CreditChannels::NoResources : CreditChannels::Success;
}

// Security levels: 0 none, 1 encryption without authentication, 2 authenticated, 3 authenticated
// with Secure Connections. The key size of use_mks is not checked.
void L2capEngine::registerPsm(const Request& r)
{
    const int psm = r.number(QStringLiteral("ls_psm"));
    const int level = r.number(QStringLiteral("sec_level"));
    if (psm == 0)
        return refuse(r, StatusInvalidPsm, QStringLiteral("PSM 0 is no PSM"));
    if (level > 3)
        return refuse(r, VirtualDongle::StatusInvalidParam, QStringLiteral("security level %1 unknown").arg(level));
    if (m_psms.contains(quint8(psm)))
        return refuse(r, StatusPsmRegistered, QStringLiteral("PSM %1 is registered already").arg(psm));
    if (m_psms.size() >= MaxPsms)
        return refuse(r, StatusTooManyPsms, QStringLiteral("%1 PSMs are registered already").arg(MaxPsms));
    m_psms.insert(quint8(psm), quint8(level));
    m_dongle.ack(r.module(), r.opcode(), 0);
}

// Channels already open on the PSM stay open.
void L2capEngine::unregisterPsm(const Request& r)
{
    const int psm = r.number(QStringLiteral("ls_psm"));
    if (!m_psms.remove(quint8(psm)))
        return refuse(r, StatusInvalidPsm, QStringLiteral("PSM %1 is not registered").arg(psm));
    m_dongle.ack(r.module(), r.opcode(), 0);
}

void L2capEngine::create(const Request& r)
{
    CreditChannels* channels = channelsOf(r);
    if (!channels)
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const Endpoint local = localEndpoint(r);
    const QString error = endpointError(*channels, condix, local);
    if (!error.isEmpty())
        return refuse(r, VirtualDongle::StatusInvalidParam, error);
    if (channelCount() >= MaxChannels)
        return refuse(r, VirtualDongle::StatusNoResources, QStringLiteral("%1 channels are open already").arg(MaxChannels));
    m_dongle.ack(r.module(), r.opcode(), 0);
    channels->connect(quint16(r.number(QStringLiteral("le_psm"))), local);
}

// The tool answers the far end's request that DD@04@06 told it of, with its own CID and sizes,
// or refuses it: a refusal by the user tells the far end it is not authorized. No event follows
// here; the tool builds the channel from its own dialog.
void L2capEngine::acceptRequest(const Request& r)
{
    CreditChannels* channels = channelsOf(r);
    if (!channels)
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 peerCid = quint16(r.number(QStringLiteral("peer_cid")));
    if (!channels->isRequested(peerCid))
        return refuse(r, VirtualDongle::StatusInvalidParam,
                      QStringLiteral("no request from CID %1 waits on link %2").arg(SimFrame::hexText(peerCid)).arg(condix));
    if (r.number(QStringLiteral("accept")) != 1) {
        m_dongle.ack(r.module(), r.opcode(), 0);
        channels->refuse(peerCid, CreditChannels::InsufficientAuthorization);
        return;
    }
    const Endpoint local = localEndpoint(r);
    const QString error = endpointError(*channels, condix, local);
    if (!error.isEmpty()) {
        channels->refuse(peerCid, CreditChannels::UnacceptableParameters);
        return refuse(r, VirtualDongle::StatusInvalidParam, error);
    }
    m_dongle.ack(r.module(), r.opcode(), 0);
    channels->accept(peerCid, local);
}

// Each SDU gets its DD@04@04: at once when it cannot go, else once its last K-frame is on the
// link, with the credits it took. An SDU that finds no credits and nothing queued before it is
// refused with 42 and nothing of it is sent, since the tool sends the same SDU again when credits
// come.
void L2capEngine::sendSdu(const Request& r)
{
    CreditChannels* channels = channelsOf(r);
    if (!channels)
        return;
    m_dongle.ack(r.module(), r.opcode(), 0);
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 cid = quint16(r.number(QStringLiteral("local_cid")));
    const QByteArray data = r.field(QStringLiteral("data"));
    const auto report = [this, condix, cid](int credits, quint8 status) {
        m_dongle.respond(0x04, 0x04,
                         {{"local_cid", le16(cid)}, {"credits", le16(credits)}, {"status", u8(status)}, {"condix", u8(condix)}});
    };
    const CreditChannels::Channel* channel = channels->channel(cid);
    if (!channel)
        return report(0, StatusInvalidCid);
    if (r.number(QStringLiteral("data_len")) != data.size())
        return report(0, StatusInvalidPdu);
    if (data.size() > channel->peer.mtu)
        return report(0, StatusMtuExceeded);
    if (channel->peer.credits == 0 && channel->outgoing.empty())
        return report(0, StatusNoPeerCredits);
    channels->send(cid, data, [report](int frames) { report(frames, 0); });
}

void L2capEngine::manageCredits(const Request& r)
{
    CreditChannels* channels = channelsOf(r);
    if (!channels)
        return;
    m_dongle.ack(r.module(), r.opcode(), 0);
    const quint16 cid = quint16(r.number(QStringLiteral("local_cid")));
    quint8 status = 0;
    if (!channels->channel(cid))
        status = StatusInvalidCid;
    else if (!channels->grant(cid, r.number(QStringLiteral("credits"))))
        status = StatusCreditError;
    m_dongle.respond(0x04, 0x0C, {{"status", u8(status)}, {"local_cid", le16(cid)}, {"condix", u8(r.number(QStringLiteral("condix")))}});
}

void L2capEngine::disconnect(const Request& r)
{
    CreditChannels* channels = channelsOf(r);
    if (!channels)
        return;
    const quint16 cid = quint16(r.number(QStringLiteral("local_cid")));
    if (!channels->channel(cid))
        return refuse(r, VirtualDongle::StatusInvalidParam,
                      QStringLiteral("local CID %1 is not open on link %2").arg(SimFrame::hexText(cid)).arg(r.number(QStringLiteral("condix"))));
    m_dongle.ack(r.module(), r.opcode(), 0);
    channels->disconnect(cid);
}
