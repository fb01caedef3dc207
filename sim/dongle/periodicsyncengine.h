#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QVector>

#include "engine.h"

class DeviceListsEngine;
class QTimer;
class Request;
class ScannerEngine;
struct VirtualAdvertiser;

// Periodic advertising sync: an attempt finds its advertiser in the air while the dongle scans,
// then the train's data comes up as periodic reports at its interval until the host stops the
// sync or the train is not heard for the sync's timeout.
class PeriodicSyncEngine final : public QObject, public Engine
{
    Q_OBJECT
    Q_DISABLE_COPY(PeriodicSyncEngine)

public:
    static constexpr int MaxSyncs = 4;
    static constexpr int TickMs = 10;

    PeriodicSyncEngine(VirtualDongle& dongle, const DeviceListsEngine& deviceLists, const ScannerEngine& scanner);

    void install(Router& router) override;
    void reset() override;

    // The train of a standing sync is lost, as out of range: the host hears it at once.
    bool lose(quint8 index);

private:
    struct Target
    {
        QByteArray address; // wire order
        quint8 addressType = 0;
        quint8 sid = 0;
    };
    struct Sync
    {
        quint8 index = 0;
        quint16 handle = 0;
        Target target;
        int timeoutMs = 0;
        int skip = 0;
        int event = 0;
        qint64 lastHeardMs = 0;
        qint64 nextEventMs = 0;
    };
    struct Attempt
    {
        quint8 index = 0;
        bool fromList = false;
        Target target;
        int skip = 0;
        int timeoutMs = 0;
        qint64 startedMs = 0;
    };

    void start(const Request& request);
    void stop(const Request& request);
    void tick();
    void establish(const VirtualAdvertiser& advertiser);
    void report(Sync& sync, const VirtualAdvertiser& advertiser);
    const VirtualAdvertiser* find(const Target& target) const;
    const VirtualAdvertiser* candidate() const;
    bool indexInUse(quint8 index) const;
    void updateTimer();

    const DeviceListsEngine& m_deviceLists;
    const ScannerEngine& m_scanner;
    QTimer* m_timer = nullptr;
    QElapsedTimer m_clock;
    QVector<Sync> m_syncs;
    QVector<Attempt> m_attempt; // at most one
    quint16 m_nextHandle = 1;
};
