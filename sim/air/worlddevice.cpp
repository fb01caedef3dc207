#include "worlddevice.h"

#include "att.h"

WorldDevice::WorldDevice(const VirtualAdvertiser& device, quint32 seed)
    : m_services(device.services)
    , m_controller(device.controller)
    , m_seed(seed)
    , m_l2capServices(device.l2cap)
    , m_l2capChannels(device.l2capChannels)
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
}

void WorldDevice::linkDown(Link* link, quint8)
{
    if (m_server)
        m_server->linkDown(link);
    m_l2cap.reset();
    m_link = nullptr;
}

void WorldDevice::received(Link* link, quint16 channel, const QByteArray& data)
{
    if (channel == Att::Channel) {
        if (m_server && !data.isEmpty() && Att::toServer(quint8(data.at(0))))
            m_server->received(link, data);
    } else if (m_l2cap) {
        m_l2cap->received(channel, data);
    }
}

void WorldDevice::parametersRequested(Link* link, const Link::ParameterRequest&)
{
    link->answerRequest(!link->isUpdating());
}

void WorldDevice::linkChanged(Link*, Link::Change, quint8)
{
}
