#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include <QByteArray>
#include <QPointer>

#include "link.h"

class QTimer;

// Connected isochronous streams at one end of one link: the link layer's control procedures that
// set a stream up and end it, as control PDUs on the link, and the stream's own events, at which
// each end sends what it has queued. The central asks for streams, the peripheral answers. A
// dongle's ISO engine holds one for each of its links and a device of the world one for its link,
// so both ends speak the same protocol; what is for the host or the device goes to its handlers.
class IsoStreams
{
public:
    // The link layer's control PDUs travel as channel 0, which L2CAP never names; a stream's own
    // PDUs as channel 0xFFFF, at the stream's events rather than the link's.
    static constexpr quint16 ControlChannel = 0x0000;
    static constexpr quint16 StreamChannel = 0xFFFF;
    // The link layer's error codes that its procedures end with.
    static constexpr quint8 ErrorDisallowed = 0x0C;
    static constexpr quint8 ErrorLimitedResources = 0x0D;
    static constexpr quint8 ErrorUnsupportedRemoteFeature = 0x1A;
    static constexpr quint8 ErrorInvalidParameters = 0x1E;
    static constexpr quint8 ErrorFailedToEstablish = 0x3E;
    // What a link layer takes: group and stream ids, SDU intervals and sizes.
    static constexpr int MaxId = 0xEF;
    static constexpr quint32 MinSduIntervalUs = 0xFF;
    static constexpr quint32 MaxSduIntervalUs = 0xFFFFF;
    static constexpr int MaxSdu = 0x0FFF;
    static constexpr int MaxPdu = 251;
    // A tick that comes late sends the events it missed, up to this many; older ones are lost,
    // as a radio that was busy loses them, and the sequence numbers show the gap.
    static constexpr int MaxCatchUp = 32;

    // What both ends know of a stream. The pairs are by the end that sends: [Link::Central]
    // carries central to peripheral, [Link::Peripheral] the other way.
    struct Stream {
        quint8 cigId = 0;
        quint8 cisId = 0;
        bool framed = false;
        quint32 sduIntervalUs[2] = {};
        int maxSdu[2] = {};
        int maxPdu[2] = {};
        quint8 phy[2] = {1, 1}; // one of ControllerInfo's PHY bits
        quint8 burst[2] = {};
        quint8 flushTimeout[2] = {1, 1};
        quint8 subEvents = 1;
        quint32 subIntervalUs = 0;
        int isoInterval = 8; // 1.25 ms
        // Told by the central as it sets the first event.
        quint32 cigSyncDelayUs = 0;
        quint32 cisSyncDelayUs = 0;

        // A stream's name on its link.
        quint16 key() const { return quint16(cigId << 8 | cisId); }
        // From an SDU's reference point at `sender` to its delivery at the far end.
        quint32 transportLatencyUs(Link::End sender) const;
    };
    struct Handlers {
        // The far end asks this end, its peripheral, for a stream; accept() or reject() answer,
        // now or later. Null: this end's link layer knows nothing of streams.
        std::function<void(const Stream& stream)> requested;
        // A stream stands, from its first event on.
        std::function<void(const Stream& stream)> established;
        // A request ended without a stream: refused by the far end, or the link ended first.
        std::function<void(quint16 key, quint8 error)> failed;
        // A stream that stood has ended, with the reason this end hears.
        std::function<void(quint16 key, quint8 reason)> ended;
        std::function<void(quint16 key, quint16 sequence, quint32 timeStamp, const QByteArray& sdu)> received;
        // A queued SDU went, at the event of this sequence number and time stamp.
        std::function<void(quint16 key, quint16 sequence, quint32 timeStamp)> sent;
        // The SDU of an event of this end that finds nothing queued; null: such events go empty.
        std::function<QByteArray(const Stream& stream, quint16 sequence)> generate;
    };

    // The streams of `end` of the link, until it goes.
    IsoStreams(Link* link, Link::End end, Handlers handlers);
    ~IsoStreams();
    IsoStreams(const IsoStreams&) = delete;
    IsoStreams& operator=(const IsoStreams&) = delete;

    static quint16 key(quint8 cigId, quint8 cisId) { return quint16(cigId << 8 | cisId); }
    // Null once the link has gone.
    Link* link() const { return m_link; }
    Link::End end() const { return m_end; }

    // A control PDU, or a PDU of a stream.
    void received(quint16 channel, const QByteArray& data);

    // The central asks the far end for a stream; its procedures run one at a time on the link.
    void request(const Stream& stream);
    // The peripheral answers a request that `requested` told of.
    void accept(quint16 key);
    void reject(quint16 key, quint8 error);
    // Ends a stream that stands: this end hears ReasonLocalHost, the far end `reason`.
    void terminate(quint16 key, quint8 reason);
    // The link has ended: streams that stood end with `reason`, requests under way fail.
    void linkDown(quint8 reason);

    // Queues an SDU for this end's next event that finds nothing before it.
    void send(quint16 key, const QByteArray& sdu);
    int queued(quint16 key) const;
    // A stream that stands, or null.
    const Stream* stream(quint16 key) const;

private:
    enum State {
        Waiting, // the central's request, behind another procedure
        Asked, // the central's request is out
        Answering, // the peripheral's host or device decides
        Accepted, // the peripheral's answer is out
        Starting, // its first event is set
        Standing,
    };
    struct Entry {
        Stream stream;
        State state = Waiting;
        quint32 accessAddress = 0;
        qint64 anchorUs = 0; // its first event, on the link's clock
        qint64 nextEvent = 0; // this end's first event not yet gone
        std::deque<QByteArray> queue;
        std::unique_ptr<QTimer> timer; // the first event, then this end's events
    };

    Entry& add(const Stream& stream, State state);
    // The first stream in this state; the procedures run one at a time, so there is one at most.
    Entry* find(State state);
    void control(quint8 opcode, const QByteArray& data);
    void controlReceived(const QByteArray& pdu);
    void cisRequest(const QByteArray& data);
    void cisResponse(const QByteArray& data);
    void cisIndication(const QByteArray& data);
    void cisTerminate(const QByteArray& data);
    void requestRefused(quint8 opcode, quint8 error);
    void pduReceived(const QByteArray& pdu);
    void askNext();
    // Sets the stream's first event at `anchorUs`, at once when that has passed.
    void start(Entry& entry, qint64 anchorUs);
    void establish(quint16 key);
    // Sends the events that are due, and waits for the next one that has something to send.
    void tick(quint16 key);
    void schedule(Entry& entry);
    bool sends(const Entry& entry) const;
    qint64 eventTimeUs(const Entry& entry, qint64 event) const;
    // The last event of this end at or before now; -1 before the first.
    qint64 dueEvent(const Entry& entry) const;
    quint16 eventCounter() const;
    // The time of the link's connection event of this 16-bit counter, the one nearest to now.
    qint64 connectionEventUs(quint16 counter) const;

    QPointer<Link> m_link;
    Link::End m_end;
    Handlers m_handlers;
    std::map<quint16, Entry> m_streams;
    std::deque<quint16> m_waiting; // the central's requests, in order
    // A handler may end this object (a host that resets in answer to an event): what runs after
    // a handler checks that this still lives.
    std::shared_ptr<bool> m_life = std::make_shared<bool>(true);
};
