#include "virtualair.h"

#include <algorithm>

#include "world/worldloader.h"

VirtualAir::VirtualAir(QObject* parent)
    : QObject(parent)
{
    setWorld(WorldLoader::defaultWorld());
}

void VirtualAir::setWorld(const QVector<VirtualAdvertiser>& devices)
{
    m_advertisers.erase(std::remove_if(m_advertisers.begin(), m_advertisers.end(),
                                       [](const VirtualAdvertiser& a) { return a.owner < 0; }),
                        m_advertisers.end());
    m_advertisers = devices + m_advertisers;
    emit changed();
}

void VirtualAir::addAdvertiser(const VirtualAdvertiser& advertiser)
{
    m_advertisers.append(advertiser);
    emit changed();
}

void VirtualAir::removeAdvertisers(int owner)
{
    m_advertisers.erase(std::remove_if(m_advertisers.begin(), m_advertisers.end(),
                                       [owner](const VirtualAdvertiser& a) { return a.owner == owner; }),
                        m_advertisers.end());
    emit changed();
}

bool VirtualAir::isLinked(const QByteArray& address, quint8 addressType) const
{
    // Every scan asks for every advertising event: the common case of no link stays cheap.
    return !m_links.isEmpty() && m_links.contains(address + char(addressType));
}

bool VirtualAir::link(const QByteArray& address, quint8 addressType)
{
    const QByteArray key = address + char(addressType);
    if (m_links.contains(key))
        return false;
    m_links.insert(key);
    return true;
}

void VirtualAir::unlink(const QByteArray& address, quint8 addressType)
{
    m_links.remove(address + char(addressType));
}
