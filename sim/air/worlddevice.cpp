#include "worlddevice.h"

#include <QRandomGenerator>

#include "att.h"
#include "blecrypto.h"

WorldDevice::WorldDevice(const VirtualAdvertiser& device, quint32 seed)
    : m_services(device.services)
    , m_controller(device.controller)
    , m_seed(seed)
    , m_l2capServices(device.l2cap)
    , m_l2capChannels(device.l2capChannels)
    , m_cis(device.cis)
    , m_securityParameters(device.security)
    , m_passkey(device.passkey)
{
}

// The server goes before the database it serves.
WorldDevice::~WorldDevice()
{
    m_server.reset();
}

void WorldDevice::linkUp(Link* link)
{
    m_link = link;
    if (!m_database) {
        m_database.emplace(m_services);
        m_server = std::make_unique<AttributeServer>(&*m_database, m_seed);
    }
    m_server->linkUp(link, link->endOf(this));
    m_l2cap = std::make_unique<L2capServer>(link, link->endOf(this), m_l2capServices, m_l2capChannels);
    m_streams = std::make_unique<IsoStreams>(link, link->endOf(this), streamHandlers());
    m_security = std::make_unique<SecurityManager>(link, link->endOf(this), securityHandlers());
}

SecurityManager::Handlers WorldDevice::securityHandlers()
{
    SecurityManager::Handlers handlers;
    handlers.parameters = [this] { return m_securityParameters; };
    // Its identity key is its own, made from its address, so that it stays the same.
    handlers.identity = [this] {
        SecurityManager::Identity identity;
        const Link::Party& self = m_link->party(m_link->endOf(this));
        identity.address = self.address;
        identity.addressType = self.addressType;
        identity.irk = BleCrypto::e(QByteArray(16, '\0'), (self.address + QByteArray(10, '\x5A')));
        return identity;
    };
    handlers.requested = [this] { m_security->acceptPairing(true); };
    handlers.passkeyWanted = [this](bool display) {
        if (!display && m_passkey < 0)
            return typePasskey(m_link);
        const quint32 passkey = m_passkey >= 0 ? quint32(m_passkey) : QRandomGenerator::global()->bounded(1000000u);
        m_security->passkey(true, passkey);
    };
    handlers.compare = [this](quint32) { m_security->compared(true); };
    handlers.finished = [](quint8, const SecurityManager::Outcome&) {};
    return handlers;
}

void WorldDevice::typePasskey(Link* link)
{
    if (!m_security || !m_security->isPairing())
        return;
    const Peer* far = link->party(Link::other(link->endOf(this))).peer;
    if (const std::optional<quint32> shown = far->shownPasskey(link))
        return m_security->passkey(true, *shown);
    link->after(1, [this, link] { typePasskey(link); });
}

std::optional<quint32> WorldDevice::shownPasskey(const Link* link) const
{
    return m_security && link == m_link ? m_security->shownPasskey() : std::nullopt;
}

// A device that takes streams takes every one its central asks for, and on each sends an SDU at
// every event of its own: what it received, cut to its SDU size, in order, or else a pattern that
// counts from the sequence number. A device without streams knows nothing of them.
IsoStreams::Handlers WorldDevice::streamHandlers()
{
    IsoStreams::Handlers handlers;
    if (m_cis)
        handlers.requested = [this](const IsoStreams::Stream& stream) { m_streams->accept(stream.key()); };
    handlers.established = [](const IsoStreams::Stream&) {};
    handlers.failed = [](quint16, quint8) {};
    handlers.ended = [](quint16, quint8) {};
    handlers.received = [this](quint16 key, quint16, quint32, const QByteArray& sdu) {
        const IsoStreams::Stream* stream = m_streams->stream(key);
        const int size = stream->maxSdu[m_streams->end()];
        if (size > 0 && m_streams->queued(key) < MaxEchoes)
            m_streams->send(key, sdu.left(size));
    };
    handlers.generate = [this](const IsoStreams::Stream& stream, quint16 sequence) {
        QByteArray sdu(stream.maxSdu[m_streams->end()], 0);
        for (int i = 0; i < sdu.size(); ++i)
            sdu[i] = char(sequence + i);
        return sdu;
    };
    return handlers;
}

void WorldDevice::linkDown(Link* link, quint8)
{
    if (m_server)
        m_server->linkDown(link);
    m_l2cap.reset();
    m_streams.reset();
    m_security.reset();
    m_link = nullptr;
}

void WorldDevice::received(Link* link, quint16 channel, const QByteArray& data)
{
    if (channel == Att::Channel) {
        if (m_server && !data.isEmpty() && Att::toServer(quint8(data.at(0))))
            m_server->received(link, data);
    } else if (channel == SecurityManager::Channel) {
        if (m_security)
            m_security->received(data);
    } else if (channel == IsoStreams::ControlChannel || channel == IsoStreams::StreamChannel) {
        if (m_streams)
            m_streams->received(channel, data);
    } else if (m_l2cap) {
        m_l2cap->received(channel, data);
    }
}

void WorldDevice::parametersRequested(Link* link, const Link::ParameterRequest&)
{
    link->answerRequest(!link->isUpdating());
}

void WorldDevice::linkChanged(Link*, Link::Change change, quint8)
{
    if (change == Link::EncryptionChanged && m_security)
        m_security->encryptionChanged();
}
