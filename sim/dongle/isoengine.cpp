#include "isoengine.h"

#include <QSet>
#include <QTimer>

#include "air/link.h"
#include "connectionmanager.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::hexText;
using SimFrame::le;
using SimFrame::le16;
using SimFrame::readLe16;
using SimFrame::u8;

namespace {

constexpr Link::End M2S = Link::Central;
constexpr Link::End S2M = Link::Peripheral;
constexpr int CisEntryLength = 9;
constexpr int CreateEntryLength = 3;
constexpr int MaxCisCount = 0x1F;
constexpr int MaxRetransmissions = 15;
constexpr int InterFrameUs = 150;

// A PDU's time on air: its payload and some ten bytes of preamble, address, header and CRC.
int airUs(int octets, quint8 phy)
{
    const int usPerByte = phy == ControllerInfo::Phy2M ? 4 : phy == ControllerInfo::PhyCoded ? 64 : 8;
    return (octets + 10) * usPerByte;
}

// One sub-event: a PDU each way and the gaps after them.
quint32 subIntervalUs(int maxSduM2S, quint8 phyM2S, int maxSduS2M, quint8 phyS2M)
{
    const int m2s = airUs(qMin(maxSduM2S, IsoStreams::MaxPdu), phyM2S);
    const int s2m = airUs(qMin(maxSduS2M, IsoStreams::MaxPdu), phyS2M);
    return quint32(m2s + InterFrameUs + s2m + InterFrameUs);
}

} // namespace

IsoEngine::IsoEngine(VirtualDongle& dongle, ConnectionManager& connections)
    : Engine(dongle)
    , m_connections(connections)
{
    for (const quint16 channel : {IsoStreams::ControlChannel, IsoStreams::StreamChannel}) {
        m_connections.setChannelHandler(channel, [this, channel](int condix, const QByteArray& data) {
            if (IsoStreams* streams = streamsOf(condix))
                streams->received(channel, data);
        });
    }
}

IsoEngine::~IsoEngine() = default;

void IsoEngine::install(Router& router)
{
    router.add(0x06, 0x01, Router::WholePayload, [this](const Request& r) { readTxSync(r); });
    router.add(0x06, 0x02, Router::WholePayload, [this](const Request& r) { setGroup(r); });
    router.add(0x06, 0x03, Router::WholePayload, [this](const Request& r) { create(r); });
    router.add(0x06, 0x04, Router::WholePayload, [this](const Request& r) { removeGroup(r); });
    router.add(0x06, 0x05, Router::WholePayload, [this](const Request& r) { answerRequest(r, true); });
    router.add(0x06, 0x06, Router::WholePayload, [this](const Request& r) { answerRequest(r, false); });
    router.add(0x06, 0x0B, Router::WholePayload, [this](const Request& r) { setupPath(r); });
    router.add(0x06, 0x0C, Router::WholePayload, [this](const Request& r) { removePath(r); });
    router.add(0x06, 0x0D, Router::WholePayload, [this](const Request& r) { disconnect(r); });
    router.add(0x06, 0x0E, Router::WholePayload, [this](const Request& r) { sendData(r); });
}

// A reset forgets the groups as an unplug does; the links, and their streams, end without a word.
void IsoEngine::reset()
{
    m_groups.clear();
    m_streams.clear();
    m_links.clear();
}

void IsoEngine::linkOpened(int condix, Link* link)
{
    m_links[condix] = std::make_unique<IsoStreams>(link, link->endOf(&m_connections), handlersFor(condix));
}

// The host hears of each stream of the link before it hears of the link.
void IsoEngine::linkEnding(int condix, quint8 reason)
{
    const auto it = m_links.find(condix);
    if (it == m_links.end())
        return;
    const std::unique_ptr<IsoStreams> streams = std::move(it->second);
    m_links.erase(it);
    streams->linkDown(reason);
}

void IsoEngine::linkClosed(int condix)
{
    m_links.erase(condix);
}

