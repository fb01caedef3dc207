#pragma once

#include <QByteArray>
#include <QObject>
#include <QSet>
#include <QVector>

#include "virtualadvertiser.h"

// The world that all simulated dongles share: what they can hear, and what they advertise
// themselves, so that one dongle can scan another.
class VirtualAir : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VirtualAir)

public:
    // The air starts with the default world.
    explicit VirtualAir(QObject* parent = nullptr);

    // Replaces the world's devices; the dongles' advertising sets stay.
    void setWorld(const QVector<VirtualAdvertiser>& devices);
    const QVector<VirtualAdvertiser>& advertisers() const { return m_advertisers; }
    // Advertising sets of dongles, removed again by owner.
    void addAdvertiser(const VirtualAdvertiser& advertiser);
    void removeAdvertisers(int owner);

    // Peers in a connection, by address and type. A peer takes one central at a time and does
    // not advertise while linked, as most sensors do.
    bool isLinked(const QByteArray& address, quint8 addressType) const;
    bool link(const QByteArray& address, quint8 addressType);
    void unlink(const QByteArray& address, quint8 addressType);

signals:
    void changed();

private:
    QVector<VirtualAdvertiser> m_advertisers;
    QSet<QByteArray> m_links; // address + type
};
