#include "worlddevice.h"

WorldDevice::WorldDevice(const QJsonArray& services)
    : m_database(services)
{
}

void WorldDevice::linkUp(Link* link)
{
    m_link = link;
}

void WorldDevice::linkDown(Link* link, quint8)
{
    m_database.forget(link);
    m_link = nullptr;
}

void WorldDevice::received(Link*, quint16, const QByteArray&)
{
}
