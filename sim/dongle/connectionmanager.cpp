#include "connectionmanager.h"

#include <utility>

#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "securityengine.h"
#include "virtualdongle.h"

using SimFrame::le16;
using SimFrame::u8;

namespace {

const QByteArray AllChannels = QByteArray::fromHex("FFFFFFFF1F");

int usedChannels(const QByteArray& map)
{
    int used = 0;
    for (const char byte : map)
        used += qPopulationCount(quint8(byte));
    return used;
}

} // namespace

ConnectionManager::ConnectionManager(VirtualDongle& dongle)
    : Engine(dongle)
    , m_channelMap(AllChannels)
{
}

ConnectionManager::~ConnectionManager()
{
    reset();
}

void ConnectionManager::install(Router& router)
{
    router.add(0x01, 0x07, Router::WholePayload, [this](const Request& r) { // Disconnect
        Link* link = linkOf(r);
        if (!link)
            return;
        m_dongle.ack(0x01, 0x07, 0);
        link->terminate(link->endOf(this), Link::ReasonRemoteUser);
    });
    router.add(0x01, 0x37, Router::WholePayload, [this](const Request& r) { updateParameters(r); });
    router.add(0x01, 0x39, Router::WholePayload, [this](const Request& r) { reply(r); });
    router.add(0x01, 0x43, Router::WholePayload, [this](const Request& r) { // Data Length Update
        Link* link = linkOf(r);
        const int octets = r.number(QStringLiteral("tx_octets"));
        const int time = r.number(QStringLiteral("tx_time"));
        if (!link)
            return;
        if (octets < Link::MinOctets || octets > Link::MaxOctets || time < Link::MinTimeUs || time > Link::MaxTimeUs)
            return refuse(r, QStringLiteral("%1 octets in %2 us out of range").arg(octets).arg(time));
        m_dongle.ack(0x01, 0x43, 0);
        link->updateDataLength(link->endOf(this), octets, time);
    });
    router.add(0x01, 0x4B, Router::WholePayload, [this](const Request& r) { // PHY Update
        Link* link = linkOf(r);
        const int tx = r.number(QStringLiteral("trans_phys"));
        const int rx = r.number(QStringLiteral("receive_phys"));
        const int options = r.number(QStringLiteral("host_specify_options"));
        if (!link)
            return;
        if (tx == 0 || tx > 7 || rx == 0 || rx > 7 || options > 2)
            return refuse(r, QStringLiteral("PHY masks %1 and %2 with options %3 unknown").arg(tx).arg(rx).arg(options));
        m_dongle.ack(0x01, 0x4B, 0);
        link->updatePhy(link->endOf(this), quint8(tx), quint8(rx));
    });
    router.add(0x01, 0x81, Router::WholePayload, [this](const Request& r) { // RF TX Power Set
        Link* link = linkOf(r);
        if (!link)
            return;
        const int power = qint8(r.number(QStringLiteral("rf_tx_power")));
        link->setPower(link->endOf(this), qBound(MinTxPower, power, MaxTxPower));
        m_dongle.ack(0x01, 0x81, 0);
    });
    router.add(0x01, 0x69, Router::WholePayload, [this](const Request& r) { setChannelMap(r); });

    // The peer's version and features come with an exchange of the two link layers; the rest the
    // controller knows.
    addGet(router, 0x4D, Link::ExchangeEvents, [](const Link* link, Link::End end) { // Get Peer Version
        const ControllerInfo& peer = link->controller(Link::other(end));
        return Responder::Fields{{"manufacturer_name", le16(peer.company)},
                                 {"lmp_subversion", le16(peer.lmpSubversion)},
                                 {"lmp_version", u8(peer.lmpVersion)}};
    });
    addGet(router, 0x4F, Link::ExchangeEvents, [](const Link* link, Link::End end) { // Get Peer Features
        const quint32 features = link->controller(Link::other(end)).featureBits();
        return Responder::Fields{{"features", le16(int(features & 0xFFFF)) + le16(int(features >> 16))}};
    });
    addGet(router, 0x51, 0, [](const Link* link, Link::End end) { // Get Connection RSSI
        return Responder::Fields{{"rssi", u8(link->rssi(end))}};
    });
    addGet(router, 0x53, 0, [](const Link* link, Link::End) { // Get Connection Channel Map
        return Responder::Fields{{"channel_map", link->channelMap()}};
    });
    // PHYs as the bits of PHY Update's masks, which is how the page reads them (as a mask), not
    // as the numbers 1 to 3 of a controller's PHY events.
    addGet(router, 0x55, 0, [](const Link* link, Link::End end) { // Get Connection PHY
        return Responder::Fields{{"lephy_data_transmission", u8(link->transmitter(end).phy)},
                                 {"lephy_data_reception", u8(link->transmitter(Link::other(end)).phy)}};
    });
    addGet(router, 0x57, 0, [](const Link* link, Link::End) { // Get Selection Algorithm For Connection Channel
        const quint32 both = link->controller(Link::Central).featureBits() & link->controller(Link::Peripheral).featureBits();
        return Responder::Fields{{"chanel_selection_algorithm", u8(both & ControllerInfo::ChannelSelection2 ? 1 : 0)}};
    });
}