IsoStreams::Handlers IsoEngine::handlersFor(int condix)
{
    IsoStreams::Handlers handlers;
    // The far end's request takes a handle from the pool at once, so that the host can name it.
    handlers.requested = [this, condix](const IsoStreams::Stream& stream) {
        if (handleCount() >= MaxHandles) {
            m_dongle.sendLog(QStringLiteral("CIS request on link %1 refused: %2 handles are taken").arg(condix).arg(MaxHandles));
            return streamsOf(condix)->reject(stream.key(), IsoStreams::ErrorLimitedResources);
        }
        const quint16 handle = freeHandle();
        Stream& entry = m_streams[handle];
        entry.condix = condix;
        entry.end = Link::Peripheral;
        entry.key = stream.key();
        entry.asked = true;
        entry.request = ++m_requests;
        QTimer::singleShot(AcceptTimeoutMs, &m_dongle,
                           [this, handle, request = entry.request] { requestTimedOut(handle, request); });
        m_dongle.respond(0x06, 0x10,
                         {{"acl_connection_index", u8(condix)},
                          {"cis_connection_handle", le16(handle)},
                          {"cig_id", u8(stream.cigId)},
                          {"cis_id", u8(stream.cisId)}});
    };
    handlers.established = [this, condix](const IsoStreams::Stream& stream) {
        const quint16 handle = handleOf(condix, stream.key());
        if (handle == 0)
            return;
        m_streams[handle].established = true;
        report(handle, 0, &stream);
    };
    handlers.failed = [this, condix](quint16 key, quint8 error) {
        const quint16 handle = handleOf(condix, key);
        if (handle == 0)
            return;
        m_streams.erase(handle);
        report(handle, quint8(error + VirtualDongle::LinkLayerStatusBase));
    };
    handlers.ended = [this, condix](quint16 key, quint8 reason) {
        const quint16 handle = handleOf(condix, key);
        if (handle == 0)
            return;
        m_streams.erase(handle);
        m_dongle.respond(0x06, 0x0B, {{"cis_connection_handle", le16(handle)}, {"reason", u8(reason)}});
    };
    // Received SDUs are bulk, as notifications are: past the share of the link they are missed.
    handlers.received = [this, condix](quint16 key, quint16 sequence, quint32 timeStamp, const QByteArray& sdu) {
        const quint16 handle = handleOf(condix, key);
        if (handle == 0 || !m_streams[handle].output || !m_dongle.reserveBulk(6 + 11 + sdu.size()))
            return;
        m_dongle.respond(0x06, 0x0F,
                         {{"connection_handle", le16(handle)},
                          {"time_stamp", le(timeStamp, 4)},
                          {"packet_sn", le16(sequence)},
                          {"packet_status", u8(0)},
                          {"data_length", le16(sdu.size())},
                          {"data", sdu}});
    };
    handlers.sent = [this, condix](quint16 key, quint16 sequence, quint32 timeStamp) {
        const quint16 handle = handleOf(condix, key);
        if (handle == 0)
            return;
        Stream& stream = m_streams[handle];
        stream.synced = true;
        stream.sequence = sequence;
        stream.timeStamp = timeStamp;
    };
    return handlers;
}

IsoStreams* IsoEngine::streamsOf(int condix) const
{
    const auto it = m_links.find(condix);
    return it == m_links.end() ? nullptr : it->second.get();
}

quint16 IsoEngine::handleOf(int condix, quint16 key) const
{
    for (const auto& stream : m_streams) {
        if (stream.second.condix == condix && stream.second.key == key)
            return stream.first;
    }
    return 0;
}

IsoEngine::Stream* IsoEngine::established(quint16 handle)
{
    const auto it = m_streams.find(handle);
    return it == m_streams.end() || !it->second.established ? nullptr : &it->second;
}

// The groups' streams, and those taken as peripheral.
int IsoEngine::handleCount() const
{
    int count = 0;
    for (const auto& group : m_groups)
        count += group.second.cises.size();
    for (const auto& stream : m_streams)
        count += stream.second.end == Link::Peripheral;
    return count;
}

quint16 IsoEngine::freeHandle() const
{
    QSet<quint16> taken;
    for (const auto& group : m_groups) {
        for (const Cis& cis : group.second.cises)
            taken.insert(cis.handle);
    }
    for (const auto& stream : m_streams)
        taken.insert(stream.first);
    for (quint16 handle = FirstHandle; handle < NoStream; ++handle) {
        if (!taken.contains(handle))
            return handle;
    }
    return 0;
}

