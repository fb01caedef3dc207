#include "scannerengine.h"

#include <QTimer>

#include "air/peer.h"
#include "air/virtualair.h"
#include "devicelistsengine.h"
#include "localdeviceengine.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::le16;
using SimFrame::u8;

namespace {

constexpr int TickMs = 5;

// The Flags byte of an advertising payload, 0 when it has none.
quint8 adFlags(const QByteArray& ad)
{
    for (int i = 0; i + 1 < ad.size();) {
        const int length = quint8(ad.at(i));
        if (length == 0)
            break;
        if (quint8(ad.at(i + 1)) == 0x01 && length >= 2 && i + 2 < ad.size())
            return quint8(ad.at(i + 2));
        i += length + 1;
    }
    return 0;
}

} // namespace

ScannerEngine::ScannerEngine(VirtualDongle& dongle, const LocalDeviceEngine& localDevice, const DeviceListsEngine& deviceLists)
    : Engine(dongle)
    , m_localDevice(localDevice)
    , m_deviceLists(deviceLists)
{
    m_tickTimer = new QTimer(this);
    m_tickTimer->setTimerType(Qt::PreciseTimer);
    m_tickTimer->setInterval(TickMs);
    connect(m_tickTimer, &QTimer::timeout, this, &ScannerEngine::tick);
    m_endTimer = new QTimer(this);
    m_endTimer->setSingleShot(true);
    connect(m_endTimer, &QTimer::timeout, this, [this] { stop(1); });
    if (dongle.air())
        connect(dongle.air(), &VirtualAir::changed, this, &ScannerEngine::rescheduleAll);
    m_clock.start();
}

void ScannerEngine::install(Router& router)
{
    router.add(0x01, 0x3D, Router::WholePayload, [this](const Request& r) { // 5_0_Start Scan
        if (m_scanning)
            return m_dongle.ack(0x01, 0x3D, VirtualDongle::StatusDisallowed);
        m_dongle.ack(0x01, 0x3D, 0);
        m_dongle.respond(0x01, 0xF0, {{"status", u8(0)}});
        start(r);
    });
    router.add(0x01, 0x03, Router::AnyLength, [this](const Request&) { // Stop Scan
        if (!m_scanning)
            return m_dongle.ack(0x01, 0x03, VirtualDongle::StatusDisallowed);
        m_dongle.ack(0x01, 0x03, 0);
        stop(0);
    });
}

// A reset or a power cut ends the scan without a word.
void ScannerEngine::reset()
{
    m_scanning = false;
    m_tickTimer->stop();
    m_endTimer->stop();
}

void ScannerEngine::start(const Request& request)
{
    m_scanType = quint8(request.number(QStringLiteral("5_0_scan_type")));
    const int properties = request.number(QStringLiteral("5_0_scan_properties"));
    const int interval = request.number(QStringLiteral("5_0_scan_interval_1m"));
    const int window = request.number(QStringLiteral("5_0_scan_window_1m"));
    const int duration = request.number(QStringLiteral("5_0_scan_duration"));
    m_filterDuplicates = request.number(QStringLiteral("5_0_scan_duplicate_filter_policy")) != 0;
    // Every advertiser of the world sends on the LE 1M PHY: without it nothing is heard.
    m_activeScan = properties & 0x04;
    m_hearChance = (properties & 0x01) && interval > 0 ? qBound(0.0, double(window) / interval, 1.0) : 0.0;
    m_reported.clear();
    m_scanning = true;
    rescheduleAll();
    m_tickTimer->start();
    if (duration > 0)
        m_endTimer->start(duration * 10);
}

void ScannerEngine::stop(quint8 reason)
{
    if (!m_scanning)
        return;
    reset();
    // Reason 0: stopped by the host; 1: the scan's duration ran out.
    m_dongle.respond(0x01, 0x04, {{"status", u8(0)}, {"reason", u8(reason)}});
}

void ScannerEngine::rescheduleAll()
{
    const qint64 now = m_clock.elapsed();
    VirtualAir* air = m_dongle.air();
    const int count = air ? air->advertisers().size() : 0;
    m_nextDue.resize(count);
    for (int i = 0; i < count; ++i) {
        // Advertisers are out of phase with each other, as real ones are.
        const int interval = air->advertisers().at(i).intervalMs;
        m_nextDue[i] = now + m_dongle.random().bounded(qMax(1, interval));
    }
}