void ConnectionManager::addGet(Router& router, quint8 opcode, int events, Result result)
{
    router.add(0x01, opcode, Router::WholePayload, [this, opcode, events, result](const Request& r) {
        Link* link = linkOf(r);
        if (!link)
            return;
        m_dongle.ack(0x01, opcode, 0);
        const int condix = r.number(QStringLiteral("condix"));
        const auto report = [this, link, opcode, condix, result] {
            Responder::Fields fields = result(link, link->endOf(this));
            fields.append({"status", u8(0)});
            fields.append({"condix", u8(condix)});
            m_dongle.respond(0x01, quint8(opcode + 1), fields);
        };
        if (events == 0)
            report();
        else
            link->after(events, report);
    });
}

// A central moves the link itself; a peripheral asks its central, whose host decides.
void ConnectionManager::updateParameters(const Request& r)
{
    Link* link = linkOf(r);
    const int min = r.number(QStringLiteral("interval_min"));
    const int max = r.number(QStringLiteral("interval_max"));
    const int latency = r.number(QStringLiteral("slave_latency"));
    const int timeout = r.number(QStringLiteral("sup_timeout"));
    if (!link)
        return;
    const QString error = Link::parameterError(min, max, latency, timeout);
    if (!error.isEmpty())
        return refuse(r, error);
    const Link::End end = link->endOf(this);
    const std::optional<Link::ParameterRequest>& pending = link->pendingRequest();
    if (link->isUpdating() || (pending && pending->asker == end))
        return m_dongle.ack(0x01, 0x37, VirtualDongle::StatusDisallowed);
    m_dongle.ack(0x01, 0x37, 0);
    if (end == Link::Central)
        link->updateParameters(max, latency, timeout);
    else
        link->requestParameters({end, min, max, latency, timeout, true});
}

// The host answers the far end's request for new parameters.
void ConnectionManager::reply(const Request& r)
{
    Link* link = linkOf(r);
    const int accept = r.number(QStringLiteral("accept"));
    if (!link)
        return;
    if (accept > 1)
        return refuse(r, QStringLiteral("accept %1 is neither 0 nor 1").arg(accept));
    const std::optional<Link::ParameterRequest>& pending = link->pendingRequest();
    const bool asked = pending && pending->asker != link->endOf(this);
    if (!asked || (accept && link->isUpdating()))
        return m_dongle.ack(0x01, 0x39, VirtualDongle::StatusDisallowed);
    m_dongle.ack(0x01, 0x39, 0);
    link->answerRequest(accept == 1);
}