bool IsoEngine::isBusy(quint8 cigId) const
{
    for (const auto& stream : m_streams) {
        if (stream.second.key >> 8 == cigId && stream.second.end == Link::Central)
            return true;
    }
    return false;
}

// The controller's schedule: each stream of the group takes its sub-events (one and its
// retransmissions) after those of the stream before it, so the group's sync delay is the sum of
// theirs; an ISO interval of the longer SDU interval, one SDU an event, flushed after one
// interval. Each direction takes the fastest PHY asked that both link layers have, LE 1M when
// there is none.
IsoStreams::Stream IsoEngine::plan(quint8 cigId, const Group& group, int index, const Link& link) const
{
    const Cis& cis = group.cises.at(index);
    const quint8 both = link.controller(Link::Central).phys & link.controller(Link::Peripheral).phys;
    IsoStreams::Stream stream;
    stream.cigId = cigId;
    stream.cisId = cis.id;
    stream.framed = group.framed;
    quint32 longest = 0;
    for (const Link::End sender : {M2S, S2M}) {
        stream.sduIntervalUs[sender] = group.sduIntervalUs[sender];
        stream.maxSdu[sender] = cis.maxSdu[sender];
        stream.maxPdu[sender] = qMin(cis.maxSdu[sender], IsoStreams::MaxPdu);
        stream.burst[sender] = cis.maxSdu[sender] > 0 ? 1 : 0;
        const quint8 phy = ControllerInfo::fastest(cis.phy[sender] & both);
        stream.phy[sender] = phy ? phy : quint8(ControllerInfo::Phy1M);
        longest = qMax(longest, group.sduIntervalUs[sender]);
    }
    stream.isoInterval = qBound(4, int((longest + 1249) / 1250), 3200);
    stream.subIntervalUs = subIntervalUs(cis.maxSdu[M2S], stream.phy[M2S], cis.maxSdu[S2M], stream.phy[S2M]);
    quint32 before = 0;
    quint32 total = 0;
    for (int k = 0; k < group.cises.size(); ++k) {
        const Cis& other = group.cises.at(k);
        const int subEvents = 1 + qMax(other.rtn[M2S], other.rtn[S2M]);
        const quint32 duration = quint32(subEvents) * subIntervalUs(other.maxSdu[M2S], ControllerInfo::fastest(other.phy[M2S]),
                                                                    other.maxSdu[S2M], ControllerInfo::fastest(other.phy[S2M]));
        before += k < index ? duration : 0;
        total += duration;
        if (k == index)
            stream.subEvents = quint8(subEvents);
    }
    stream.cigSyncDelayUs = total;
    stream.cisSyncDelayUs = total - before;
    return stream;
}

void IsoEngine::refuse(const Request& request, quint8 status, const QString& why)
{
    m_dongle.ack(request.module(), request.opcode(), status);
    log(request, why);
}

void IsoEngine::refuse(const Request& request, const Verdict& verdict)
{
    refuse(request, verdict.status, verdict.why);
}

void IsoEngine::log(const Request& request, const QString& why)
{
    m_dongle.sendLog(request.name() + QStringLiteral(": ") + why);
}

void IsoEngine::report(quint16 handle, quint8 status, const IsoStreams::Stream* stream)
{
    const bool up = stream != nullptr;
    m_dongle.respond(0x06, 0x03,
                     {{"status", u8(status)},
                      {"cis_connection_handle", le16(handle)},
                      {"cig_sync_delay", le(up ? stream->cigSyncDelayUs : 0, 4)},
                      {"cis_sync_delay", le(up ? stream->cisSyncDelayUs : 0, 4)},
                      {"transport_latency_m2s", le(up ? stream->transportLatencyUs(M2S) : 0, 4)},
                      {"transport_latency_s2m", le(up ? stream->transportLatencyUs(S2M) : 0, 4)},
                      {"phy_m2s", u8(up ? stream->phy[M2S] : 0)},
                      {"phy_s2m", u8(up ? stream->phy[S2M] : 0)}});
}

