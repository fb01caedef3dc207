#include "worlddevice.h"

WorldDevice::WorldDevice(const QJsonArray& services, const ControllerInfo& controller)
    : m_services(services)
    , m_controller(controller)
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

void WorldDevice::parametersRequested(Link* link, const Link::ParameterRequest&)
{
    link->answerRequest(!link->isUpdating());
}

void WorldDevice::linkChanged(Link*, Link::Change, quint8)
{
}
