#include "link.h"

#include <utility>

#include <QTimer>

#include "peer.h"

Link::Link(const Party& central, const Party& peripheral, const Parameters& parameters, qint8 rssi, QObject* parent)
    : QObject(parent)
    , m_parties{central, peripheral}
    , m_parameters(parameters)
    , m_rssi(rssi)
    , m_channelMap(QByteArray::fromHex("FFFFFFFF1F"))
    , m_eventTimer(new QTimer(this))
{
    m_eventTimer->setSingleShot(true);
    m_eventTimer->setTimerType(Qt::PreciseTimer);
    connect(m_eventTimer, &QTimer::timeout, this, &Link::connectionEvent);
}

QString Link::parameterError(int intervalMin, int intervalMax, int latency, int timeout)
{
    if (intervalMin < 6 || intervalMax > 3200 || intervalMin > intervalMax)
        return QStringLiteral("connection interval %1 to %2 out of range").arg(intervalMin).arg(intervalMax);
    if (latency < 0 || latency > 499)
        return QStringLiteral("latency %1 out of range").arg(latency);
    // The supervision timeout must outlast two of the longest gaps that the latency allows.
    if (timeout < 10 || timeout > 3200 || timeout * 4 <= (1 + latency) * intervalMax)
        return QStringLiteral("supervision timeout %1 too short or too long").arg(timeout);
    return QString();
}

const ControllerInfo& Link::controller(End end) const
{
    return m_parties[end].peer->controller();
}

qint8 Link::rssi(End end) const
{
    return qint8(qBound(-127, m_rssi + m_transmitters[other(end)].power, 20));
}

void Link::open()
{
    m_open = true;
    m_anchor.start();
    m_parties[Central].peer->linkUp(this);
    // The central's host may have ended it already, on hearing of it.
    if (m_open)
        m_parties[Peripheral].peer->linkUp(this);
}

// Idle links cost nothing: the timer runs only while data waits for the next event.
void Link::send(End from, quint16 channel, const QByteArray& data)
{
    if (!m_open)
        return;
    m_queue.append({other(from), channel, data});
    if (m_eventTimer->isActive())
        return;
    const qint64 interval = intervalUs();
    m_eventTimer->start(int((interval - clockUs() % interval + 999) / 1000));
}

void Link::sendNow(End from, quint16 channel, const QByteArray& data)
{
    if (m_open)
        m_parties[other(from)].peer->received(this, channel, data);
}

void Link::connectionEvent()
{
    // What is queued now goes; what the deliveries queue waits for the next event.
    const QVector<Pdu> due = std::exchange(m_queue, {});
    for (const Pdu& pdu : due) {
        if (!m_open)
            return;
        m_parties[pdu.to].peer->received(this, pdu.channel, pdu.data);
    }
    if (m_open && !m_queue.isEmpty())
        m_eventTimer->start(qMax(1, m_parameters.interval * 5 / 4));
}

void Link::terminate(End by, quint8 reason)
{
    if (!shut())
        return;
    m_parties[by].peer->linkDown(this, ReasonLocalHost);
    m_parties[other(by)].peer->linkDown(this, reason);
}

// The other end learns of it at once rather than after the supervision timeout: nothing on
// either side depends on the wait.
void Link::abandon(End by)
{
    if (shut())
        m_parties[other(by)].peer->linkDown(this, ReasonSupervisionTimeout);
}

bool Link::shut()
{
    if (!m_open)
        return false;
    m_open = false;
    m_queue.clear();
    m_eventTimer->stop();
    deleteLater();
    return true;
}

void Link::after(int events, std::function<void()> done)
{
    const int ms = (events * qMax(1, m_parameters.interval) * 5 + 3) / 4;
    QTimer::singleShot(ms, Qt::PreciseTimer, this, [this, done] {
        if (m_open)
            done();
    });
}

void Link::tell(End end, Change change, quint8 error)
{
    if (m_open)
        m_parties[end].peer->linkChanged(this, change, error);
}

bool Link::updateParameters(int interval, int latency, int timeout)
{
    if (m_updating)
        return false;
    m_updating = true;
    after(InstantEvents, [this, interval, latency, timeout] {
        m_updating = false;
        m_parameters.interval = interval;
        m_parameters.latency = latency;
        m_parameters.timeout = timeout;
        tell(Central, ParametersChanged);
        tell(Peripheral, ParametersChanged);
    });
    return true;
}

void Link::requestParameters(const ParameterRequest& request)
{
    m_request = request;
    after(1, [this, request] { m_parties[other(request.asker)].peer->parametersRequested(this, request); });
}

void Link::answerRequest(bool accept)
{
    const std::optional<ParameterRequest> asked = std::exchange(m_request, std::nullopt);
    if (!asked)
        return;
    if (accept)
        updateParameters(asked->intervalMax, asked->latency, asked->timeout);
    else if (asked->byHost)
        after(1, [this, asker = asked->asker] { tell(asker, ParametersChanged, ErrorUnacceptableParameters); });
}

void Link::updateDataLength(End by, int octets, int timeUs)
{
    after(ExchangeEvents, [this, by, octets, timeUs] {
        const quint32 both = controller(Central).featureBits() & controller(Peripheral).featureBits();
        const bool extended = both & ControllerInfo::DataLengthExtension;
        Transmitter& sender = m_transmitters[by];
        const Transmitter before = sender;
        sender.octets = extended ? octets : MinOctets;
        sender.timeUs = extended ? timeUs : MinTimeUs;
        tell(by, DataLengthChanged);
        if (sender.octets != before.octets || sender.timeUs != before.timeUs)
            tell(other(by), DataLengthChanged);
    });
}

void Link::encrypt(const Security& security)
{
    after(ExchangeEvents, [this, security] {
        m_security = security;
        tell(Central, EncryptionChanged);
        tell(Peripheral, EncryptionChanged);
    });
}

void Link::updatePhy(End by, quint8 txPhys, quint8 rxPhys)
{
    after(ExchangeEvents, [this, by, txPhys, rxPhys] {
        const quint8 both = controller(Central).phys & controller(Peripheral).phys;
        const quint8 tx = ControllerInfo::fastest(txPhys & both);
        const quint8 rx = ControllerInfo::fastest(rxPhys & both);
        Transmitter& sent = m_transmitters[by];
        Transmitter& received = m_transmitters[other(by)];
        const bool changed = (tx && tx != sent.phy) || (rx && rx != received.phy);
        sent.phy = tx ? tx : sent.phy;
        received.phy = rx ? rx : received.phy;
        tell(by, PhyChanged);
        if (changed)
            tell(other(by), PhyChanged);
    });
}
