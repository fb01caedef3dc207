#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>

class VirtualAir;

// Where a radio in a test mode sends or listens. A receiver hears a transmitter only when both
// agree on all of it: a different whitening index or CRC init turns the packet into noise.
struct RfTuning
{
    enum Mode { Lcp, Idt };

    Mode mode = Lcp;
    quint32 channel = 0; // MHz in LCP mode, a channel number in IDT mode
    quint8 whitening = 0; // LCP's channel index
    quint32 accessAddress = 0;
    quint32 crcInit = 0; // LCP only

    bool operator==(const RfTuning& other) const
    {
        return mode == other.mode && channel == other.channel && whitening == other.whitening
            && accessAddress == other.accessAddress && crcInit == other.crcInit;
    }
};

struct RfPacket
{
    quint8 header = 0; // LCP only
    QByteArray payload;
};

class RfListener
{
public:
    virtual ~RfListener() = default;
    virtual void rfHeard(const RfPacket& packet) = 0;
};

// The air's raw test channel: packets of the test modes, heard by every listener tuned as they
// were sent, but their sender.
class RfTestChannel
{
public:
    void listen(RfListener* listener, const RfTuning& tuning) { m_listeners.insert(listener, tuning); }
    void stopListening(RfListener* listener) { m_listeners.remove(listener); }
    void transmit(const RfTuning& tuning, const RfPacket& packet, const RfListener* sender) const;

private:
    QHash<RfListener*, RfTuning> m_listeners;
};

// Sends a packet `count` times, the first at once and then one every interval, reckoned from a
// clock so that a late tick sends what it owes; says so after each packet.
class RfTransmitter : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(RfTransmitter)

public:
    RfTransmitter(VirtualAir* air, const RfTuning& tuning, const RfPacket& packet, quint32 count, quint32 intervalMs,
                  const RfListener* sender = nullptr, QObject* parent = nullptr);

    void start();
    // No packet more; nothing is said.
    void stop();

signals:
    void sent(quint32 packets);
    void finished();

private:
    void tick();

    QPointer<VirtualAir> m_air;
    const RfTuning m_tuning;
    const RfPacket m_packet;
    const quint32 m_count;
    const quint32 m_intervalMs;
    const RfListener* m_sender;
    quint32 m_sent = 0;
    bool m_stopped = false;
    QTimer m_timer;
    QElapsedTimer m_clock;
};
