#include "initiatorengine.h"

#include <algorithm>

#include <QTimer>

#include "air/peer.h"
#include "air/virtualair.h"
#include "connectionmanager.h"
#include "devicelistsengine.h"
#include "localdeviceengine.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

namespace {

// How often an initiator looks again for a target that is not in the air.
constexpr int IdlePollMs = 100;
// The parameter sets of 5_0_Connect, in the order of the PHY bits of its properties.
const char* const PhySuffixes[] = {"1m", "2m", "coded"};

QString key(const char* name, const char* suffix)
{
    return QStringLiteral("5_0_conn_%1_%2").arg(QLatin1String(name), QLatin1String(suffix));
}

// The LE Coded PHY for a peer that advertises on it, else LE 1M.
const char* scanSuffix(const VirtualAdvertiser& peer)
{
    return peer.primaryPhy == 3 ? "coded" : "1m";
}

QByteArray peerKey(const Request& request)
{
    return request.field(QStringLiteral("addr")) + request.field(QStringLiteral("addr_type"));
}

} // namespace

InitiatorEngine::InitiatorEngine(VirtualDongle& dongle, const LocalDeviceEngine& localDevice, const DeviceListsEngine& deviceLists,
                                 ConnectionManager& connections)
    : Engine(dongle)
    , m_localDevice(localDevice)
    , m_deviceLists(deviceLists)
    , m_connections(connections)
{
    m_eventTimer = new QTimer(this);
    m_eventTimer->setSingleShot(true);
    connect(m_eventTimer, &QTimer::timeout, this, &InitiatorEngine::tick);
    m_timeoutTimer = new QTimer(this);
    m_timeoutTimer->setSingleShot(true);
    connect(m_timeoutTimer, &QTimer::timeout, this, [this] {
        stop();
        m_dongle.respond(0x01, 0x80, QByteArray()); // Auto Connect Time Out, for direct connections too
    });
}

void InitiatorEngine::install(Router& router)
{
    router.add(0x01, 0x3F, Router::WholePayload, [this](const Request& r) { // 5_0_Connect
        const QString error = parameterError(r);
        if (!error.isEmpty()) {
            m_dongle.ack(0x01, 0x3F, VirtualDongle::StatusInvalidParam);
            m_dongle.sendLog(QStringLiteral("5_0_Connect: ") + error);
            return;
        }
        const bool direct = r.number(QStringLiteral("5_0_conn_type")) == 0;
        if (isConnecting() || (direct && m_connections.peers().contains(peerKey(r))))
            return m_dongle.ack(0x01, 0x3F, VirtualDongle::StatusDisallowed);
        if (m_connections.count() >= ConnectionManager::MaxConnections)
            return m_dongle.ack(0x01, 0x3F, VirtualDongle::StatusNoResources);
        m_dongle.ack(0x01, 0x3F, 0);
        start(r);
    });
    router.add(0x01, 0x49, Router::WholePayload, [this](const Request&) { // Cancel Connect
        if (!isConnecting())
            return m_dongle.ack(0x01, 0x49, VirtualDongle::StatusDisallowed);
        m_dongle.ack(0x01, 0x49, 0);
        stop();
        m_dongle.respond(0x01, 0x4A, {{"status", SimFrame::u8(0)}});
    });
}

void InitiatorEngine::reset()
{
    stop();
}

// The checks of a link layer on the parameters of every PHY that the properties name.
QString InitiatorEngine::parameterError(const Request& r) const
{
    const int type = r.number(QStringLiteral("5_0_conn_type"));
    const int phys = r.number(QStringLiteral("5_0_conn_properties"));
    if (type > 1)
        return QStringLiteral("initiating type %1 unknown").arg(type);
    if (!(phys & 0x05) || (phys & ~0x07))
        return QStringLiteral("properties 0x%1 scan on no PHY").arg(phys, 2, 16, QLatin1Char('0'));
    if (type == 0 && r.number(QStringLiteral("addr_type")) > 3)
        return QStringLiteral("peer address type %1 unknown").arg(r.number(QStringLiteral("addr_type")));
    for (int set = 0; set < 3; ++set) {
        if (!(phys & (1 << set)))
            continue;
        const char* suffix = PhySuffixes[set];
        if (set != 1) { // LE 2M is never scanned
            const int interval = r.number(key("scan_interval", suffix));
            const int window = r.number(key("scan_window", suffix));
            if (interval < 4 || window < 4 || window > interval)
                return QStringLiteral("scan window %1 does not fit interval %2").arg(window).arg(interval);
        }
        const QString error = Link::parameterError(r.number(key("interval_min", suffix)), r.number(key("interval_max", suffix)),
                                                   r.number(key("latency", suffix)), r.number(key("supervision_timeout", suffix)));
        if (!error.isEmpty())
            return error;
    }
    return QString();
}

