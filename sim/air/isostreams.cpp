#include "isostreams.h"

#include <utility>

#include <QTimer>

#include "proto/simframe.h"

using SimFrame::le;
using SimFrame::le16;
using SimFrame::readLe;
using SimFrame::readLe16;
using SimFrame::u8;

namespace {

enum Opcode : quint8 {
    UnknownResponse = 0x07,
    RejectExtended = 0x11,
    CisRequest = 0x1F,
    CisResponse = 0x20,
    CisIndication = 0x21,
    CisTerminate = 0x22,
};
constexpr int CisRequestLength = 35;
constexpr int CisResponseLength = 8;
constexpr int CisIndicationLength = 15;
// Access address, sequence number and time stamp before the SDU.
constexpr int StreamHeaderLength = 10;
// The peripheral takes a stream's first event this long after a connection event at the earliest.
constexpr quint32 MinOffsetUs = 500;
// The stream's first event falls this many connection events after the one that carries the
// central's indication, so that the peripheral has it by then.
constexpr int StartEvents = 2;

qint64 ceilMs(qint64 us)
{
    return us <= 0 ? 0 : (us + 999) / 1000;
}

bool isPhy(quint8 phy)
{
    return phy == ControllerInfo::Phy1M || phy == ControllerInfo::Phy2M || phy == ControllerInfo::PhyCoded;
}

// What a peripheral's link layer takes of a request; PHYs that it lacks are no stream.
bool acceptable(const IsoStreams::Stream& s, quint8 phys)
{
    if (s.cigId > IsoStreams::MaxId || s.cisId > IsoStreams::MaxId || s.subEvents < 1 || s.subEvents > 31
        || s.isoInterval < 4 || s.isoInterval > 3200)
        return false;
    for (const Link::End sender : {Link::Central, Link::Peripheral}) {
        if (s.sduIntervalUs[sender] < IsoStreams::MinSduIntervalUs || s.sduIntervalUs[sender] > IsoStreams::MaxSduIntervalUs
            || s.maxSdu[sender] > IsoStreams::MaxSdu || s.maxPdu[sender] > IsoStreams::MaxPdu || s.burst[sender] > 15
            || s.flushTimeout[sender] < 1 || !isPhy(s.phy[sender]) || !(s.phy[sender] & phys))
            return false;
    }
    return true;
}

QByteArray requestPdu(const IsoStreams::Stream& s, quint16 counter)
{
    return u8(s.cigId) + u8(s.cisId) + u8(s.phy[Link::Central]) + u8(s.phy[Link::Peripheral])
           + le16(s.maxSdu[Link::Central] | (s.framed ? 0x8000 : 0)) + le16(s.maxSdu[Link::Peripheral])
           + le(s.sduIntervalUs[Link::Central], 3) + le(s.sduIntervalUs[Link::Peripheral], 3)
           + le16(s.maxPdu[Link::Central]) + le16(s.maxPdu[Link::Peripheral]) + u8(s.subEvents) + le(s.subIntervalUs, 3)
           + u8(s.burst[Link::Central] | s.burst[Link::Peripheral] << 4) + u8(s.flushTimeout[Link::Central])
           + u8(s.flushTimeout[Link::Peripheral]) + le16(s.isoInterval) + le(MinOffsetUs, 3)
           + le(quint32(s.isoInterval) * 1250, 3) + le16(counter);
}

IsoStreams::Stream requested(const QByteArray& d)
{
    IsoStreams::Stream s;
    s.cigId = quint8(d.at(0));
    s.cisId = quint8(d.at(1));
    s.phy[Link::Central] = quint8(d.at(2));
    s.phy[Link::Peripheral] = quint8(d.at(3));
    s.framed = readLe16(d, 4) & 0x8000;
    s.maxSdu[Link::Central] = readLe16(d, 4) & 0x0FFF;
    s.maxSdu[Link::Peripheral] = readLe16(d, 6) & 0x0FFF;
    s.sduIntervalUs[Link::Central] = readLe(d, 8, 3) & 0xFFFFF;
    s.sduIntervalUs[Link::Peripheral] = readLe(d, 11, 3) & 0xFFFFF;
    s.maxPdu[Link::Central] = readLe16(d, 14);
    s.maxPdu[Link::Peripheral] = readLe16(d, 16);
    s.subEvents = quint8(d.at(18));
    s.subIntervalUs = readLe(d, 19, 3);
    s.burst[Link::Central] = quint8(d.at(22)) & 0x0F;
    s.burst[Link::Peripheral] = quint8(d.at(22)) >> 4;
    s.flushTimeout[Link::Central] = quint8(d.at(23));
    s.flushTimeout[Link::Peripheral] = quint8(d.at(24));
    s.isoInterval = readLe16(d, 25);
    return s;
}

} // namespace

