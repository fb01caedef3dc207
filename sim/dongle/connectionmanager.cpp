#include "connectionmanager.h"

#include <algorithm>
#include <utility>

#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::le16;
using SimFrame::u8;

ConnectionManager::ConnectionManager(VirtualDongle& dongle)
    : Engine(dongle)
{
}

ConnectionManager::~ConnectionManager()
{
    reset();
}

void ConnectionManager::install(Router& router)
{
    router.add(0x01, 0x07, Router::WholePayload, [this](const Request& r) { // Disconnect
        Link* link = m_links.value(r.number(QStringLiteral("condix")));
        if (!link)
            return m_dongle.ack(0x01, 0x07, VirtualDongle::StatusInvalidConnIdx);
        m_dongle.ack(0x01, 0x07, 0);
        link->terminate(link->endOf(this), Link::ReasonRemoteUser);
    });
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

bool ConnectionManager::hasCentral() const
{
    return std::any_of(m_links.cbegin(), m_links.cend(),
                       [this](const QPointer<Link>& link) { return link && link->endOf(this) == Link::Peripheral; });
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
    m_dongle.linkOpened(condix, link);
    const Link::End end = link->endOf(this);
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