// The frame is acked as it parses; the controller's verdict follows, with a handle for each
// stream in the order given.
void IsoEngine::setGroup(const Request& r)
{
    m_dongle.ack(r.module(), r.opcode(), 0);
    const int cigId = r.number(QStringLiteral("cig_id"));
    const int count = r.number(QStringLiteral("cis_count"));
    const QByteArray list = r.field(QStringLiteral("cis"));
    const auto refused = [&](quint8 status, const QString& why) {
        reply(r, 0x02, {{"status", u8(resultCode(status))}, {"cig_id", u8(cigId)}, {"cis_count", u8(count)}, {"cis_handle", QByteArray()}},
              {status, why});
    };
    Group group;
    group.sduIntervalUs[M2S] = quint32(r.number(QStringLiteral("sdu_interval_m2s")));
    group.sduIntervalUs[S2M] = quint32(r.number(QStringLiteral("sdu_interval_s2m")));
    group.framed = r.number(QStringLiteral("framing")) == 1;
    const int latencies[2] = {r.number(QStringLiteral("transport_latency_m2s")), r.number(QStringLiteral("transport_latency_s2m"))};
    const int sca = r.number(QStringLiteral("sca"));
    const int packing = r.number(QStringLiteral("packing"));
    const int framing = r.number(QStringLiteral("framing"));
    if (cigId > IsoStreams::MaxId)
        return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("CIG id %1 past 0xEF").arg(cigId));
    for (const Link::End sender : {M2S, S2M}) {
        const quint32 interval = group.sduIntervalUs[sender];
        if (interval < IsoStreams::MinSduIntervalUs || interval > IsoStreams::MaxSduIntervalUs)
            return refused(VirtualDongle::StatusInvalidParam,
                           QStringLiteral("SDU interval %1 us outside 255 to 1048575").arg(interval));
        if (latencies[sender] < 5 || latencies[sender] > 4000)
            return refused(VirtualDongle::StatusInvalidParam,
                           QStringLiteral("transport latency %1 ms outside 5 to 4000").arg(latencies[sender]));
    }
    if (sca > 7)
        return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("sleep clock accuracy %1 past 7").arg(sca));
    if (packing > 1 || framing > 1)
        return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("packing %1 or framing %2 past 1").arg(packing).arg(framing));
    if (count > MaxCisCount)
        return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("%1 streams, %2 at most").arg(count).arg(MaxCisCount));
    if (list.size() != count * CisEntryLength)
        return refused(VirtualDongle::StatusInvalidParam,
                       QStringLiteral("%1 bytes for %2 streams of %3").arg(list.size()).arg(count).arg(CisEntryLength));
    QSet<int> ids;
    for (int at = 0; at < list.size(); at += CisEntryLength) {
        Cis cis;
        cis.id = quint8(list.at(at));
        cis.maxSdu[M2S] = readLe16(list, at + 1);
        cis.maxSdu[S2M] = readLe16(list, at + 3);
        cis.phy[M2S] = quint8(list.at(at + 5));
        cis.phy[S2M] = quint8(list.at(at + 6));
        cis.rtn[M2S] = quint8(list.at(at + 7));
        cis.rtn[S2M] = quint8(list.at(at + 8));
        if (cis.id > IsoStreams::MaxId)
            return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("CIS id %1 past 0xEF").arg(cis.id));
        if (ids.contains(cis.id))
            return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("CIS id %1 twice").arg(cis.id));
        ids.insert(cis.id);
        for (const Link::End sender : {M2S, S2M}) {
            if (cis.maxSdu[sender] > IsoStreams::MaxSdu)
                return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("max SDU %1 past 4095").arg(cis.maxSdu[sender]));
            if (cis.phy[sender] == 0 || (cis.phy[sender] & ~7))
                return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("PHY %1 unknown").arg(cis.phy[sender]));
            if (cis.rtn[sender] > MaxRetransmissions)
                return refused(VirtualDongle::StatusInvalidParam, QStringLiteral("%1 retransmissions, 15 at most").arg(cis.rtn[sender]));
        }
        group.cises.append(cis);
    }
    if (isBusy(quint8(cigId)))
        return refused(VirtualDongle::StatusDisallowed, QStringLiteral("CIG %1 has a stream being created or standing").arg(cigId));
    const auto old = m_groups.find(quint8(cigId));
    const bool known = old != m_groups.end();
    if (!known && int(m_groups.size()) >= MaxGroups)
        return refused(VirtualDongle::StatusNoResources, QStringLiteral("%1 CIGs are set already").arg(MaxGroups));
    const int handles = handleCount() - (known ? old->second.cises.size() : 0) + count;
    if (handles > MaxHandles)
        return refused(VirtualDongle::StatusNoResources, QStringLiteral("%1 streams in all, %2 at most").arg(handles).arg(MaxHandles));
    // A stream the group had keeps its handle; the others take the lowest free ones.
    for (Cis& cis : group.cises) {
        for (const Cis& had : known ? old->second.cises : QVector<Cis>()) {
            if (had.id == cis.id)
                cis.handle = had.handle;
        }
    }
    Group& stored = m_groups[quint8(cigId)] = group;
    QByteArray given;
    for (Cis& cis : stored.cises) {
        if (cis.handle == 0)
            cis.handle = freeHandle();
        given += le16(cis.handle);
    }
    m_dongle.respond(0x06, 0x02, {{"status", u8(0)}, {"cig_id", u8(cigId)}, {"cis_count", u8(count)}, {"cis_handle", given}});
}