quint32 IsoStreams::Stream::transportLatencyUs(Link::End sender) const
{
    const qint64 sdu = sduIntervalUs[sender];
    const qint64 latency = qint64(cigSyncDelayUs) + qint64(flushTimeout[sender]) * isoInterval * 1250 + (framed ? sdu : -sdu);
    return quint32(qBound<qint64>(0, latency, 0xFFFFFFFF));
}

IsoStreams::IsoStreams(Link* link, Link::End end, Handlers handlers)
    : m_link(link)
    , m_end(end)
    , m_handlers(std::move(handlers))
{
}

IsoStreams::~IsoStreams() = default;

const IsoStreams::Stream* IsoStreams::stream(quint16 key) const
{
    const auto it = m_streams.find(key);
    return it == m_streams.end() || it->second.state != Standing ? nullptr : &it->second.stream;
}

int IsoStreams::queued(quint16 key) const
{
    const auto it = m_streams.find(key);
    return it == m_streams.end() ? 0 : int(it->second.queue.size());
}

IsoStreams::Entry& IsoStreams::add(const Stream& stream, State state)
{
    Entry& entry = m_streams[stream.key()];
    entry.stream = stream;
    entry.state = state;
    entry.timer = std::make_unique<QTimer>();
    entry.timer->setSingleShot(true);
    entry.timer->setTimerType(Qt::PreciseTimer);
    const quint16 key = stream.key();
    QObject::connect(entry.timer.get(), &QTimer::timeout, entry.timer.get(), [this, key] {
        const auto it = m_streams.find(key);
        if (it != m_streams.end() && it->second.state == Starting)
            establish(key);
        else
            tick(key);
    });
    return entry;
}

IsoStreams::Entry* IsoStreams::find(State state)
{
    for (auto& entry : m_streams) {
        if (entry.second.state == state)
            return &entry.second;
    }
    return nullptr;
}

void IsoStreams::control(quint8 opcode, const QByteArray& data)
{
    if (m_link)
        m_link->send(m_end, ControlChannel, u8(opcode) + data);
}

quint16 IsoStreams::eventCounter() const
{
    return quint16(m_link->clockUs() / m_link->intervalUs());
}

qint64 IsoStreams::connectionEventUs(quint16 counter) const
{
    const qint64 now = m_link->clockUs() / m_link->intervalUs();
    return (now + qint16(quint16(counter - quint16(now)))) * m_link->intervalUs();
}

void IsoStreams::received(quint16 channel, const QByteArray& data)
{
    if (!m_link)
        return;
    if (channel == StreamChannel)
        pduReceived(data);
    else if (channel == ControlChannel)
        controlReceived(data);
}

void IsoStreams::controlReceived(const QByteArray& pdu)
{
    if (pdu.isEmpty())
        return;
    const quint8 opcode = quint8(pdu.at(0));
    const QByteArray data = pdu.mid(1);
    switch (opcode) {
    case CisRequest:
        return cisRequest(data);
    case CisResponse:
        return cisResponse(data);
    case CisIndication:
        return cisIndication(data);
    case CisTerminate:
        return cisTerminate(data);
    case RejectExtended:
        if (data.size() == 2)
            requestRefused(quint8(data.at(0)), quint8(data.at(1)));
        return;
    case UnknownResponse:
        if (data.size() == 1)
            requestRefused(quint8(data.at(0)), ErrorUnsupportedRemoteFeature);
        return;
    default:
        control(UnknownResponse, u8(opcode));
    }
}

void IsoStreams::request(const Stream& stream)
{
    if (m_streams.count(stream.key()))
        return;
    add(stream, Waiting);
    m_waiting.push_back(stream.key());
    askNext();
}

void IsoStreams::askNext()
{
    if (find(Asked))
        return;
    while (!m_waiting.empty()) {
        const auto it = m_streams.find(m_waiting.front());
        m_waiting.pop_front();
        if (it == m_streams.end() || it->second.state != Waiting)
            continue;
        it->second.state = Asked;
        control(CisRequest, requestPdu(it->second.stream, eventCounter()));
        return;
    }
}

