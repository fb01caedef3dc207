#include "rftestengine.h"

#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::u8;

namespace {

quint32 field32(const Request& r, const char* key)
{
    return SimFrame::readLe(r.field(QLatin1String(key)), 0, 4);
}

int signedByte(const Request& r, const char* key)
{
    return qint8(r.number(QLatin1String(key)));
}

} // namespace

RfTestEngine::RfTestEngine(VirtualDongle& dongle)
    : Engine(dongle)
{
}

RfTestEngine::~RfTestEngine()
{
    endAll();
}

void RfTestEngine::install(Router& router)
{
    for (quint8 module : {LcpModule, IdtModule}) {
        router.add(module, 0x01, Router::WholePayload, [this](const Request& r) { start(r); });
        router.add(module, 0x02, Router::WholePayload, [this](const Request& r) { stop(r); });
        router.add(module, 0x03, Router::WholePayload, [this](const Request& r) { setParameters(r); });
        router.add(module, 0x04, Router::WholePayload, [this](const Request& r) { transmit(r); });
        router.add(module, 0x05, Router::WholePayload, [this](const Request& r) { startReceive(r); });
        router.add(module, 0x06, Router::WholePayload, [this](const Request& r) { stopReceive(r); });
        router.add(module, 0x07, Router::WholePayload, [this](const Request& r) { stopTransmit(r); });
    }
}

void RfTestEngine::reset()
{
    endAll();
}

void RfTestEngine::endAll()
{
    endTransmission();
    m_receiving = false;
    if (m_dongle.air())
        m_dongle.air()->rfTest().stopListening(this);
    m_mode = Mode::Off;
}

QString RfTestEngine::tuningProblem(const RfTuning& tuning, int txPower)
{
    if (txPower < -20 || txPower > 7)
        return QStringLiteral("tx power %1 dBm outside -20 to 7").arg(txPower);
    if (tuning.mode == RfTuning::Idt)
        return tuning.channel > 159 ? QStringLiteral("channel %1 past 159").arg(tuning.channel) : QString();
    if (tuning.channel < 2360 || tuning.channel > 2520)
        return QStringLiteral("frequency %1 MHz outside 2360 to 2520").arg(tuning.channel);
    if (tuning.whitening > 39)
        return QStringLiteral("channel index %1 past 39").arg(tuning.whitening);
    if (tuning.crcInit > 0xFFFFFF)
        return QStringLiteral("crc init %1 wider than 24 bits").arg(tuning.crcInit, 0, 16);
    return QString();
}

QString RfTestEngine::packetProblem(RfTuning::Mode mode, int length)
{
    const int most = mode == RfTuning::Lcp ? LcpMaxLength : IdtMaxLength;
    return length > most ? QStringLiteral("length %1 past %2").arg(length).arg(most) : QString();
}

void RfTestEngine::refuse(const Request& r, quint8 status, const QString& why)
{
    m_dongle.ack(r.module(), r.opcode(), status);
    m_dongle.sendLog(r.name() + QStringLiteral(": ") + why);
}

bool RfTestEngine::inMode(const Request& r)
{
    const Mode asked = r.module() == LcpModule ? Mode::Lcp : Mode::Idt;
    if (m_mode == asked)
        return true;
    refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("the test mode is off"));
    return false;
}

void RfTestEngine::start(const Request& r)
{
    const bool lcp = r.module() == LcpModule;
    const Mode asked = lcp ? Mode::Lcp : Mode::Idt;
    if (m_mode != Mode::Off && m_mode != asked)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("the other test mode is on"));
    RfTuning tuning;
    int txPower = m_txPower;
    if (lcp) {
        const int protocol = r.number(QStringLiteral("Protocol Mode"));
        if (protocol > 3)
            return refuse(r, VirtualDongle::StatusInvalidParam, QStringLiteral("protocol mode %1 unknown").arg(protocol));
        tuning.channel = field32(r, "Frequency");
        tuning.whitening = quint8(r.number(QStringLiteral("Channel Index")));
        tuning.crcInit = field32(r, "Crc Init");
        txPower = signedByte(r, "Tx Power");
    } else {
        tuning.mode = RfTuning::Idt;
        tuning.channel = quint32(r.number(QStringLiteral("Channel Num")));
    }
    tuning.accessAddress = field32(r, "Access Address");
    const QString problem = tuningProblem(tuning, txPower);
    if (!problem.isEmpty())
        return refuse(r, VirtualDongle::StatusInvalidParam, problem);
    m_mode = asked;
    m_tuning = tuning;
    m_txPower = txPower;
    listen();
    m_dongle.ack(r.module(), r.opcode(), 0);
}