// The host's channel classification: the links this dongle is central of hop on it from now
// on, and so will its later ones. A controller answers with its ack alone; DD@01@6A is never
// sent, since its row has no fields and the page would read no status from it.
void ConnectionManager::setChannelMap(const Request& r)
{
    QByteArray map;
    for (const char* key : {"channel0_7", "channel8_15", "channel16_23", "channel24_31", "channel32_36"})
        map += r.field(QLatin1String(key));
    // Channels 37 to 39 carry advertising; a link hops over two channels at least.
    if (usedChannels(map) < 2 || (quint8(map.at(4)) & 0xE0))
        return refuse(r, QStringLiteral("channel map %1 unusable").arg(QString::fromLatin1(map.toHex())));
    m_channelMap = map;
    m_dongle.ack(0x01, 0x69, 0);
    for (const QPointer<Link>& link : qAsConst(m_links)) {
        if (link && link->endOf(this) == Link::Central)
            link->setChannelMap(map);
    }
}

QString ConnectionManager::requestFromPeer(int condix, int intervalMin, int intervalMax, int latency, int timeout)
{
    const QString error = Link::parameterError(intervalMin, intervalMax, latency, timeout);
    if (!error.isEmpty())
        return error;
    Link* link = m_links.value(condix);
    if (!link)
        return QStringLiteral("dongle %1 has no connection %2").arg(m_dongle.number()).arg(condix);
    link->requestParameters({Link::other(link->endOf(this)), intervalMin, intervalMax, latency, timeout, false});
    return QString();
}

Link* ConnectionManager::linkOf(const Request& request)
{
    Link* link = m_links.value(request.number(QStringLiteral("condix")));
    if (!link)
        m_dongle.ack(request.module(), request.opcode(), VirtualDongle::StatusInvalidConnIdx);
    return link;
}

void ConnectionManager::refuse(const Request& request, const QString& why)
{
    m_dongle.ack(request.module(), request.opcode(), VirtualDongle::StatusInvalidParam);
    m_dongle.sendLog(request.name() + QStringLiteral(": ") + why);
}

// A reset or a power cut ends every link without a word; the peers just find them gone.
void ConnectionManager::reset()
{
    const QMap<int, QPointer<Link>> links = std::exchange(m_links, {});
    for (const QPointer<Link>& link : links) {
        if (link)
            link->abandon(link->endOf(this));
    }
}

void ConnectionManager::powerCycle()
{
    reset();
    m_channelMap = AllChannels;
}

QList<QByteArray> ConnectionManager::peers() const
{
    QList<QByteArray> list;
    for (const QPointer<Link>& link : m_links) {
        if (!link)
            continue;
        const Link::Party& far = link->party(Link::other(link->endOf(this)));
        list.append(far.address + char(far.addressType));
    }
    return list;
}

bool ConnectionManager::drop(int condix, quint8 reason)
{
    Link* link = m_links.value(condix);
    if (!link)
        return false;
    link->terminate(Link::other(link->endOf(this)), reason);
    return true;
}

void ConnectionManager::setChannelHandler(quint16 channel, ChannelHandler handler)
{
    m_channels.insert(channel, std::move(handler));
}

bool ConnectionManager::send(int condix, quint16 channel, const QByteArray& data)
{
    Link* link = m_links.value(condix);
    if (!link)
        return false;
    link->send(link->endOf(this), channel, data);
    return true;
}

// Each advertising set ends with its connection; the dongle's other sets take centrals of their
// own while it has links to spare.
bool ConnectionManager::acceptsCentral() const
{
    return m_links.size() < MaxConnections;
}

int ConnectionManager::condixOf(const Link* link) const
{
    for (auto it = m_links.cbegin(); it != m_links.cend(); ++it) {
        if (it.value() == link)
            return it.key();
    }
    return -1;
}