void IsoEngine::create(const Request& r)
{
    const int count = r.number(QStringLiteral("cis_count"));
    const QByteArray list = r.field(QStringLiteral("cis_value"));
    if (count == 0 || list.size() != count * CreateEntryLength)
        return refuse(r, VirtualDongle::StatusInvalidParam,
                      QStringLiteral("%1 bytes for %2 streams of %3").arg(list.size()).arg(count).arg(CreateEntryLength));
    struct Item {
        quint16 handle;
        int condix;
        quint8 cigId;
        int index;
    };
    QVector<Item> items;
    for (int at = 0; at < list.size(); at += CreateEntryLength) {
        Item item{readLe16(list, at), quint8(list.at(at + 2)), 0, -1};
        for (const auto& group : m_groups) {
            for (int i = 0; i < group.second.cises.size(); ++i) {
                if (group.second.cises.at(i).handle == item.handle) {
                    item.cigId = group.first;
                    item.index = i;
                }
            }
        }
        const QString handle = hexText(item.handle);
        if (item.index < 0)
            return refuse(r, VirtualDongle::StatusInvalidHandle, QStringLiteral("handle %1 belongs to no CIG").arg(handle));
        for (const Item& earlier : qAsConst(items)) {
            if (earlier.handle == item.handle)
                return refuse(r, VirtualDongle::StatusInvalidParam, QStringLiteral("handle %1 twice").arg(handle));
        }
        const IsoStreams* streams = streamsOf(item.condix);
        if (!streams || !streams->link())
            return refuse(r, VirtualDongle::StatusInvalidConnIdx, QStringLiteral("no link %1").arg(item.condix));
        if (streams->end() != Link::Central)
            return refuse(r, VirtualDongle::StatusInvalidConnIdx,
                          QStringLiteral("link %1 has this dongle as peripheral").arg(item.condix));
        if (m_streams.count(item.handle))
            return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("CIS %1 is being created or stands").arg(handle));
        items.append(item);
    }
    m_dongle.ack(r.module(), r.opcode(), 0);
    for (const Item& item : qAsConst(items)) {
        IsoStreams* streams = streamsOf(item.condix);
        const Group& group = m_groups.at(item.cigId);
        Stream& stream = m_streams[item.handle];
        stream.condix = item.condix;
        stream.end = Link::Central;
        stream.key = IsoStreams::key(item.cigId, group.cises.at(item.index).id);
        streams->request(plan(item.cigId, group, item.index, *streams->link()));
    }
}

