#include "connectionmanager.h"

#include "air/virtualair.h"
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
        const int condix = r.number(QStringLiteral("condix"));
        if (!m_links.contains(condix))
            return m_dongle.ack(0x01, 0x07, VirtualDongle::StatusInvalidConnIdx);
        m_dongle.ack(0x01, 0x07, 0);
        end(condix, ReasonLocalHost);
    });
}

// A reset or a power cut ends every link without a word; the peers just find them gone.
void ConnectionManager::reset()
{
    for (const QByteArray& peer : qAsConst(m_links)) {
        if (m_dongle.air())
            m_dongle.air()->unlink(peer.left(6), quint8(peer.at(6)));
    }
    m_links.clear();
}

void ConnectionManager::addCentral(const VirtualAdvertiser& peer, int interval, int latency, int timeout)
{
    int condix = 0;
    while (m_links.contains(condix))
        ++condix;
    m_links.insert(condix, peer.address + char(peer.addressType));
    m_dongle.air()->link(peer.address, peer.addressType);
    m_dongle.respond(0x01, 0x06,
                     {{"status", u8(0)},
                      {"connected", u8(1)},
                      {"condix", u8(condix)},
                      {"con_interval", le16(interval)},
                      {"con_latency", le16(latency)},
                      {"sup_to", le16(timeout)},
                      {"clk_accuracy", u8(0)}, // only a peripheral learns its central's
                      {"addr_type", u8(peer.addressType)},
                      {"addr", peer.address},
                      {"role", u8(0)}});
}

void ConnectionManager::end(int condix, quint8 reason)
{
    const QByteArray peer = m_links.take(condix);
    if (m_dongle.air())
        m_dongle.air()->unlink(peer.left(6), quint8(peer.at(6)));
    m_dongle.respond(0x01, 0x08, {{"status", u8(0)}, {"reason", u8(reason)}, {"condix", u8(condix)}});
}

bool ConnectionManager::drop(int condix, quint8 reason)
{
    if (!m_links.contains(condix))
        return false;
    end(condix, reason);
    return true;
}