// Central or peripheral, the link takes the lowest free index; the engines hear of it before
// the host, which may use it, or end it, at once.
void ConnectionManager::linkUp(Link* link)
{
    int condix = 0;
    while (m_links.contains(condix))
        ++condix;
    m_links.insert(condix, link);
    const Link::End end = link->endOf(this);
    if (end == Link::Central)
        link->setChannelMap(m_channelMap);
    m_dongle.linkOpened(condix, link);
    const Link::Party& far = link->party(Link::other(end));
    const Link::Parameters& parameters = link->parameters();
    m_dongle.respond(0x01, 0x06,
                     {{"status", u8(0)},
                      {"connected", u8(1)},
                      {"condix", u8(condix)},
                      {"con_interval", le16(parameters.interval)},
                      {"con_latency", le16(parameters.latency)},
                      {"sup_to", le16(parameters.timeout)},
                      // Only a peripheral learns its central's clock accuracy.
                      {"clk_accuracy", u8(end == Link::Peripheral ? parameters.centralClockAccuracy : 0)},
                      {"addr_type", u8(far.addressType)},
                      {"addr", far.address},
                      {"role", u8(end)}});
}

void ConnectionManager::linkDown(Link* link, quint8 reason)
{
    const int condix = condixOf(link);
    if (condix < 0)
        return;
    m_links.remove(condix);
    m_dongle.linkEnding(condix, reason);
    m_dongle.respond(0x01, 0x08, {{"status", u8(0)}, {"reason", u8(reason)}, {"condix", u8(condix)}});
    m_dongle.linkClosed(condix);
}

void ConnectionManager::received(Link* link, quint16 channel, const QByteArray& data)
{
    const int condix = condixOf(link);
    const auto handler = m_channels.constFind(channel);
    if (condix >= 0 && handler != m_channels.cend())
        handler.value()(condix, data);
}

std::optional<quint32> ConnectionManager::shownPasskey(const Link* link) const
{
    const int condix = condixOf(link);
    return condix < 0 ? std::nullopt : m_dongle.security()->shownPasskey(condix);
}

void ConnectionManager::parametersRequested(Link* link, const Link::ParameterRequest& request)
{
    const int condix = condixOf(link);
    if (condix < 0)
        return;
    m_dongle.respond(0x01, 0x3C,
                     {{"interval_min", le16(request.intervalMin)},
                      {"interval_max", le16(request.intervalMax)},
                      {"slave_latency", le16(request.latency)},
                      {"sup_timeout", le16(request.timeout)},
                      {"condix", u8(condix)}});
}

// Results name the link layer's errors past the host's own codes.
void ConnectionManager::linkChanged(Link* link, Link::Change change, quint8 error)
{
    const int condix = condixOf(link);
    if (condix < 0)
        return;
    if (change == Link::EncryptionChanged)
        return m_dongle.linkEncrypted(condix);
    const Link::End end = link->endOf(this);
    const quint8 status = error ? quint8(error + VirtualDongle::LinkLayerStatusBase) : 0;
    if (change == Link::ParametersChanged) {
        const Link::Parameters& parameters = link->parameters();
        m_dongle.respond(0x01, 0x38,
                         {{"status", u8(status)},
                          {"interval", le16(parameters.interval)},
                          {"slave_latency", le16(parameters.latency)},
                          {"sup_timeout", le16(parameters.timeout)},
                          {"condix", u8(condix)}});
        return;
    }
    const Link::Transmitter& sent = link->transmitter(end);
    const Link::Transmitter& received = link->transmitter(Link::other(end));
    if (change == Link::DataLengthChanged) {
        m_dongle.respond(0x01, 0x44,
                         {{"status", u8(status)},
                          {"index", u8(condix)},
                          {"max_tx_octets", le16(sent.octets)},
                          {"max_tx_time", le16(sent.timeUs)},
                          {"max_rx_octets", le16(received.octets)},
                          {"max_rx_time", le16(received.timeUs)}});
        return;
    }
    // PHYs as masks, as Get Connection PHY gives them.
    m_dongle.respond(0x01, 0x4C, {{"status", u8(status)}, {"index", u8(condix)}, {"tx_phy", u8(sent.phy)},
                                  {"rx_phy", u8(received.phy)}});
}
