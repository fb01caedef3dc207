#pragma once

#include <functional>
#include <map>
#include <memory>

#include <QString>
#include <QVector>

#include "air/isostreams.h"
#include "engine.h"
#include "proto/responder.h"

class ConnectionManager;
class Request;

// Connected isochronous groups and streams as the dongle's controller and host stack run them:
// the groups the host sets, the streams it creates to the far ends of its links as central or
// accepts from them as peripheral, their data paths, and SDUs both ways. The protocol on the link
// is each link's IsoStreams; this engine turns the host's commands into it and what it hears into
// events. Streams are named by handles from one pool: those of the groups' streams, given when a
// group is set, and those of streams accepted as peripheral.
class IsoEngine final : public Engine
{
public:
    static constexpr int MaxGroups = 4;
    static constexpr int MaxHandles = 16;
    // SDUs of one stream that wait for its events.
    static constexpr int MaxWaitingSdus = 16;
    static constexpr quint16 FirstHandle = 0x0100;
    // The tool's "no stream", never given.
    static constexpr quint16 NoStream = 0x0FFF;
    // A data path direction left off.
    static constexpr quint8 PathOff = 0xFF;
    // How long the host has to answer a far end's request, the controller's connection accept
    // timeout; then the controller refuses it itself.
    static constexpr int AcceptTimeoutMs = 5000;
    static constexpr quint8 ErrorAcceptTimeout = 0x10;

    IsoEngine(VirtualDongle& dongle, ConnectionManager& connections);
    ~IsoEngine() override;

    void install(Router& router) override;
    void reset() override;
    void linkOpened(int condix, Link* link) override;
    void linkEnding(int condix, quint8 reason) override;
    void linkClosed(int condix) override;

private:
    // A stream of a group as the host set it; the pairs by the end that sends, as in IsoStreams.
    struct Cis {
        quint8 id = 0;
        int maxSdu[2] = {};
        quint8 phy[2] = {};
        quint8 rtn[2] = {};
        quint16 handle = 0;
    };
    struct Group {
        quint32 sduIntervalUs[2] = {};
        bool framed = false;
        QVector<Cis> cises;
    };
    // A stream being created, waiting for the host's answer, or standing.
    struct Stream {
        int condix = -1;
        Link::End end = Link::Central;
        quint16 key = 0;
        bool asked = false; // the host heard the far end's request and has not answered
        quint32 request = 0; // which request it was, for the timeout that outlives an answer
        bool established = false;
        bool input = false;
        bool output = false;
        bool synced = false; // an SDU of the host has gone
        quint16 sequence = 0;
        quint32 timeStamp = 0;
    };

    // What a command found: 0, or a refusal and why.
    struct Verdict {
        quint8 status = 0;
        QString why;
    };

    IsoStreams::Handlers handlersFor(int condix);
    IsoStreams* streamsOf(int condix) const;
    // The handle of the stream of this key on the link; 0 when none.
    quint16 handleOf(int condix, quint16 key) const;
    // A stream that stands, or null.
    Stream* established(quint16 handle);
    int handleCount() const;
    // The lowest handle that no stream has.
    quint16 freeHandle() const;
    // Whether a stream of the group is being created or stands.
    bool isBusy(quint8 cigId) const;
    IsoStreams::Stream plan(quint8 cigId, const Group& group, int index, const Link& link) const;
    // Acks with this status and says why in a log line.
    void refuse(const Request& request, quint8 status, const QString& why);
    void refuse(const Request& request, const Verdict& verdict);
    void log(const Request& request, const QString& why);
    static Verdict notStanding(quint16 handle);
    // Answers DD@06@opcode, and says why in a log line when the verdict refuses.
    void reply(const Request& r, quint8 opcode, const Responder::Fields& fields, const Verdict& verdict);
    // A data path command: acked, then answered in DD@06@result with the verdict of `change` on
    // the stream that stands, and the handle.
    void changePath(const Request& r, quint8 result, const std::function<Verdict(Stream& stream)>& change);
    // DD@06@03: a stream that stands, or a request that ended without one.
    void report(quint16 handle, quint8 status, const IsoStreams::Stream* stream = nullptr);
    static quint8 resultCode(quint8 status);

    void setGroup(const Request& r);
    void create(const Request& r);
    void removeGroup(const Request& r);
    void answerRequest(const Request& r, bool accept);
    // The host let the request of this handle wait past the accept timeout.
    void requestTimedOut(quint16 handle, quint32 request);
    void disconnect(const Request& r);
    void setupPath(const Request& r);
    void removePath(const Request& r);
    void readTxSync(const Request& r);
    void sendData(const Request& r);

    ConnectionManager& m_connections;
    std::map<quint8, Group> m_groups;
    std::map<quint16, Stream> m_streams; // by handle
    std::map<int, std::unique_ptr<IsoStreams>> m_links;
    quint32 m_requests = 0;
};