bool ScannerEngine::hears(const VirtualAdvertiser& advertiser) const
{
    // A peripheral that takes no further central stops its connectable advertising; directed
    // advertising reaches only the central it names.
    if (advertiser.owner == m_dongle.number() || advertiser.rssi < -100
        || (advertiser.peer && !advertiser.peer->acceptsCentral())
        || (!advertiser.directedTo.isEmpty()
            && advertiser.directedTo != m_localDevice.identityAddress() + char(m_localDevice.identityAddressType())))
        return false;
    const quint8 flags = adFlags(advertiser.advData);
    switch (m_scanType) {
    case 0: // General discovery
        return flags & 0x03;
    case 1: // Limited discovery
        return flags & 0x01;
    case 3: // Selective observer
    case 5: { // Selective connectable discovery
        const QByteArray entry = advertiser.address + char(advertiser.addressType);
        return m_deviceLists.whitelist().contains(entry) && (m_scanType == 3 || advertiser.connectable);
    }
    case 4: // Connectable discovery
        return advertiser.connectable;
    default: // Observer
        return true;
    }
}

void ScannerEngine::tick()
{
    VirtualAir* air = m_dongle.air();
    if (!m_scanning || !air)
        return;
    const qint64 now = m_clock.elapsed();
    const QVector<VirtualAdvertiser>& all = air->advertisers();
    if (m_nextDue.size() != all.size())
        rescheduleAll();
    QRandomGenerator& random = m_dongle.random();
    for (int i = 0; i < all.size() && m_scanning; ++i) {
        if (m_nextDue[i] > now)
            continue;
        // A copy: the host may answer a report at once, with a Reset that changes the air.
        const VirtualAdvertiser a = all.at(i);
        // The advertising interval plus the random delay of 0 to 10 ms that the radio adds.
        m_nextDue[i] = qMax(m_nextDue[i] + a.intervalMs + random.bounded(11), now);
        if (!hears(a) || random.generateDouble() >= m_hearChance)
            continue;
        const bool legacy = a.kind == VirtualAdvertiser::Legacy;
        if (!report(a, legacy ? 1 : 0, a.advData))
            continue;
        // The host may have stopped the scan on hearing the report.
        if (m_scanning && m_activeScan && a.scannable)
            report(a, legacy ? 3 : 2, a.scanResponse);
    }
}

bool ScannerEngine::report(const VirtualAdvertiser& a, quint8 classification, const QByteArray& data)
{
    const QByteArray key = a.address + char(a.addressType) + char(classification);
    if (m_filterDuplicates && m_reported.contains(key))
        return true;

    // A report the link has no room for is missed, as a busy radio misses packets.
    if (!m_dongle.reserveBulk(6 + 17 + 2 + data.size()))
        return false;
    if (m_filterDuplicates)
        m_reported.insert(key);

    const bool legacy = classification == 1 || classification == 3;
    quint8 type = 0x01; // report is complete
    if (a.connectable)
        type |= 0x02;
    if (a.scannable)
        type |= 0x04;
    if (!a.directedTo.isEmpty())
        type |= 0x08;
    const int jitter = m_rssiJitter ? m_dongle.random().bounded(2 * m_rssiJitter + 1) - m_rssiJitter : 0;
    // The tool cuts a length word off the front of the data before it reads the AD structures,
    // though the row names only one field for both.
    m_dongle.respond(0x01, 0x02,
                     {{"addr", a.address},
                      {"addr_type", u8(a.addressType)},
                      {"tx_power", u8(a.txPower)},
                      {"rssi", u8(qBound(-127, a.rssi + jitter, 20))},
                      {"adv_type", u8(type)},
                      {"adv_classification", u8(classification)},
                      {"phy_prim", u8(a.primaryPhy)},
                      {"phy_second", u8(legacy ? 0 : a.secondaryPhy)},
                      {"adv_sid", u8(legacy ? 0xFF : a.sid)},
                      {"period_adv_intv", le16(legacy ? 0 : a.periodicIntervalMs * 4 / 5)}, // 1.25 ms units
                      {"per_sync_idx", u8(0xFF)}, // not synchronised
                      {"adv_data_response_data", le16(data.size()) + data}});
    return true;
}
