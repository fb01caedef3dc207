#include "creditchannels.h"

#include <utility>

#include "proto/simframe.h"

using SimFrame::le16;
using SimFrame::readLe16;

namespace {

enum Code : quint8 {
    CommandReject = 0x01,
    DisconnectionRequest = 0x06,
    DisconnectionResponse = 0x07,
    ConnectionRequest = 0x14,
    ConnectionResponse = 0x15,
    FlowControlCredit = 0x16,
};
// Reasons of a Command Reject.
constexpr quint16 NotUnderstood = 0x0000;
constexpr quint16 InvalidCid = 0x0002;


QByteArray endpoint(const CreditChannels::Endpoint& e)
{
    return le16(e.cid) + le16(e.mtu) + le16(e.mps) + le16(e.credits);
}

bool takesSegments(const CreditChannels::Endpoint& e)
{
    return e.mtu >= CreditChannels::MinMtu && e.mps >= CreditChannels::MinMps && e.mps <= CreditChannels::MaxMps;
}

} // namespace

CreditChannels::CreditChannels(Transmit transmit, Handlers handlers)
    : m_transmit(std::move(transmit))
    , m_handlers(std::move(handlers))
{
}

CreditChannels::~CreditChannels() = default;

quint16 CreditChannels::securityResult(int required, const Link::Security& security)
{
    if (required > Authentication && !security.secureConnections)
        return InsufficientAuthentication;
    if (required >= Authentication && !security.authenticated)
        return InsufficientAuthentication;
    return required >= Encryption && !security.encrypted ? InsufficientEncryption : Success;
}

void CreditChannels::received(quint16 channel, const QByteArray& data)
{
    if (channel == SignalingChannel)
        signaling(data);
    else
        frameArrived(channel, data);
}

CreditChannels::Channel* CreditChannels::open(quint16 cid)
{
    const auto it = m_channels.find(cid);
    return it == m_channels.end() || it->second.closing ? nullptr : &it->second;
}

const CreditChannels::Channel* CreditChannels::channel(quint16 cid) const
{
    const auto it = m_channels.find(cid);
    return it == m_channels.end() || it->second.closing ? nullptr : &it->second;
}

bool CreditChannels::isFree(quint16 cid) const
{
    if (!isDynamic(cid) || m_channels.count(cid))
        return false;
    for (const auto& asked : m_asked) {
        if (asked.second.local.cid == cid)
            return false;
    }
    return true;
}

quint16 CreditChannels::freeCid() const
{
    for (quint16 cid = FirstDynamicCid; cid <= LastDynamicCid; ++cid) {
        if (isFree(cid))
            return cid;
    }
    return 0;
}

// Identifiers run from 1: 0 names no command.
quint8 CreditChannels::nextIdentifier()
{
    m_identifier = quint8(m_identifier % 255 + 1);
    return m_identifier;
}

void CreditChannels::signal(quint8 code, quint8 identifier, const QByteArray& data)
{
    m_transmit(SignalingChannel, char(code) + (char(identifier) + le16(data.size())) + data);
}

void CreditChannels::respond(quint8 identifier, const Endpoint& local, quint16 result)
{
    signal(ConnectionResponse, identifier, endpoint(local) + le16(result));
}

void CreditChannels::signaling(const QByteArray& pdu)
{
    if (pdu.size() < 4)
        return; // without an identifier there is nothing to answer
    const quint8 code = quint8(pdu.at(0));
    const quint8 identifier = quint8(pdu.at(1));
    const QByteArray data = pdu.mid(4);
    if (readLe16(pdu, 2) != data.size())
        return signal(CommandReject, identifier, le16(NotUnderstood));
    switch (code) {
    case ConnectionRequest:
        return connectionRequest(identifier, data);
    case ConnectionResponse:
        return connectionResponse(identifier, data);
    case FlowControlCredit:
        return creditIndication(data);
    case DisconnectionRequest:
        return disconnectionRequest(identifier, data);
    case DisconnectionResponse:
        return disconnectionResponse(data);
    case CommandReject:
        return; // both ends here send only what the other understands
    default:
        signal(CommandReject, identifier, le16(NotUnderstood));
    }
}

