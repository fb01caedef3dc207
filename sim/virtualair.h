#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVector>

// One advertiser in the virtual air: a peripheral of the world file or an advertising set of a
// simulated dongle.
struct VirtualAdvertiser {
    enum Kind { Legacy, Extended };

    QString name;
    QByteArray address; // 6 bytes in wire order, least significant first
    quint8 addressType = 1;
    Kind kind = Legacy;
    bool connectable = true;
    bool scannable = true;
    int intervalMs = 100;
    qint8 txPower = 127; // 127: not available
    qint8 rssi = -60;
    quint8 sid = 0;
    quint8 primaryPhy = 1;
    quint8 secondaryPhy = 2; // extended only; legacy reports leave it to the tool
    int periodicIntervalMs = 0; // 0: not a periodic advertiser
    QByteArray advData;
    QByteArray scanResponse;
    QByteArray periodicData;
    // The GATT database the device will serve once GATT is simulated; kept as written.
    QJsonArray services;
    // -1 for a device of the world; otherwise the number of the dongle that advertises.
    int owner = -1;
};

// The world that all simulated dongles share: what they can hear, and what they advertise
// themselves, so that one dongle can scan another.
class VirtualAir : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VirtualAir)

public:
    explicit VirtualAir(QObject* parent = nullptr);

    // Replaces the world's devices with those of a JSON world file.
    bool loadWorld(const QString& path, QString* error);
    bool loadWorldJson(const QByteArray& json, QString* error);
    void loadDefaultWorld();

    const QVector<VirtualAdvertiser>& advertisers() const { return m_advertisers; }
    // Advertising sets of dongles, removed again by owner.
    void addAdvertiser(const VirtualAdvertiser& advertiser);
    void removeAdvertisers(int owner);

    static QVector<VirtualAdvertiser> defaultWorld();

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
