#include "virtualair.h"

#include <algorithm>

#include "worlddevice.h"
#include "world/worldloader.h"

VirtualAir::VirtualAir(QObject* parent)
    : QObject(parent)
{
    setWorld(WorldLoader::defaultWorld());
}

VirtualAir::~VirtualAir() = default;

void VirtualAir::setWorld(QVector<VirtualAdvertiser> devices)
{
    for (Link* link : findChildren<Link*>(QString(), Qt::FindDirectChildrenOnly)) {
        const bool toTheWorld = std::any_of(m_devices.cbegin(), m_devices.cend(), [link](const auto& device) {
            return link->party(Link::Peripheral).peer == device.get();
        });
        if (toTheWorld)
            link->abandon(Link::Peripheral);
    }
    m_devices.clear();
    for (VirtualAdvertiser& device : devices) {
        // Each device draws its own measurements, the same in every run.
        const quint32 seed = qChecksum(device.address.constData(), uint(device.address.size()));
        m_devices.push_back(std::make_unique<WorldDevice>(device, seed));
        device.peer = m_devices.back().get();
    }
    m_advertisers.erase(std::remove_if(m_advertisers.begin(), m_advertisers.end(),
                                       [](const VirtualAdvertiser& a) { return a.owner < 0; }),
                        m_advertisers.end());
    m_advertisers = devices + m_advertisers;
    emit changed();
}

void VirtualAir::setAdvertiser(const VirtualAdvertiser& advertiser)
{
    for (VirtualAdvertiser& a : m_advertisers) {
        if (a.owner == advertiser.owner && a.set == advertiser.set) {
            a = advertiser;
            return;
        }
    }
    m_advertisers.append(advertiser);
    emit changed();
}

void VirtualAir::removeAdvertiser(int owner, int set)
{
    removeIf([owner, set](const VirtualAdvertiser& a) { return a.owner == owner && a.set == set; });
}

void VirtualAir::removeAdvertisers(int owner)
{
    removeIf([owner](const VirtualAdvertiser& a) { return a.owner == owner; });
}

void VirtualAir::removeIf(const std::function<bool(const VirtualAdvertiser&)>& gone)
{
    const auto from = std::remove_if(m_advertisers.begin(), m_advertisers.end(), gone);
    if (from == m_advertisers.end())
        return; // every scanner would draw its advertisers' phases anew for nothing
    m_advertisers.erase(from, m_advertisers.end());
    emit changed();
}

void VirtualAir::connectTo(const Link::Party& central, const VirtualAdvertiser& target,
                           const Link::Parameters& parameters)
{
    (new Link(central, {target.peer, target.address, target.addressType, target.set}, parameters, target.rssi, this))
        ->open();
}
