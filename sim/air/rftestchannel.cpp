#include "rftestchannel.h"

#include "virtualair.h"

namespace {

// Long intervals are waited for in steps that a QTimer can hold.
constexpr quint32 kLongestTimerMs = 60000;

} // namespace

void RfTestChannel::transmit(const RfTuning& tuning, const RfPacket& packet, const RfListener* sender) const
{
    // A listener may stop listening, or another start, while it hears: walk a copy.
    const QHash<RfListener*, RfTuning> listeners = m_listeners;
    for (auto it = listeners.cbegin(); it != listeners.cend(); ++it) {
        if (it.key() != sender && it.value() == tuning && m_listeners.contains(it.key()))
            it.key()->rfHeard(packet);
    }
}

RfTransmitter::RfTransmitter(VirtualAir* air, const RfTuning& tuning, const RfPacket& packet, quint32 count,
                             quint32 intervalMs, const RfListener* sender, QObject* parent)
    : QObject(parent)
    , m_air(air)
    , m_tuning(tuning)
    , m_packet(packet)
    , m_count(count)
    , m_intervalMs(qMax<quint32>(1, intervalMs))
    , m_sender(sender)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(int(qMin(m_intervalMs, kLongestTimerMs)));
    connect(&m_timer, &QTimer::timeout, this, &RfTransmitter::tick);
}

void RfTransmitter::start()
{
    m_clock.start();
    m_timer.start();
    tick();
}

void RfTransmitter::stop()
{
    m_stopped = true;
    m_timer.stop();
}

void RfTransmitter::tick()
{
    const quint64 due = qMin<quint64>(m_count, quint64(m_clock.elapsed()) / m_intervalMs + 1);
    while (!m_stopped && m_sent < due) {
        if (m_air)
            m_air->rfTest().transmit(m_tuning, m_packet, m_sender);
        ++m_sent;
        emit sent(m_sent);
    }
    if (!m_stopped && m_sent == m_count) {
        m_timer.stop();
        emit finished();
    }
}
