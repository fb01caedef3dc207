#include "securityengine.h"

#include "connectionmanager.h"
#include "devicelistsengine.h"
#include "localdeviceengine.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "virtualdongle.h"

using SimFrame::u8;

namespace {

constexpr quint8 StatusBusy = 6;
constexpr int LinkKeyBytes = 16;

QByteArray le32(quint32 value)
{
    QByteArray bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        bytes[i] = char((value >> (8 * i)) & 0xFF);
    return bytes;
}

} // namespace

SecurityEngine::SecurityEngine(VirtualDongle& dongle, LocalDeviceEngine& localDevice, DeviceListsEngine& deviceLists,
                               ConnectionManager& connections)
    : Engine(dongle)
    , m_localDevice(localDevice)
    , m_deviceLists(deviceLists)
    , m_connections(connections)
{
    m_connections.setChannelHandler(SecurityManager::Channel, [this](int condix, const QByteArray& data) {
        const auto it = m_sessions.find(condix);
        if (it != m_sessions.end())
            it->second.manager->received(data);
    });
}

SecurityEngine::~SecurityEngine() = default;

void SecurityEngine::install(Router& router)
{
    router.add(0x02, 0x01, Router::WholePayload, [this](const Request& r) { setParameters(r); });
    router.add(0x02, 0x03, Router::WholePayload, [this](const Request& r) { startPairing(r); });
    router.add(0x02, 0x07, Router::WholePayload, [this](const Request& r) { confirm(r); });
    router.add(0x02, 0x09, Router::WholePayload, [this](const Request& r) {
        m_parameters.pairable = r.number(QStringLiteral("pair_enable_flag")) != 0;
        m_dongle.ack(0x02, 0x09, 0);
    });
    router.add(0x02, 0x0A, Router::WholePayload, [this](const Request& r) { linkKey(r); });
}

// What the host set stays; the pairings went with the links.
void SecurityEngine::reset()
{
    for (auto& entry : m_sessions)
        entry.second.question.reset();
}

void SecurityEngine::powerCycle()
{
    m_parameters = SecurityManager::Parameters();
    m_sessions.clear();
}

void SecurityEngine::linkOpened(int condix, Link* link)
{
    Session& session = m_sessions[condix];
    session.link = link;
    session.manager = std::make_unique<SecurityManager>(link, link->endOf(&m_connections), handlersFor(condix));
}

void SecurityEngine::linkEncrypted(int condix)
{
    const auto it = m_sessions.find(condix);
    if (it != m_sessions.end())
        it->second.manager->encryptionChanged();
}

void SecurityEngine::linkClosed(int condix)
{
    m_sessions.erase(condix);
}

std::optional<quint32> SecurityEngine::shownPasskey(int condix) const
{
    const auto it = m_sessions.find(condix);
    return it == m_sessions.end() ? std::nullopt : it->second.manager->shownPasskey();
}

std::optional<quint32> SecurityEngine::peerPasskey() const
{
    for (const auto& entry : m_sessions) {
        const Link* link = entry.second.link;
        const Peer* far = link->party(Link::other(link->endOf(&m_connections))).peer;
        if (const std::optional<quint32> shown = far->shownPasskey(link))
            return shown;
    }
    return std::nullopt;
}

SecurityManager::Handlers SecurityEngine::handlersFor(int condix)
{
    SecurityManager::Handlers handlers;
    handlers.parameters = [this] { return m_parameters; };
    handlers.identity = [this] {
        SecurityManager::Identity identity;
        identity.irk = m_deviceLists.localIrk();
        identity.address = m_localDevice.identityAddress();
        identity.addressType = m_localDevice.identityAddressType();
        return identity;
    };
    handlers.requested = [this, condix] { ask(condix, PeerRequest, QByteArray()); };
    handlers.passkeyWanted = [this, condix](bool display) {
        ask(condix, Passkey, QByteArray(1, char(display ? PasskeyShow : PasskeyType)));
    };
    handlers.compare = [this, condix](quint32 value) { ask(condix, Comparison, le32(value)); };
    handlers.finished = [this, condix](quint8 reason, const SecurityManager::Outcome& outcome) {
        finished(condix, reason, outcome);
    };
    return handlers;
}

// Receiving Encryption Request: the type, what the question needs, and the link last.
void SecurityEngine::ask(int condix, Question question, const QByteArray& detail)
{
    m_sessions[condix].question = question;
    m_dongle.respond(0x02, 0x06, char(question) + detail + char(condix));
}