void InitiatorEngine::start(const Request& request)
{
    m_initiating = request;
    // The first chance comes with the target's next advertising event, somewhere in its interval.
    const VirtualAdvertiser* peer = target();
    m_eventTimer->start(peer ? int(m_dongle.random().bounded(peer->intervalMs + 1)) : IdlePollMs);
    const int timeout = request.number(QStringLiteral("5_0_conn_timeout"));
    if (timeout > 0)
        m_timeoutTimer->start(timeout * 10);
}

// The peer to connect to now: the one named, or the first of the white list in the air.
const VirtualAdvertiser* InitiatorEngine::target() const
{
    VirtualAir* air = m_dongle.air();
    if (!air || !m_initiating)
        return nullptr;
    const int phys = m_initiating->number(QStringLiteral("5_0_conn_properties"));
    const QByteArray self = m_localDevice.identityAddress() + char(m_localDevice.identityAddressType());
    // A dongle may advertise several sets on one address, not all of them connectable.
    auto find = [&](const QByteArray& key) -> const VirtualAdvertiser* {
        for (const VirtualAdvertiser& a : air->advertisers()) {
            if (a.addressType != quint8(key.at(6)) || a.address != key.left(6))
                continue;
            const bool scanned = phys & (a.primaryPhy == 3 ? 0x04 : 0x01);
            const bool free = a.peer && a.peer->acceptsCentral();
            const bool forUs = a.directedTo.isEmpty() || a.directedTo == self;
            if (a.owner != m_dongle.number() && a.connectable && a.rssi >= -100 && scanned && free && forUs)
                return &a;
        }
        return nullptr;
    };
    if (m_initiating->number(QStringLiteral("5_0_conn_type")) == 0)
        return find(peerKey(*m_initiating));
    for (const QByteArray& entry : m_deviceLists.whitelist()) {
        if (const VirtualAdvertiser* a = find(entry))
            return a;
    }
    return nullptr;
}

void InitiatorEngine::tick()
{
    if (!m_initiating)
        return;
    const VirtualAdvertiser* peer = target();
    if (peer) {
        // The initiator hears the event as often as its scan window covers its scan interval.
        const char* suffix = scanSuffix(*peer);
        if (m_dongle.random().generateDouble() * m_initiating->number(key("scan_interval", suffix))
            < m_initiating->number(key("scan_window", suffix))) {
            establish(*peer);
            if (!m_initiating)
                return;
            peer = target();
        }
    }
    m_eventTimer->start(peer ? peer->intervalMs + int(m_dongle.random().bounded(11)) : IdlePollMs);
}

void InitiatorEngine::establish(const VirtualAdvertiser& peer)
{
    // A central takes the longest interval allowed, and latency and supervision timeout as asked.
    const char* suffix = scanSuffix(peer);
    Link::Parameters parameters;
    parameters.interval = m_initiating->number(key("interval_max", suffix));
    parameters.latency = m_initiating->number(key("latency", suffix));
    parameters.timeout = m_initiating->number(key("supervision_timeout", suffix));
    parameters.centralClockAccuracy = ConnectionManager::ClockAccuracy;

    // A direct connection ends the procedure; an automatic one goes on until every device of
    // the white list is connected. It is decided before the host hears of the link, which it
    // may answer at once: a Cancel Connect then finds the procedure over, as at a controller.
    QList<QByteArray> linked = m_connections.peers();
    linked.append(peer.address + char(peer.addressType));
    const QVector<QByteArray>& whitelist = m_deviceLists.whitelist();
    const bool automatic = m_initiating->number(QStringLiteral("5_0_conn_type")) == 1;
    const bool more = automatic && m_connections.count() + 1 < ConnectionManager::MaxConnections
                      && std::any_of(whitelist.cbegin(), whitelist.cend(),
                                     [&](const QByteArray& entry) { return !linked.contains(entry); });
    if (!more)
        stop();
    m_dongle.air()->connectTo({&m_connections, m_localDevice.identityAddress(), m_localDevice.identityAddressType()},
                              peer, parameters);
}

void InitiatorEngine::stop()
{
    m_initiating.reset();
    m_eventTimer->stop();
    m_timeoutTimer->stop();
}
