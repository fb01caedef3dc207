#pragma once

#include <functional>
#include <optional>

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QVector>

#include "controllerinfo.h"

class Peer;
class QTimer;

// A connection with its two ends, its parameters, and the data queued at either end, which
// reaches the other end at the next connection event; and the link layer's procedures, which
// change parameters, data length and PHY at an instant a few events ahead. The air owns it; it
// deletes itself once both ends have heard that it is down.
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
    // The far end refused new connection parameters, as the link layer says it.
    static constexpr quint8 ErrorUnacceptableParameters = 0x3B;
    // An exchange of the two link layers takes a request and an answer; new values take effect
    // at an instant this many events ahead, as centrals set it.
    static constexpr int ExchangeEvents = 2;
    static constexpr int InstantEvents = 6;
    static constexpr int MinOctets = 27;
    static constexpr int MaxOctets = 251;
    static constexpr int MinTimeUs = 328;
    static constexpr int MaxTimeUs = 17040;

    // What both ends hear at the end of a procedure.
    enum Change { ParametersChanged, DataLengthChanged, PhyChanged, EncryptionChanged };

    struct Party {
        Peer* peer = nullptr;
        QByteArray address; // wire order
        quint8 addressType = 0;
        // The peripheral's advertising set that the central answered, so that the dongle ends that
        // set and no other; -1 for a central and a device of the world.
        int advertisingSet = -1;
    };
    struct Parameters {
        int interval = 6; // 1.25 ms
        int latency = 0;
        int timeout = 100; // 10 ms
        quint8 centralClockAccuracy = 0; // as the peripheral learns it
    };
    // What a pairing gave the link: its encryption, whether the key was made with protection
    // against a man in the middle and by Secure Connections, and the key itself (wire order, cut
    // to its size).
    struct Security {
        bool encrypted = false;
        bool authenticated = false;
        bool secureConnections = false;
        int keySize = 0;
        QByteArray key;
    };
    // How one end sends: PHY, data length, and its power above the 0 dBm it starts with.
    struct Transmitter {
        quint8 phy = ControllerInfo::Phy1M;
        int octets = MinOctets;
        int timeUs = MinTimeUs;
        int power = 0;
    };
    // New parameters that one end asks of the other, in wire counts. Only an asker whose host
    // asked hears a refusal.
    struct ParameterRequest {
        End asker = Peripheral;
        int intervalMin = 6;
        int intervalMax = 6;
        int latency = 0;
        int timeout = 100;
        bool byHost = true;
    };

    // `rssi`: what each end hears of the other while both send at 0 dBm.
    Link(const Party& central, const Party& peripheral, const Parameters& parameters, qint8 rssi,
         QObject* parent = nullptr);

    static End other(End end) { return end == Central ? Peripheral : Central; }
    // The link layer's rules for connection parameters, in wire counts (1.25 ms, events, 10 ms):
    // what breaks one, or nothing.
    static QString parameterError(int intervalMin, int intervalMax, int latency, int timeout);

    const Party& party(End end) const { return m_parties[end]; }
    End endOf(const Peer* peer) const { return m_parties[Central].peer == peer ? Central : Peripheral; }
    const ControllerInfo& controller(End end) const;
    const Parameters& parameters() const { return m_parameters; }
    bool isOpen() const { return m_open; }
    const Transmitter& transmitter(End end) const { return m_transmitters[end]; }
    void setPower(End end, int dBm) { m_transmitters[end].power = dBm; }
    // As heard at `end`: the path, and the far end's power.
    qint8 rssi(End end) const;
    // 37 bits, one for each data channel, least significant byte first.
    const QByteArray& channelMap() const { return m_channelMap; }
    void setChannelMap(const QByteArray& map) { m_channelMap = map; }

    // Runs `done` this many connection events from now, unless the link has ended by then.
    void after(int events, std::function<void()> done);
    // The central moves the link to new parameters at an instant; both ends hear of it. False
    // while a move is under way.
    bool updateParameters(int interval, int latency, int timeout);
    bool isUpdating() const { return m_updating; }
    // The other end hears the request at the next event; a new request replaces an unanswered one.
    void requestParameters(const ParameterRequest& request);
    const std::optional<ParameterRequest>& pendingRequest() const { return m_request; }
    // The asked end answers: yes moves the link to the longest interval asked for.
    void answerRequest(bool accept);
    // One end asks for a data length, which the far end takes only with the data length
    // extension; the asker hears the outcome, the far end too when it changed.
    void updateDataLength(End by, int octets, int timeUs);
    // One end asks for PHYs (masks, what it sends and receives on); each direction takes the
    // fastest that both ends support, or stays. The asker hears the outcome, the far end too
    // when it changed.
    void updatePhy(End by, quint8 txPhys, quint8 rxPhys);

    const Security& security() const { return m_security; }
    // The central starts encryption with a key; both ends hear of it once the link layers agree.
    void encrypt(const Security& security);

    // Both ends hear that the link stands, the central first.
    void open();
    void send(End from, quint16 channel, const QByteArray& data);
    // Data that goes at once, outside the connection events: the PDUs of an isochronous stream,
    // which has events of its own.
    void sendNow(End from, quint16 channel, const QByteArray& data);
    // Microseconds since connection event 0: the clock that both ends share, on which event n of
    // the current interval falls at n intervals.
    qint64 clockUs() const { return m_anchor.nsecsElapsed() / 1000; }
    int intervalUs() const { return qMax(1, m_parameters.interval) * 1250; }
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
    void tell(End end, Change change, quint8 error = 0);

    Party m_parties[2];
    Parameters m_parameters;
    Transmitter m_transmitters[2];
    qint8 m_rssi = -60;
    QByteArray m_channelMap;
    Security m_security;
    bool m_updating = false;
    std::optional<ParameterRequest> m_request;
    QVector<Pdu> m_queue;
    QTimer* m_eventTimer = nullptr;
    QElapsedTimer m_anchor; // connection event 0
    bool m_open = false;
};