// Security levels 0 to 3 are mode 1's levels 1 to 4, 4 and 5 mode 2's: level 3 and up of mode 1,
// and mode 2's level 2, ask for authentication; mode 1 level 4 for Secure Connections too.
void SecurityEngine::setParameters(const Request& r)
{
    const int level = r.number(QStringLiteral("device_sec_level"));
    SecurityManager::Parameters p = m_parameters;
    p.io = quint8(r.number(QStringLiteral("device_io_capabilities")));
    p.bond = r.number(QStringLiteral("use_bond"));
    p.mitm = r.number(QStringLiteral("use_mitm"));
    p.secureConnections = r.number(QStringLiteral("use_secure_connection"));
    p.keypress = r.number(QStringLiteral("use_keypress_notify"));
    p.maxKeySize = r.number(QStringLiteral("encryption_key_size"));
    p.initiatorKeys = quint8(r.number(QStringLiteral("initial_key_distribution")));
    p.responderKeys = quint8(r.number(QStringLiteral("response_key_distribution")));
    const bool flagsOk = r.number(QStringLiteral("use_bond")) <= 1 && r.number(QStringLiteral("use_mitm")) <= 1
        && r.number(QStringLiteral("use_secure_connection")) <= 1 && r.number(QStringLiteral("use_keypress_notify")) <= 1;
    if (level > 5 || p.io > SecurityManager::KeyboardDisplay || !flagsOk || p.maxKeySize < 7 || p.maxKeySize > 16
        || p.initiatorKeys > 7 || p.responderKeys > 7) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidParam);
        m_dongle.sendLog(r.name() + QStringLiteral(": a value is out of its range"));
        return;
    }
    p.mitmRequired = level == 2 || level == 3 || level == 5;
    p.secureConnectionsRequired = level == 3;
    m_parameters = p;
    m_dongle.ack(r.module(), r.opcode(), 0);
}

SecurityEngine::Session* SecurityEngine::sessionOf(const Request& r, int condix)
{
    const auto it = m_sessions.find(condix);
    if (it != m_sessions.end())
        return &it->second;
    m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidConnIdx);
    return nullptr;
}

void SecurityEngine::startPairing(const Request& r)
{
    Session* session = sessionOf(r, r.number(QStringLiteral("condix")));
    if (!session)
        return;
    if (!m_parameters.pairable)
        return m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusDisallowed);
    if (session->manager->isPairing())
        return m_dongle.ack(r.module(), r.opcode(), StatusBusy);
    m_dongle.ack(r.module(), r.opcode(), 0);
    session->manager->start();
}

// Sending Confirm Information: the type, whether the user agreed, a passkey for type 1, and the
// link last.
void SecurityEngine::confirm(const Request& r)
{
    const QByteArray& payload = r.payload();
    const quint8 type = quint8(payload.at(0));
    const int expected = type == Passkey ? 7 : 3;
    if ((type != PeerRequest && type != Passkey && type != Comparison) || payload.size() != expected) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidParam);
        m_dongle.sendLog(r.name() + QStringLiteral(": no answer of type %1 and %2 bytes").arg(type).arg(payload.size()));
        return;
    }
    Session* session = sessionOf(r, quint8(payload.at(payload.size() - 1)));
    if (!session)
        return;
    if (session->question != Question(type))
        return m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusDisallowed);
    session->question.reset();
    m_dongle.ack(r.module(), r.opcode(), 0);
    const bool accept = payload.at(1) != 0;
    if (type == PeerRequest) {
        session->manager->acceptPairing(accept);
    } else if (type == Comparison) {
        session->manager->compared(accept);
    } else {
        quint32 passkey = 0;
        for (int i = 0; i < 4; ++i)
            passkey |= quint32(quint8(payload.at(2 + i))) << (8 * i);
        session->manager->passkey(accept, passkey);
    }
}

// The key of the link's pairing, or else that of the bond with its far end.
void SecurityEngine::linkKey(const Request& r)
{
    const int condix = r.number(QStringLiteral("condix"));
    Session* session = sessionOf(r, condix);
    if (!session)
        return;
    QByteArray key = session->key;
    const Link::Party& far = session->link->party(Link::other(session->link->endOf(&m_connections)));
    for (const DeviceListsEngine::Bond& bond : m_deviceLists.bonds()) {
        if (key.isEmpty() && bond.address == far.address && bond.addressType == far.addressType)
            key = bond.ltk;
    }
    if (key.size() != LinkKeyBytes)
        return m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusListItemNotFound);
    m_dongle.ack(r.module(), r.opcode(), 0);
    m_dongle.respond(0x02, 0x0A, {{"ltk", key}, {"condix", u8(condix)}});
}

void SecurityEngine::finished(int condix, quint8 reason, const SecurityManager::Outcome& outcome)
{
    Session& session = m_sessions[condix];
    session.question.reset();
    if (reason == SecurityManager::Success) {
        session.key = outcome.security.key;
        if (outcome.bonded) {
            const QString refused = m_deviceLists.addBond(outcome.peer.address, outcome.peer.addressType, outcome.peer.irk,
                                                          session.key, true);
            if (!refused.isEmpty())
                m_dongle.sendLog(QStringLiteral("bond not kept: ") + refused);
        }
    }
    m_dongle.respond(0x02, 0x04, {{"result", u8(reason)}, {"condix", u8(condix)}});
}