void CreditChannels::connect(quint16 psm, const Endpoint& local)
{
    const quint8 identifier = nextIdentifier();
    m_asked[identifier] = {psm, local};
    signal(ConnectionRequest, identifier, le16(psm) + endpoint(local));
}

void CreditChannels::connectionRequest(quint8 identifier, const QByteArray& data)
{
    if (data.size() != 10)
        return signal(CommandReject, identifier, le16(NotUnderstood));
    const Request request{readLe16(data, 0), {readLe16(data, 2), readLe16(data, 4), readLe16(data, 6), readLe16(data, 8)}};
    quint16 result = m_handlers.admit(request.psm);
    if (result == Success && !isDynamic(request.peer.cid))
        result = InvalidSourceCid;
    if (result == Success) {
        bool taken = m_requests.count(request.peer.cid) > 0;
        for (const auto& channel : m_channels)
            taken = taken || channel.second.peer.cid == request.peer.cid;
        if (taken)
            result = SourceCidAllocated;
        else if (!takesSegments(request.peer))
            result = UnacceptableParameters;
    }
    if (result != Success)
        return respond(identifier, Endpoint(), result);
    m_requests[request.peer.cid] = {identifier, request};
    m_handlers.requested(request);
}

void CreditChannels::accept(quint16 peerCid, const Endpoint& local)
{
    const auto it = m_requests.find(peerCid);
    if (it == m_requests.end())
        return;
    const Pending pending = it->second;
    m_requests.erase(it);
    respond(pending.identifier, local, Success);
    Channel& channel = m_channels[local.cid];
    channel.psm = pending.request.psm;
    channel.local = local;
    channel.peer = pending.request.peer;
}

void CreditChannels::refuse(quint16 peerCid, quint16 result)
{
    const auto it = m_requests.find(peerCid);
    if (it == m_requests.end())
        return;
    const quint8 identifier = it->second.identifier;
    m_requests.erase(it);
    respond(identifier, Endpoint(), result);
}

void CreditChannels::connectionResponse(quint8 identifier, const QByteArray& data)
{
    const auto it = m_asked.find(identifier);
    if (it == m_asked.end() || data.size() != 10)
        return;
    const Asked asked = it->second;
    m_asked.erase(it);
    Endpoint peer{readLe16(data, 0), readLe16(data, 2), readLe16(data, 4), readLe16(data, 6)};
    quint16 result = readLe16(data, 8);
    // A channel that could carry nothing is no channel.
    if (result == Success && (!isDynamic(peer.cid) || !takesSegments(peer)))
        result = UnacceptableParameters;
    if (result == Success) {
        Channel& channel = m_channels[asked.local.cid];
        channel.psm = asked.psm;
        channel.local = asked.local;
        channel.peer = peer;
    } else {
        peer = Endpoint();
    }
    m_handlers.answered(asked.psm, asked.local, result, peer);
}

// The indication names the channel by the CID of the end that sends it.
void CreditChannels::creditIndication(const QByteArray& data)
{
    if (data.size() != 4)
        return;
    Channel* channel = nullptr;
    for (auto& entry : m_channels) {
        if (entry.second.peer.cid == readLe16(data, 0) && !entry.second.closing)
            channel = &entry.second;
    }
    if (!channel)
        return;
    const quint16 cid = channel->local.cid;
    const int credits = readLe16(data, 2);
    if (channel->peer.credits + credits > MaxCredits)
        return end(cid, CreditError);
    channel->peer.credits += credits;
    const std::weak_ptr<bool> alive = m_life;
    m_handlers.granted(cid, credits);
    if (!alive.expired())
        pump(cid);
}

bool CreditChannels::grant(quint16 cid, int credits)
{
    Channel* channel = open(cid);
    if (!channel || channel->local.credits + credits > MaxCredits)
        return false;
    // An indication carries one credit at least: a grant of none sends nothing.
    if (credits > 0) {
        channel->local.credits += credits;
        signal(FlowControlCredit, nextIdentifier(), le16(cid) + le16(credits));
    }
    return true;
}

void CreditChannels::disconnect(quint16 cid)
{
    end(cid, ClosedHere);
}

