#pragma once

#include <memory>
#include <vector>

#include <QObject>
#include <QVector>

#include "link.h"
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
    // Advertising sets of dongles, removed again by owner.
    void addAdvertiser(const VirtualAdvertiser& advertiser);
    void removeAdvertisers(int owner);

    // A central connects to the peer of an advertiser; both ends hear of it before this returns.
    void connectTo(const Link::Party& central, const VirtualAdvertiser& target, const Link::Parameters& parameters);

signals:
    void changed();

private:
    QVector<VirtualAdvertiser> m_advertisers;
    std::vector<std::unique_ptr<WorldDevice>> m_devices;
};
