#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRandomGenerator>
#include <QVector>

#include "link.h"

class AttributeDatabase;
class QTimer;

// The attribute protocol's server of one database, at one end of each of its links: it answers
// the requests of the client at the far end as an attribute server on air answers them,
// keeps each link's MTU, and sends the notifications or indications that a client switched on in
// a client configuration descriptor, every `notifyEveryMs`, an indication only once the last one
// is confirmed. A device of the world serves its database with one; a dongle that advertises can
// serve its own the same way. What a client configured ends with its link.
class AttributeServer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(AttributeServer)

public:
    // The database is not owned and must outlive the server. Varying values draw from `seed`.
    AttributeServer(AttributeDatabase* database, quint32 seed, QObject* parent = nullptr);
    ~AttributeServer() override;

    // The server answers at `end` of the link from now on.
    void linkUp(Link* link, Link::End end);
    void linkDown(Link* link);
    // An attribute PDU that the client sent; responses and the like are not for a server.
    void received(Link* link, const QByteArray& pdu);
    int mtu(const Link* link) const;

private:
    struct PreparedWrite {
        quint16 handle = 0;
        int offset = 0;
        QByteArray part;
    };
    struct Client {
        QPointer<Link> link;
        Link::End end = Link::Peripheral;
        int mtu = 0;
        QHash<quint16, QTimer*> timers; // by value handle
        bool awaitingConfirmation = false;
        QList<quint16> dueIndications; // value handles, in the order they fell due
        QVector<PreparedWrite> prepared;
    };
    // The largest queue of prepared writes that the server keeps for a client.
    static constexpr int MaxPreparedWrites = 64;

    void send(Client& client, const QByteArray& pdu);
    void exchangeMtu(Client& client, const QByteArray& pdu);
    void findInformation(Client& client, const QByteArray& pdu);
    void findByTypeValue(Client& client, const QByteArray& pdu);
    void readByType(Client& client, const QByteArray& pdu);
    void read(Client& client, const QByteArray& pdu);
    void readMultiple(Client& client, const QByteArray& pdu);
    void readByGroupType(Client& client, const QByteArray& pdu);
    void write(Client& client, const QByteArray& pdu);
    void prepareWrite(Client& client, const QByteArray& pdu);
    void executeWrite(Client& client, const QByteArray& pdu);
    void confirmed(Client& client);
    // The range of a request at 1; an error response and false when it names no handle.
    bool range(Client& client, const QByteArray& pdu, quint16* start, quint16* end);
    // 0, or the error that forbids the client to read or to write the attribute.
    quint8 readError(quint16 handle) const;
    quint8 writeError(quint16 handle, quint8 opcode, const QByteArray& value) const;
    // The value that the link's client reads: a client configuration is its own.
    QByteArray valueFor(const Client& client, quint16 handle) const;
    // Takes a written value; a client configuration starts or stops what it asks for.
    void apply(Client& client, quint16 handle, const QByteArray& value);
    void configure(Client& client, quint16 configurationHandle);
    void measure(Client& client, quint16 configurationHandle);
    void indicate(Client& client, quint16 valueHandle);

    AttributeDatabase* m_database = nullptr;
    QRandomGenerator m_random;
    QHash<const Link*, Client> m_clients;
};