void IsoEngine::removeGroup(const Request& r)
{
    m_dongle.ack(r.module(), r.opcode(), 0);
    const int cigId = r.number(QStringLiteral("cig_id"));
    Verdict verdict;
    if (!m_groups.count(quint8(cigId)))
        verdict = {VirtualDongle::StatusListItemNotFound, QStringLiteral("CIG %1 is not set").arg(cigId)};
    else if (isBusy(quint8(cigId)))
        verdict = {VirtualDongle::StatusDisallowed, QStringLiteral("CIG %1 has a stream being created or standing").arg(cigId)};
    else
        m_groups.erase(quint8(cigId));
    reply(r, 0x04, {{"status", u8(resultCode(verdict.status))}, {"cig_id", u8(cigId)}}, verdict);
}

// The host answers the far end's request that DD@06@10 told it of. A refusal tells the far end
// that resources are short, as the command names no reason.
void IsoEngine::answerRequest(const Request& r, bool accept)
{
    const quint16 handle = quint16(r.number(QStringLiteral("cis_connect_handle")));
    const auto it = m_streams.find(handle);
    if (it == m_streams.end() || !it->second.asked)
        return refuse(r, VirtualDongle::StatusInvalidHandle, QStringLiteral("no CIS request waits with handle %1").arg(hexText(handle)));
    m_dongle.ack(r.module(), r.opcode(), 0);
    IsoStreams* streams = streamsOf(it->second.condix);
    const quint16 key = it->second.key;
    it->second.asked = false;
    if (accept) {
        streams->accept(key);
        return;
    }
    m_streams.erase(it);
    streams->reject(key, IsoStreams::ErrorLimitedResources);
}

// The controller refuses a request that its host left unanswered, tells the far end, and tells
// its host that the stream it was asked for will not be.
void IsoEngine::requestTimedOut(quint16 handle, quint32 request)
{
    const auto it = m_streams.find(handle);
    if (it == m_streams.end() || !it->second.asked || it->second.request != request)
        return;
    IsoStreams* streams = streamsOf(it->second.condix);
    const quint16 key = it->second.key;
    m_streams.erase(it);
    m_dongle.sendLog(QStringLiteral("CIS request with handle %1 refused: the host did not answer within %2 ms")
                         .arg(hexText(handle))
                         .arg(AcceptTimeoutMs));
    if (streams)
        streams->reject(key, ErrorAcceptTimeout);
    report(handle, quint8(ErrorAcceptTimeout + VirtualDongle::LinkLayerStatusBase));
}

void IsoEngine::disconnect(const Request& r)
{
    const quint16 handle = quint16(r.number(QStringLiteral("cis_conncet_handle")));
    const Stream* stream = established(handle);
    if (!stream)
        return refuse(r, notStanding(handle));
    m_dongle.ack(r.module(), r.opcode(), 0);
    streamsOf(stream->condix)->terminate(stream->key, Link::ReasonRemoteUser);
}

// A result carries the controller's verdict, its HCI code moved past the host's by 144; an ack
// carries the host's own code for the same fault.
quint8 IsoEngine::resultCode(quint8 status)
{
    switch (status) {
    case VirtualDongle::StatusInvalidParam:
        return VirtualDongle::LinkLayerStatusBase + 0x12; // invalid HCI command parameters
    case VirtualDongle::StatusInvalidHandle:
    case VirtualDongle::StatusListItemNotFound:
        return VirtualDongle::LinkLayerStatusBase + 0x02; // unknown connection identifier
    case VirtualDongle::StatusDisallowed:
        return VirtualDongle::LinkLayerStatusBase + 0x0C; // command disallowed
    case VirtualDongle::StatusNoResources:
        return VirtualDongle::LinkLayerStatusBase + 0x07; // memory capacity exceeded
    default:
        return status;
    }
}

IsoEngine::Verdict IsoEngine::notStanding(quint16 handle)
{
    return {VirtualDongle::StatusInvalidHandle, QStringLiteral("CIS %1 does not stand").arg(hexText(handle))};
}

void IsoEngine::reply(const Request& r, quint8 opcode, const Responder::Fields& fields, const Verdict& verdict)
{
    m_dongle.respond(0x06, opcode, fields);
    if (verdict.status)
        log(r, verdict.why);
}

