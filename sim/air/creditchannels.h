#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include <QByteArray>
#include <QList>

#include "link.h"

// L2CAP on LE at one end of one link: the signaling channel's commands for LE credit-based
// channels, and the channels themselves, which carry SDUs in K-frames cut by the receiver's MPS
// and sent within the credits the receiver grants. A dongle's L2CAP engine holds one for each of
// its links and a device of the world one for its link, so both ends speak the same protocol.
// What is for the host or the device's services goes to its handlers.
class CreditChannels
{
public:
    static constexpr quint16 SignalingChannel = 0x0005;
    static constexpr quint16 FirstDynamicCid = 0x0040;
    static constexpr quint16 LastDynamicCid = 0x007F;
    static constexpr int MinMtu = 23;
    static constexpr int MinMps = 23;
    static constexpr int MaxMps = 65533;
    static constexpr int MaxCredits = 65535;

    // Results of a connection request, as its response carries them.
    enum Result : quint16 {
        Success = 0x0000,
        PsmNotSupported = 0x0002,
        NoResources = 0x0004,
        InsufficientAuthentication = 0x0005,
        InsufficientAuthorization = 0x0006,
        InsufficientKeySize = 0x0007,
        InsufficientEncryption = 0x0008,
        InvalidSourceCid = 0x0009,
        SourceCidAllocated = 0x000A,
        UnacceptableParameters = 0x000B,
    };
    // What a PSM asks of the link before it gives a channel.
    enum Security { NoSecurity, Encryption, Authentication };
    // How a channel ended: by a disconnection that this end or the far end asked for, or by this
    // end for a K-frame that broke the rules.
    enum Ending { ClosedHere, ClosedThere, CreditError, InvalidPdu };

    // One end of a channel: its CID, the largest SDU and K-frame it takes, and how many K-frames
    // it still lets the other end send.
    struct Endpoint {
        quint16 cid = 0;
        int mtu = 0;
        int mps = 0;
        int credits = 0;
    };
    // A request of the far end for a channel to one of this end's PSMs.
    struct Request {
        quint16 psm = 0;
        Endpoint peer;
    };
    using Sent = std::function<void(int frames)>;
    // An SDU on its way: the K-frames still to go.
    struct Outgoing {
        QList<QByteArray> frames;
        int count = 0;
        Sent sent;
    };
    struct Channel {
        quint16 psm = 0;
        Endpoint local; // its credits: what the far end may still send here
        Endpoint peer; // its credits: what may still go there
        std::deque<Outgoing> outgoing;
        QByteArray sdu; // what came of the SDU being received
        int sduLength = -1; // -1: the next K-frame starts an SDU
        int sduFrames = 0;
        bool closing = false; // its disconnection request is out
        Ending ending = ClosedHere;
    };
    struct Handlers {
        // Success when a request for the PSM may go on, else its refusal: whether this end serves
        // the PSM, the link is secure enough for it, and a channel is to be had.
        std::function<quint16(quint16 psm)> admit;
        // A request that passed every check, answered with accept() or refuse(), now or later.
        std::function<void(const Request& request)> requested;
        // The answer to this end's own request; `peer` is empty unless it succeeded.
        std::function<void(quint16 psm, const Endpoint& local, quint16 result, const Endpoint& peer)> answered;
        std::function<void(quint16 cid, const QByteArray& sdu, int frames)> received;
        // The far end lets this end send more K-frames.
        std::function<void(quint16 cid, int credits)> granted;
        std::function<void(quint16 cid, Ending ending)> closed;
    };
    // Puts data on the link, on a channel of the far end.
    using Transmit = std::function<void(quint16 channel, const QByteArray& data)>;

    CreditChannels(Transmit transmit, Handlers handlers);
    ~CreditChannels();
    CreditChannels(const CreditChannels&) = delete;
    CreditChannels& operator=(const CreditChannels&) = delete;

    static bool isDynamic(int cid) { return cid >= FirstDynamicCid && cid <= LastDynamicCid; }
    // Whether a link with this security serves a PSM that asks for `required` (0 nothing, 1
    // encryption, 2 authentication, 3 authentication by Secure Connections): Success, or what the
    // response says is missing.
    static quint16 securityResult(int required, const Link::Security& security);

    // Data that came on the signaling channel or on a channel of this end.
    void received(quint16 channel, const QByteArray& data);

    // This end asks for a channel to the far end's PSM from a free CID; the answer comes to
    // `answered`.
    void connect(quint16 psm, const Endpoint& local);
    bool isRequested(quint16 peerCid) const { return m_requests.count(peerCid) > 0; }
    void accept(quint16 peerCid, const Endpoint& local);
    void refuse(quint16 peerCid, quint16 result);

    // Queues an SDU that the far end's MTU takes; its K-frames go as the credits allow, and
    // `sent` hears how many it took once the last of them is on the link.
    void send(quint16 cid, const QByteArray& sdu, Sent sent = {});
    // Lets the far end send this many more K-frames; false when it could send more than 65,535.
    bool grant(quint16 cid, int credits);
    void disconnect(quint16 cid);

    // An open channel of this end, or null.
    const Channel* channel(quint16 cid) const;
    // Dynamic, and neither a channel's nor a request's of this end.
    bool isFree(quint16 cid) const;
    // The lowest free CID; 0 when none is.
    quint16 freeCid() const;
    // Channels, and requests under way either way.
    int count() const { return int(m_channels.size() + m_asked.size() + m_requests.size()); }

private:
    // A request of this end, under way.
    struct Asked {
        quint16 psm = 0;
        Endpoint local;
    };
    // A request of the far end that waits for this end's answer.
    struct Pending {
        quint8 identifier = 0;
        Request request;
    };

    Channel* open(quint16 cid);
    quint8 nextIdentifier();
    void signal(quint8 code, quint8 identifier, const QByteArray& data);
    void respond(quint8 identifier, const Endpoint& local, quint16 result);
    void signaling(const QByteArray& pdu);
    void connectionRequest(quint8 identifier, const QByteArray& data);
    void connectionResponse(quint8 identifier, const QByteArray& data);
    void creditIndication(const QByteArray& data);
    void disconnectionRequest(quint8 identifier, const QByteArray& data);
    void disconnectionResponse(const QByteArray& data);
    void frameArrived(quint16 cid, const QByteArray& frame);
    // Sends the K-frames that the credits allow.
    void pump(quint16 cid);
    // Asks the far end to close the channel; it is closed once the far end answers.
    void end(quint16 cid, Ending ending);

    Transmit m_transmit;
    Handlers m_handlers;
    std::map<quint16, Channel> m_channels; // by this end's CID
    std::map<quint8, Asked> m_asked; // by the signaling identifier
    std::map<quint16, Pending> m_requests; // by the far end's CID
    quint8 m_identifier = 0;
    // A handler may end this object (a host that resets in answer to an event): what runs after
    // a handler checks that this still lives.
    std::shared_ptr<bool> m_life = std::make_shared<bool>(true);
};
