#include "worlddevice.h"

WorldDevice::WorldDevice(const QJsonArray& services)
    : m_services(services)
{
}

void WorldDevice::linkUp(Link* link)
{
    m_link = link;
    if (!m_database)
        m_database.emplace(m_services);
}

void WorldDevice::linkDown(Link* link, quint8)
{
    if (m_database)
        m_database->forget(link);
    m_link = nullptr;
}

void WorldDevice::received(Link*, quint16, const QByteArray&)
{
}