void IsoEngine::changePath(const Request& r, quint8 result, const std::function<Verdict(Stream& stream)>& change)
{
    m_dongle.ack(r.module(), r.opcode(), 0);
    const quint16 handle = quint16(r.number(QStringLiteral("cis_connect_handle")));
    Stream* stream = established(handle);
    const Verdict verdict = stream ? change(*stream) : notStanding(handle);
    reply(r, result, {{"status", u8(resultCode(verdict.status))}, {"connection_handle", le16(handle)}}, verdict);
}

// Each direction, input (host to controller) and output, is set up by any data path id but 0xFF.
void IsoEngine::setupPath(const Request& r)
{
    const bool input = r.number(QStringLiteral("input_direction")) != PathOff;
    const bool output = r.number(QStringLiteral("output_direction")) != PathOff;
    changePath(r, 0x09, [input, output](Stream& stream) -> Verdict {
        if (!input && !output)
            return {VirtualDongle::StatusInvalidParam, QStringLiteral("both directions left off")};
        if ((input && stream.input) || (output && stream.output))
            return {VirtualDongle::StatusDisallowed, QStringLiteral("a direction asked is set up already")};
        stream.input = stream.input || input;
        stream.output = stream.output || output;
        return {};
    });
}

// Bit 0 the input direction, bit 1 the output.
void IsoEngine::removePath(const Request& r)
{
    const int directions = r.number(QStringLiteral("datapath_direction"));
    changePath(r, 0x0A, [directions](Stream& stream) -> Verdict {
        if (directions == 0 || directions > 3)
            return {VirtualDongle::StatusInvalidParam, QStringLiteral("directions %1 unknown").arg(directions)};
        if (((directions & 1) && !stream.input) || ((directions & 2) && !stream.output))
            return {VirtualDongle::StatusDisallowed, QStringLiteral("a direction asked is not set up")};
        stream.input = stream.input && !(directions & 1);
        stream.output = stream.output && !(directions & 2);
        return {};
    });
}

// The last SDU of the host that went: its sequence number and time stamp; unframed, so no offset.
void IsoEngine::readTxSync(const Request& r)
{
    m_dongle.ack(r.module(), r.opcode(), 0);
    const quint16 handle = quint16(r.number(QStringLiteral("cis_conncet_handle")));
    const Stream* stream = established(handle);
    Verdict verdict;
    if (!stream)
        verdict = notStanding(handle);
    else if (!stream->synced)
        verdict = {VirtualDongle::StatusDisallowed, QStringLiteral("no SDU has gone on CIS %1 yet").arg(hexText(handle))};
    const bool known = verdict.status == 0;
    reply(r, 0x01,
          {{"status", u8(resultCode(verdict.status))},
           {"connection_handle", le16(handle)},
           {"packet_sn", le16(known ? stream->sequence : 0)},
           {"time_stamp", le(known ? stream->timeStamp : 0, 4)},
           {"time_offset", le(0, 4)}},
          verdict);
}

void IsoEngine::sendData(const Request& r)
{
    const quint16 handle = quint16(r.number(QStringLiteral("connection_handle")));
    const int length = r.number(QStringLiteral("data_length"));
    const QByteArray data = r.field(QStringLiteral("value"));
    const Stream* stream = established(handle);
    if (!stream)
        return refuse(r, notStanding(handle));
    if (!stream->input)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("CIS %1 has no input path").arg(hexText(handle)));
    IsoStreams* streams = streamsOf(stream->condix);
    const int maxSdu = streams->stream(stream->key)->maxSdu[streams->end()];
    if (length != data.size() || length > maxSdu)
        return refuse(r, VirtualDongle::StatusInvalidDataLength,
                      QStringLiteral("%1 bytes given as %2, %3 at most").arg(data.size()).arg(length).arg(maxSdu));
    if (streams->queued(stream->key) >= MaxWaitingSdus)
        return refuse(r, VirtualDongle::StatusNoResources, QStringLiteral("%1 SDUs wait already").arg(MaxWaitingSdus));
    m_dongle.ack(r.module(), r.opcode(), 0);
    streams->send(stream->key, data);
}
