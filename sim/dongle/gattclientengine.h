#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include <QByteArray>
#include <QVector>

#include "engine.h"
#include "proto/responder.h"

class ConnectionManager;
class Request;

// The dongle's GATT client. The host's GATT commands become procedures of the attribute protocol
// on the link they name, run one after the other since the protocol has one request out at a
// time, and what the server at the far end answers comes up as the results the tool reads; so do
// the server's notifications and indications, each indication confirmed once it is up.
class GattClientEngine final : public Engine
{
public:
    // Procedures a link holds, the running one included; more are refused for want of resources.
    static constexpr int MaxProcedures = 64;
    // Results of procedures that the link's end cut short: the GAP's "disconnected".
    static constexpr quint8 StatusDisconnected = 70;
    // The GATT layer's own failures, past the attribute protocol's codes.
    static constexpr quint8 StatusWriteFailed = 82;
    static constexpr quint8 StatusSignedWriteFailed = 83;

    GattClientEngine(VirtualDongle& dongle, ConnectionManager& connections);
    ~GattClientEngine() override;

    void install(Router& router) override;
    void reset() override;
    void linkOpened(int condix, Link* link) override;
    void linkClosed(int condix) override;

    // The MTU of a link's bearer; 0 without the link.
    int mtu(int condix) const;

    // What the server answered to the request out: its PDU, or the error code it gave.
    struct Answer {
        quint8 error = 0;
        QByteArray pdu;
    };
    using Then = std::function<void(const Answer&)>;
    // One command of the host on its link: how it starts, and the result it gives when the link
    // ends before it does.
    struct Procedure {
        std::function<void()> start;
        std::function<void(quint8 status)> abort;
    };
    // A range that a discovery asks for again and again, from past the last handle answered.
    struct Walk;
    struct AllAttributes;

private:
    struct Bearer {
        int mtu = 0;
        bool exchanged = false;
        std::deque<Procedure> procedures; // the first one runs
        quint8 requestOpcode = 0; // of the request out; 0 when none is
        Then then;
    };

    // Acks the command and queues its procedure on the request's link; false when refused.
    bool accept(const Request& request, Procedure procedure);
    // False, with the ack of an unknown connection index, when the request names no link.
    bool hasLink(const Request& request);
    // Acks with "invalid parameter" and says why in a log line.
    void refuse(const Request& request, const QString& why);
    void request(int condix, const QByteArray& pdu, Then then);
    // The running procedure has given its result: the next one starts.
    void finish(int condix);
    void received(int condix, const QByteArray& pdu);
    void valueArrived(int condix, const QByteArray& pdu);

    void exchangeMtu(const Request& r);
    void discover(const Request& r);
    void walk(const std::shared_ptr<Walk>& walk);
    void discoverAll(const Request& r);
    void allAttributesNext(const std::shared_ptr<AllAttributes>& all);
    void read(const Request& r, quint8 result, bool isLong);
    void readUsingUuid(const Request& r);
    void readMultiple(const Request& r);
    void writeWithoutResponse(const Request& r, bool isSigned);
    void write(const Request& r, quint8 result);
    void writeLong(const Request& r, quint8 result);
    void reliableWrite(const Request& r);
    // Prepares each part, checks that the server echoes it, and executes the queue; `done` gets
    // the status and the handle it concerns.
    void prepareAndExecute(int condix, const QVector<QByteArray>& parts, std::function<void(quint8, quint16)> done);
    // The list result of a discovery or a read: status, record count and the records.
    void list(quint8 opcode, int condix, quint8 status, const QVector<QByteArray>& records = {});
    void writeResult(quint8 opcode, int condix, quint8 status, quint16 handle);

    ConnectionManager& m_connections;
    std::map<int, Bearer> m_bearers; // its nodes stay where they are while others come and go
};
