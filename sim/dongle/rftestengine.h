#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include "air/rftestchannel.h"
#include "engine.h"

class Request;

// The radio test modes of the dongle's firmware: LCP (module 09) and IDT (module 0A). The radio
// is in at most one of them; it transmits a packet a number of times at an interval, an ack
// `BB@MM@04` for each packet that went, and receives what the air's test channel carries on its
// tuning, each packet a `DD@MM@05`.
class RfTestEngine final : public QObject, public Engine, public RfListener
{
    Q_OBJECT
    Q_DISABLE_COPY(RfTestEngine)

public:
    static constexpr quint8 LcpModule = 0x09;
    static constexpr quint8 IdtModule = 0x0A;
    static constexpr int LcpMaxLength = 0xFD;
    static constexpr int IdtMaxLength = 0xFB;
    static constexpr quint32 LeastIntervalMs = 10;

    explicit RfTestEngine(VirtualDongle& dongle);
    ~RfTestEngine() override;

    void install(Router& router) override;
    void reset() override;
    void rfHeard(const RfPacket& packet) override;

    // A problem with a tuning or a transmission as the control line `rftx` and the host's commands
    // give it; empty when the firmware would take it.
    static QString tuningProblem(const RfTuning& tuning, int txPower);
    static QString packetProblem(RfTuning::Mode mode, int length);

private:
    enum class Mode { Off, Lcp, Idt };

    void start(const Request& r);
    void stop(const Request& r);
    void setParameters(const Request& r);
    void transmit(const Request& r);
    void stopTransmit(const Request& r);
    void startReceive(const Request& r);
    void stopReceive(const Request& r);
    // The mode of the command's module is on; else the command is refused and false.
    bool inMode(const Request& r);
    void refuse(const Request& r, quint8 status, const QString& why);
    void endTransmission();
    void listen();
    void endAll();

    Mode m_mode = Mode::Off;
    RfTuning m_tuning;
    int m_txPower = 0;
    bool m_receiving = false;
    QPointer<RfTransmitter> m_transmitter;
};