// A link layer without streams knows no such PDU; a request goes to the peripheral alone, one at a
// time.
void IsoStreams::cisRequest(const QByteArray& data)
{
    if (!m_handlers.requested)
        return control(UnknownResponse, u8(CisRequest));
    if (m_end != Link::Peripheral || find(Answering) || find(Accepted))
        return control(RejectExtended, u8(CisRequest) + u8(ErrorDisallowed));
    if (data.size() != CisRequestLength)
        return control(RejectExtended, u8(CisRequest) + u8(ErrorInvalidParameters));
    const Stream stream = requested(data);
    if (!acceptable(stream, m_link->controller(m_end).phys))
        return control(RejectExtended, u8(CisRequest) + u8(ErrorInvalidParameters));
    if (m_streams.count(stream.key()))
        return control(RejectExtended, u8(CisRequest) + u8(ErrorDisallowed));
    add(stream, Answering);
    m_handlers.requested(stream);
}

void IsoStreams::accept(quint16 key)
{
    const auto it = m_streams.find(key);
    if (it == m_streams.end() || it->second.state != Answering)
        return;
    it->second.state = Accepted;
    control(CisResponse, le(MinOffsetUs, 3) + le(quint32(it->second.stream.isoInterval) * 1250, 3) + le16(eventCounter()));
}

void IsoStreams::reject(quint16 key, quint8 error)
{
    const auto it = m_streams.find(key);
    if (it == m_streams.end() || it->second.state != Answering)
        return;
    m_streams.erase(it);
    control(RejectExtended, u8(CisRequest) + u8(error));
}

// The central takes the earliest offset the peripheral allows and sets the first event.
void IsoStreams::cisResponse(const QByteArray& data)
{
    Entry* entry = find(Asked);
    if (!entry || data.size() != CisResponseLength)
        return;
    const quint32 offset = qMin(readLe(data, 0, 3), quint32(entry->stream.isoInterval) * 1250);
    const quint16 counter = quint16(eventCounter() + StartEvents);
    entry->accessAddress = 0xCA5E0000u | entry->stream.key();
    control(CisIndication, le(entry->accessAddress, 4) + le(offset, 3) + le(entry->stream.cigSyncDelayUs, 3)
                               + le(entry->stream.cisSyncDelayUs, 3) + le16(counter));
    start(*entry, connectionEventUs(counter) + offset);
    askNext();
}

void IsoStreams::cisIndication(const QByteArray& data)
{
    Entry* entry = find(Accepted);
    if (!entry || data.size() != CisIndicationLength)
        return;
    entry->accessAddress = readLe(data, 0, 4);
    entry->stream.cigSyncDelayUs = readLe(data, 7, 3);
    entry->stream.cisSyncDelayUs = readLe(data, 10, 3);
    start(*entry, connectionEventUs(readLe16(data, 13)) + readLe(data, 4, 3));
}

void IsoStreams::requestRefused(quint8 opcode, quint8 error)
{
    Entry* entry = find(Asked);
    if (opcode != CisRequest || !entry)
        return;
    const quint16 key = entry->stream.key();
    m_streams.erase(key);
    askNext();
    m_handlers.failed(key, error);
}

void IsoStreams::cisTerminate(const QByteArray& data)
{
    if (data.size() != 3)
        return;
    const quint16 key = IsoStreams::key(quint8(data.at(0)), quint8(data.at(1)));
    const auto it = m_streams.find(key);
    if (it == m_streams.end())
        return;
    const State state = it->second.state;
    m_streams.erase(it);
    if (state == Asked)
        askNext();
    if (state == Standing)
        m_handlers.ended(key, quint8(data.at(2)));
    else
        m_handlers.failed(key, quint8(data.at(2)));
}

void IsoStreams::terminate(quint16 key, quint8 reason)
{
    const auto it = m_streams.find(key);
    if (it == m_streams.end() || it->second.state != Standing)
        return;
    m_streams.erase(it);
    control(CisTerminate, u8(key >> 8) + u8(key & 0xFF) + u8(reason));
    m_handlers.ended(key, Link::ReasonLocalHost);
}

