#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QVector>

class Peer;
class QTimer;

// A connection with its two ends, its parameters, and the data queued at either end, which
// reaches the other end at the next connection event. The air owns it; it deletes itself once
// both ends have heard that it is down.
class Link : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Link)

public:
    enum End { Central = 0, Peripheral = 1 };
    // Disconnection reasons, as the link layer gives them.
    static constexpr quint8 ReasonSupervisionTimeout = 0x08;
    static constexpr quint8 ReasonRemoteUser = 0x13;
    static constexpr quint8 ReasonLocalHost = 0x16;

    struct Party {
        Peer* peer = nullptr;
        QByteArray address; // wire order
        quint8 addressType = 0;
    };
    struct Parameters {
        int interval = 6; // 1.25 ms
        int latency = 0;
        int timeout = 100; // 10 ms
        quint8 centralClockAccuracy = 0; // as the peripheral learns it
    };

    Link(const Party& central, const Party& peripheral, const Parameters& parameters, QObject* parent = nullptr);

    static End other(End end) { return end == Central ? Peripheral : Central; }
    const Party& party(End end) const { return m_parties[end]; }
    End endOf(const Peer* peer) const { return m_parties[Central].peer == peer ? Central : Peripheral; }
    const Parameters& parameters() const { return m_parameters; }
    bool isOpen() const { return m_open; }

    // Both ends hear that the link stands, the central first.
    void open();
    void send(End from, quint16 channel, const QByteArray& data);
    // One end ends the link: it hears ReasonLocalHost, the other end `reason`.
    void terminate(End by, quint8 reason);
    // One end goes without a word (a reset, a power cut); the other finds the link gone.
    void abandon(End by);

private:
    struct Pdu {
        End to;
        quint16 channel;
        QByteArray data;
    };
    void connectionEvent();
    // False when it was down already.
    bool shut();

    Party m_parties[2];
    Parameters m_parameters;
    QVector<Pdu> m_queue;
    QTimer* m_eventTimer = nullptr;
    QElapsedTimer m_anchor; // connection event 0
    bool m_open = false;
};
