#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QVector>

#include "engine.h"

class DeviceListsEngine;
class LocalDeviceEngine;
class QTimer;
class Request;
struct VirtualAdvertiser;

// Scanning: the advertising events of the air become scan reports, as many as the scan's
// window, its filters and the link's budget let through.
class ScannerEngine final : public QObject, public Engine
{
    Q_OBJECT
    Q_DISABLE_COPY(ScannerEngine)

public:
    ScannerEngine(VirtualDongle& dongle, const LocalDeviceEngine& localDevice, const DeviceListsEngine& deviceLists);

    void install(Router& router) override;
    void reset() override;

    bool isScanning() const { return m_scanning; }
    void setRssiJitter(int db) { m_rssiJitter = qMax(0, db); }

private:
    void start(const Request& request);
    void stop(quint8 reason);
    void tick();
    void rescheduleAll();
    bool hears(const VirtualAdvertiser& advertiser) const;
    bool report(const VirtualAdvertiser& advertiser, quint8 classification, const QByteArray& data);

    const LocalDeviceEngine& m_localDevice;
    const DeviceListsEngine& m_deviceLists;
    QTimer* m_tickTimer = nullptr;
    QTimer* m_endTimer = nullptr;
    QElapsedTimer m_clock;
    bool m_scanning = false;
    bool m_activeScan = false;
    bool m_filterDuplicates = false;
    quint8 m_scanType = 2;
    double m_hearChance = 1.0;
    QVector<qint64> m_nextDue; // per advertiser of the air, ms on m_clock
    QSet<QByteArray> m_reported;
    int m_rssiJitter = 3;
};