void RfTestEngine::stop(const Request& r)
{
    if (!inMode(r))
        return;
    endAll();
    m_dongle.ack(r.module(), r.opcode(), 0);
}

void RfTestEngine::setParameters(const Request& r)
{
    if (!inMode(r))
        return;
    RfTuning tuning = m_tuning;
    if (m_mode == Mode::Lcp) {
        tuning.channel = field32(r, "Frequency");
        tuning.whitening = quint8(r.number(QStringLiteral("Channel Index")));
    } else {
        tuning.channel = quint32(r.number(QStringLiteral("Channel Num")));
    }
    const int txPower = signedByte(r, "Tx Power");
    const QString problem = tuningProblem(tuning, txPower);
    if (!problem.isEmpty())
        return refuse(r, VirtualDongle::StatusInvalidParam, problem);
    m_tuning = tuning;
    m_txPower = txPower;
    listen();
    m_dongle.ack(r.module(), r.opcode(), 0);
}

// An accepted transmission has no ack of its own: each packet that goes is acknowledged.
void RfTestEngine::transmit(const Request& r)
{
    if (!inMode(r))
        return;
    if (m_transmitter)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("a transmission runs"));
    const quint32 repeat = field32(r, "Repeat Time");
    const quint32 interval = field32(r, "Repeat Interval");
    const int length = r.number(QStringLiteral("Length"));
    RfPacket packet;
    packet.payload = r.field(QStringLiteral("Payload"));
    if (m_mode == Mode::Lcp)
        packet.header = quint8(r.number(QStringLiteral("Header")));
    QString problem = packetProblem(m_tuning.mode, length);
    if (repeat == 0)
        problem = QStringLiteral("repeat time 0");
    else if (interval < LeastIntervalMs)
        problem = QStringLiteral("interval %1 ms below %2").arg(interval).arg(LeastIntervalMs);
    if (!problem.isEmpty())
        return refuse(r, VirtualDongle::StatusInvalidParam, problem);
    if (length != packet.payload.size())
        return refuse(r, VirtualDongle::StatusInvalidDataLength,
                      QStringLiteral("length %1 with %2 bytes of payload").arg(length).arg(packet.payload.size()));

    const quint8 module = r.module();
    m_transmitter = new RfTransmitter(m_dongle.air(), m_tuning, packet, repeat, interval, this, this);
    connect(m_transmitter, &RfTransmitter::sent, this, [this, module] { m_dongle.ack(module, 0x04, 0); });
    connect(m_transmitter, &RfTransmitter::finished, this, &RfTestEngine::endTransmission);
    m_transmitter->start();
}

void RfTestEngine::stopTransmit(const Request& r)
{
    if (!inMode(r))
        return;
    endTransmission();
    m_dongle.ack(r.module(), r.opcode(), 0);
}

void RfTestEngine::endTransmission()
{
    if (!m_transmitter)
        return;
    // It may be telling of its last packet now.
    m_transmitter->stop();
    m_transmitter->deleteLater();
    m_transmitter = nullptr;
}

void RfTestEngine::startReceive(const Request& r)
{
    if (!inMode(r))
        return;
    m_receiving = true;
    listen();
    m_dongle.ack(r.module(), r.opcode(), 0);
}

void RfTestEngine::stopReceive(const Request& r)
{
    if (!inMode(r))
        return;
    m_receiving = false;
    listen();
    m_dongle.ack(r.module(), r.opcode(), 0);
}

void RfTestEngine::listen()
{
    if (!m_dongle.air())
        return;
    if (m_receiving)
        m_dongle.air()->rfTest().listen(this, m_tuning);
    else
        m_dongle.air()->rfTest().stopListening(this);
}

// A busy line misses packets, as a radio does, rather than hold back the acks.
void RfTestEngine::rfHeard(const RfPacket& packet)
{
    const bool lcp = m_mode == Mode::Lcp;
    const int frameSize = 6 + (lcp ? 2 : 1) + packet.payload.size();
    if (!m_dongle.reserveBulk(frameSize))
        return;
    if (lcp)
        m_dongle.respond(LcpModule, 0x05, {{"Header", u8(packet.header)}, {"Length", u8(packet.payload.size())},
                                           {"contain", packet.payload}});
    else
        m_dongle.respond(IdtModule, 0x05, {{"Length", u8(packet.payload.size())}, {"contain", packet.payload}});
}
