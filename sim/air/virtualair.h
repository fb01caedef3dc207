#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QObject>
#include <QVector>

#include "link.h"
#include "rftestchannel.h"
#include "virtualadvertiser.h"

class WorldDevice;

// The medium that all simulated dongles share: the advertising sets of the world's devices and
// of the dongles themselves, so that one dongle scans and connects to another, and the links
// between them.
class VirtualAir : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VirtualAir)

public:
    // The air starts with the default world.
    explicit VirtualAir(QObject* parent = nullptr);
    ~VirtualAir() override;

    // Replaces the world's devices, ending their links; the dongles' advertising sets stay.
    void setWorld(QVector<VirtualAdvertiser> devices);
    const QVector<VirtualAdvertiser>& advertisers() const { return m_advertisers; }
    // An advertising set of a dongle, added, or put in the place of the one of the same owner and
    // set: scanners keep their phases when only its data changed.
    void setAdvertiser(const VirtualAdvertiser& advertiser);
    void removeAdvertiser(int owner, int set);
    void removeAdvertisers(int owner);

    // A central connects to the peer of an advertiser; both ends hear of it before this returns.
    void connectTo(const Link::Party& central, const VirtualAdvertiser& target, const Link::Parameters& parameters);

    // The raw channel of the radio test modes.
    RfTestChannel& rfTest() { return m_rfTest; }

signals:
    void changed();

private:
    void removeIf(const std::function<bool(const VirtualAdvertiser&)>& gone);

    QVector<VirtualAdvertiser> m_advertisers;
    std::vector<std::unique_ptr<WorldDevice>> m_devices;
    RfTestChannel m_rfTest;
};