// What was under way in either direction goes; K-frames that still come are dropped.
void CreditChannels::end(quint16 cid, Ending ending)
{
    Channel* channel = open(cid);
    if (!channel)
        return;
    channel->closing = true;
    channel->ending = ending;
    channel->outgoing.clear();
    signal(DisconnectionRequest, nextIdentifier(), le16(channel->peer.cid) + le16(cid));
}

// The request names this end's CID first, then the far end's.
void CreditChannels::disconnectionRequest(quint8 identifier, const QByteArray& data)
{
    if (data.size() != 4)
        return signal(CommandReject, identifier, le16(NotUnderstood));
    const quint16 cid = readLe16(data, 0);
    const auto it = m_channels.find(cid);
    if (it == m_channels.end() || it->second.peer.cid != readLe16(data, 2))
        return signal(CommandReject, identifier, le16(InvalidCid) + data);
    // Both ends may have asked at once: the channel ends as this end meant it to.
    const Ending ending = it->second.closing ? it->second.ending : ClosedThere;
    m_channels.erase(it);
    signal(DisconnectionResponse, identifier, data);
    m_handlers.closed(cid, ending);
}

// The response names the far end's CID first, then this end's.
void CreditChannels::disconnectionResponse(const QByteArray& data)
{
    if (data.size() != 4)
        return;
    const quint16 cid = readLe16(data, 2);
    const auto it = m_channels.find(cid);
    if (it == m_channels.end() || !it->second.closing || it->second.peer.cid != readLe16(data, 0))
        return;
    const Ending ending = it->second.ending;
    m_channels.erase(it);
    m_handlers.closed(cid, ending);
}

// The first K-frame of an SDU carries its length; every K-frame costs the sender a credit.
void CreditChannels::frameArrived(quint16 cid, const QByteArray& frame)
{
    Channel* channel = open(cid);
    if (!channel)
        return;
    if (channel->local.credits == 0)
        return end(cid, CreditError);
    --channel->local.credits;
    if (frame.size() > channel->local.mps)
        return end(cid, InvalidPdu);
    if (channel->sduLength < 0) {
        if (frame.size() < 2 || readLe16(frame, 0) > channel->local.mtu)
            return end(cid, InvalidPdu);
        channel->sduLength = readLe16(frame, 0);
        channel->sdu = frame.mid(2);
    } else {
        channel->sdu += frame;
    }
    ++channel->sduFrames;
    if (channel->sdu.size() > channel->sduLength)
        return end(cid, InvalidPdu);
    if (channel->sdu.size() < channel->sduLength)
        return;
    const QByteArray sdu = std::exchange(channel->sdu, QByteArray());
    const int frames = std::exchange(channel->sduFrames, 0);
    channel->sduLength = -1;
    m_handlers.received(cid, sdu, frames);
}

void CreditChannels::send(quint16 cid, const QByteArray& sdu, Sent sent)
{
    Channel* channel = open(cid);
    if (!channel || sdu.size() > channel->peer.mtu)
        return;
    const int mps = channel->peer.mps;
    Outgoing outgoing;
    outgoing.frames.append(le16(sdu.size()) + sdu.left(mps - 2));
    for (int at = mps - 2; at < sdu.size(); at += mps)
        outgoing.frames.append(sdu.mid(at, mps));
    outgoing.count = outgoing.frames.size();
    outgoing.sent = std::move(sent);
    channel->outgoing.push_back(std::move(outgoing));
    pump(cid);
}

// A handler that hears of a sent SDU may send another on the same channel, or end the channel:
// the channel is looked up again after each.
void CreditChannels::pump(quint16 cid)
{
    const std::weak_ptr<bool> alive = m_life;
    for (;;) {
        Channel* channel = open(cid);
        if (!channel || channel->outgoing.empty() || channel->peer.credits == 0)
            return;
        Outgoing& sdu = channel->outgoing.front();
        --channel->peer.credits;
        m_transmit(channel->peer.cid, sdu.frames.takeFirst());
        if (!sdu.frames.isEmpty())
            continue;
        const Sent sent = std::move(sdu.sent);
        const int count = sdu.count;
        channel->outgoing.pop_front();
        if (!sent)
            continue;
        sent(count);
        if (alive.expired())
            return;
    }
}