void IsoStreams::linkDown(quint8 reason)
{
    const std::map<quint16, Entry> streams = std::exchange(m_streams, {});
    m_waiting.clear();
    const std::weak_ptr<bool> alive = m_life;
    for (const auto& entry : streams) {
        if (entry.second.state == Standing)
            m_handlers.ended(entry.first, reason);
        else
            m_handlers.failed(entry.first, ErrorFailedToEstablish);
        if (alive.expired())
            return;
    }
}

void IsoStreams::start(Entry& entry, qint64 anchorUs)
{
    const qint64 now = m_link->clockUs();
    entry.state = Starting;
    entry.anchorUs = qMax(anchorUs, now);
    entry.timer->start(int(ceilMs(entry.anchorUs - now)));
}

void IsoStreams::establish(quint16 key)
{
    Entry& entry = m_streams.at(key);
    entry.state = Standing;
    entry.nextEvent = 0;
    const std::weak_ptr<bool> alive = m_life;
    m_handlers.established(entry.stream);
    if (!alive.expired())
        tick(key);
}

qint64 IsoStreams::eventTimeUs(const Entry& entry, qint64 event) const
{
    return entry.anchorUs + event * qMax<quint32>(1, entry.stream.sduIntervalUs[m_end]);
}

qint64 IsoStreams::dueEvent(const Entry& entry) const
{
    const qint64 since = m_link->clockUs() - entry.anchorUs;
    return since < 0 ? -1 : since / qMax<quint32>(1, entry.stream.sduIntervalUs[m_end]);
}

bool IsoStreams::sends(const Entry& entry) const
{
    return !entry.queue.empty() || (m_handlers.generate && entry.stream.maxSdu[m_end] > 0);
}

void IsoStreams::schedule(Entry& entry)
{
    if (!sends(entry))
        return entry.timer->stop();
    entry.timer->start(int(ceilMs(eventTimeUs(entry, entry.nextEvent) - m_link->clockUs())));
}

void IsoStreams::send(quint16 key, const QByteArray& sdu)
{
    const auto it = m_streams.find(key);
    if (it == m_streams.end() || it->second.state != Standing)
        return;
    Entry& entry = it->second;
    entry.queue.push_back(sdu);
    // Events that passed while nothing waited went empty.
    if (!entry.timer->isActive()) {
        entry.nextEvent = qMax(entry.nextEvent, dueEvent(entry) + 1);
        schedule(entry);
    }
}

// Each event of this end carries one SDU: the first queued, or else one the device makes. A
// handler may end the stream, or this object, so the stream is looked up again after each.
void IsoStreams::tick(quint16 key)
{
    const std::weak_ptr<bool> alive = m_life;
    for (;;) {
        const auto it = m_streams.find(key);
        if (!m_link || it == m_streams.end() || it->second.state != Standing)
            return;
        Entry& entry = it->second;
        const qint64 due = dueEvent(entry);
        entry.nextEvent = qMax(entry.nextEvent, due - MaxCatchUp + 1);
        if (entry.nextEvent > due)
            return schedule(entry);
        const qint64 event = entry.nextEvent++;
        const quint16 sequence = quint16(event);
        const quint32 timeStamp = quint32(eventTimeUs(entry, event));
        const bool queued = !entry.queue.empty();
        QByteArray sdu;
        if (queued) {
            sdu = entry.queue.front();
            entry.queue.pop_front();
        } else if (sends(entry)) {
            sdu = m_handlers.generate(entry.stream, sequence);
        } else {
            continue;
        }
        m_link->sendNow(m_end, StreamChannel, le(entry.accessAddress, 4) + le16(sequence) + le(timeStamp, 4) + sdu);
        if (alive.expired())
            return;
        if (queued && m_handlers.sent) {
            m_handlers.sent(key, sequence, timeStamp);
            if (alive.expired())
                return;
        }
    }
}

void IsoStreams::pduReceived(const QByteArray& pdu)
{
    if (pdu.size() < StreamHeaderLength)
        return;
    const quint32 accessAddress = readLe(pdu, 0, 4);
    for (const auto& entry : m_streams) {
        const Entry& e = entry.second;
        if (e.state != Standing || e.accessAddress != accessAddress)
            continue;
        const QByteArray sdu = pdu.mid(StreamHeaderLength);
        if (sdu.size() <= e.stream.maxSdu[Link::other(m_end)])
            m_handlers.received(entry.first, readLe16(pdu, 4), readLe(pdu, 6, 4), sdu);
        return;
    }
}
