#include "devicelistsengine.h"

#include <algorithm>

#include "air/blecrypto.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::u8;

namespace {

constexpr quint8 UnknownIdentity = VirtualDongle::LinkLayerStatusBase + 0x02; // unknown connection identifier

// Keys go over the wire least significant byte first; the cipher takes them the other way round.
QByteArray reversed(QByteArray bytes)
{
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

} // namespace

DeviceListsEngine::DeviceListsEngine(VirtualDongle& dongle)
    : Engine(dongle)
{
    // Each dongle's own identity key until the host sets one.
    m_localIrk = QByteArray::fromHex("00112233445566778899aabbccddee00");
    m_localIrk[15] = char(m_dongle.number());
}

// The controller forgets its lists and the addresses it made; the bonds stay in flash.
void DeviceListsEngine::reset()
{
    m_whitelist.clear();
    m_periodicList.clear();
    for (Bond& bond : m_bonds) {
        bond.peerRpa.clear();
        bond.localRpa.clear();
    }
}

void DeviceListsEngine::install(Router& router)
{
    VirtualDongle& d = m_dongle;
    const auto sendEntries = [&d](quint8 opcode, const QVector<QByteArray>& list) {
        QByteArray entries;
        for (const QByteArray& entry : list)
            entries.append(entry);
        d.respond(0x01, opcode, entries);
    };
    router.add(0x01, 0x09, Router::WholePayload, [this](const Request& r) { editWhitelist(r, true); });
    router.add(0x01, 0x0B, Router::WholePayload, [this](const Request& r) { editWhitelist(r, false); });
    router.add(0x01, 0x0D, Router::AnyLength, [this, &d, sendEntries](const Request&) { // Get Whitelist
        d.ack(0x01, 0x0D, 0);
        sendEntries(0x0E, m_whitelist);
    });
    router.add(0x01, 0x0F, Router::AnyLength, [this, &d](const Request&) { // Clear Whitelist
        m_whitelist.clear();
        d.ack(0x01, 0x0F, 0);
    });

    router.add(0x01, 0x11, Router::WholePayload, [this](const Request& r) { deleteBond(r); });
    router.add(0x01, 0x13, Router::AnyLength, [this, &d](const Request&) { // Getting Bond List
        d.ack(0x01, 0x13, 0);
        QByteArray entries;
        for (const Bond& bond : qAsConst(m_bonds))
            entries.append(bond.address).append(char(bond.addressType));
        d.respond(0x01, 0x14, entries);
    });
    router.add(0x01, 0x15, Router::AnyLength, [this, &d](const Request&) { // Clear Bond List
        m_bonds.clear();
        d.ack(0x01, 0x15, 0);
    });

    router.add(0x01, 0x17, Router::WholePayload, [this](const Request& r) { editPeriodicList(r, true); });
    router.add(0x01, 0x19, Router::WholePayload, [this](const Request& r) { editPeriodicList(r, false); });
    router.add(0x01, 0x1B, Router::AnyLength, [this, &d, sendEntries](const Request&) { // Get Periodic Adv List
        d.ack(0x01, 0x1B, 0);
        sendEntries(0x1C, m_periodicList);
    });
    router.add(0x01, 0x1D, Router::AnyLength, [this, &d](const Request&) { // Clear Periodic Adv List
        m_periodicList.clear();
        d.ack(0x01, 0x1D, 0);
    });

    router.add(0x01, 0x7E, Router::AnyLength, [this](const Request&) { sendResolvingList(); });
    router.add(0x01, 0x80, Router::WholePayload, [this](const Request& r) { updatePrivacyMode(r); });
    router.add(0x01, 0x67, Router::WholePayload, [this, &d](const Request& r) { // Local Irk Set
        m_localIrk = r.field(QStringLiteral("key"));
        for (Bond& bond : m_bonds)
            bond.localRpa.clear();
        d.ack(0x01, 0x67, 0);
    });
    router.add(0x01, 0x85, Router::WholePayload, [this](const Request& r) { readResolvableAddress(r); });
}

QString DeviceListsEngine::addBond(const QByteArray& address, quint8 addressType, const QByteArray& peerIrk,
                                   const QByteArray& ltk, bool evictOldest)
{
    if (address.size() != 6 || addressType > 1 || (!peerIrk.isEmpty() && peerIrk.size() != 16))
        return QStringLiteral("a bond takes a 6-byte address, type 0 or 1, and a 16-byte key or none");
    const int at = bondIndex(address, addressType);
    if (at < 0 && m_bonds.size() >= BondListSize) {
        if (!evictOldest)
            return QStringLiteral("the bond list is full");
        m_bonds.removeFirst();
    }
    Bond bond;
    bond.address = address;
    bond.addressType = addressType;
    bond.peerIrk = peerIrk;
    bond.ltk = ltk;
    // Pairing again with a known device replaces its keys.
    if (at >= 0)
        m_bonds[at] = bond;
    else
        m_bonds.append(bond);
    return QString();
}

int DeviceListsEngine::bondIndex(const QByteArray& address, quint8 addressType) const
{
    for (int i = 0; i < m_bonds.size(); ++i) {
        if (m_bonds.at(i).address == address && m_bonds.at(i).addressType == addressType)
            return i;
    }
    return -1;
}

// The status of the ack: refusals as the controller gives them, the list left as it was.
quint8 DeviceListsEngine::editList(QVector<QByteArray>& list, const QByteArray& entry, bool add, int capacity)
{
    const int at = list.indexOf(entry);
    if (add && at >= 0)
        return VirtualDongle::StatusListItemExists;
    if (add && list.size() >= capacity)
        return VirtualDongle::StatusListFull;
    if (!add && at < 0)
        return VirtualDongle::StatusListItemNotFound;
    if (add)
        list.append(entry);
    else
        list.remove(at);
    return 0;
}

void DeviceListsEngine::editWhitelist(const Request& request, bool add)
{
    const QByteArray entry = request.field(QStringLiteral("addr")) + request.field(QStringLiteral("addr_type"));
    const quint8 status = quint8(entry.at(6)) > 1 ? VirtualDongle::StatusInvalidParam
                                                   : editList(m_whitelist, entry, add, WhitelistSize);
    m_dongle.ack(request.module(), request.opcode(), status);
}

void DeviceListsEngine::editPeriodicList(const Request& request, bool add)
{
    const QByteArray entry = request.field(QStringLiteral("addr")) + request.field(QStringLiteral("addr_type"))
                             + request.field(QStringLiteral("adv_sid"));
    const bool valid = quint8(entry.at(6)) <= 1 && quint8(entry.at(7)) <= 0x0F;
    const quint8 status = valid ? editList(m_periodicList, entry, add, PeriodicListSize)
                                : VirtualDongle::StatusInvalidParam;
    m_dongle.ack(request.module(), request.opcode(), status);
}

void DeviceListsEngine::deleteBond(const Request& request)
{
    const int at = bondIndex(request.field(QStringLiteral("addr")),
                             quint8(request.number(QStringLiteral("addr_type"))));
    if (at >= 0)
        m_bonds.remove(at);
    m_dongle.ack(0x01, 0x11, at >= 0 ? 0 : VirtualDongle::StatusListItemNotFound);
}

// Every bond that gave an identity key stands in the resolving list, with the local key.
void DeviceListsEngine::sendResolvingList()
{
    m_dongle.ack(0x01, 0x7E, 0);
    QByteArray entries;
    for (const Bond& bond : qAsConst(m_bonds)) {
        if (bond.peerIrk.isEmpty())
            continue;
        entries.append(bond.address).append(char(bond.addressType)).append(char(bond.privacyMode));
        entries.append(bond.peerIrk).append(m_localIrk);
    }
    // The stack answers in its own module, under the id the tool's page listens for.
    m_dongle.respond(0x01, 0x7F, entries);
}

void DeviceListsEngine::updatePrivacyMode(const Request& request)
{
    const int at = bondIndex(request.field(QStringLiteral("peer_addr")),
                             quint8(request.number(QStringLiteral("peer_addr_type"))));
    const quint8 mode = quint8(request.number(QStringLiteral("privacy_mode")));
    quint8 status = 0;
    if (mode > 1)
        status = VirtualDongle::StatusInvalidParam;
    else if (at < 0 || m_bonds.at(at).peerIrk.isEmpty())
        status = VirtualDongle::StatusListItemNotFound;
    else
        m_bonds[at].privacyMode = mode;
    m_dongle.ack(0x01, 0x80, status);
}

// op_type 0 asks the address this dongle shows that peer, 1 the one the peer shows now.
void DeviceListsEngine::readResolvableAddress(const Request& request)
{
    const quint8 op = quint8(request.number(QStringLiteral("op_type")));
    if (op > 1) {
        m_dongle.ack(0x01, 0x85, VirtualDongle::StatusInvalidParam);
        return;
    }
    m_dongle.ack(0x01, 0x85, 0);
    const int at = bondIndex(request.field(QStringLiteral("peer_addr")),
                             quint8(request.number(QStringLiteral("peer_addr_type"))));
    if (at < 0 || m_bonds.at(at).peerIrk.isEmpty()) {
        m_dongle.respond(0x01, 0x86, {{"status", u8(UnknownIdentity)}, {"op_type", u8(op)}, {"rpa_addr", QByteArray(6, '\0')}});
        return;
    }
    Bond& bond = m_bonds[at];
    QByteArray& rpa = op == 0 ? bond.localRpa : bond.peerRpa;
    if (rpa.isEmpty())
        rpa = BleCrypto::resolvableAddress(reversed(op == 0 ? m_localIrk : bond.peerIrk), m_dongle.random().generate());
    m_dongle.respond(0x01, 0x86, {{"status", u8(0)}, {"op_type", u8(op)}, {"rpa_addr", rpa}});
}
