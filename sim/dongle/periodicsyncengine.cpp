#include "periodicsyncengine.h"

#include <QTimer>

#include "air/virtualadvertiser.h"
#include "air/virtualair.h"
#include "devicelistsengine.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "scannerengine.h"
#include "virtualdongle.h"

using SimFrame::le16;
using SimFrame::u8;

namespace {

// Connection failed to be established, the synchronisation timeout of the link layer.
constexpr quint8 SyncTimeout = VirtualDongle::LinkLayerStatusBase + 0x3E;
constexpr quint8 ClockAccuracy = 5; // 50 ppm, the code the core gives it

} // namespace

PeriodicSyncEngine::PeriodicSyncEngine(VirtualDongle& dongle, const DeviceListsEngine& deviceLists,
                                       const ScannerEngine& scanner)
    : Engine(dongle)
    , m_deviceLists(deviceLists)
    , m_scanner(scanner)
    , m_timer(new QTimer(this))
{
    m_timer->setInterval(TickMs);
    connect(m_timer, &QTimer::timeout, this, &PeriodicSyncEngine::tick);
    m_clock.start();
}

void PeriodicSyncEngine::install(Router& router)
{
    router.add(0x01, 0x1F, Router::WholePayload, [this](const Request& r) { start(r); });
    router.add(0x01, 0x22, Router::WholePayload, [this](const Request& r) { stop(r); });
}

// Syncs end with the reset, and nobody is told.
void PeriodicSyncEngine::reset()
{
    m_syncs.clear();
    m_attempt.clear();
    updateTimer();
}

bool PeriodicSyncEngine::indexInUse(quint8 index) const
{
    for (const Sync& sync : m_syncs) {
        if (sync.index == index)
            return true;
    }
    return !m_attempt.isEmpty() && m_attempt.first().index == index;
}

void PeriodicSyncEngine::start(const Request& request)
{
    const quint8 index = quint8(request.number(QStringLiteral("index")));
    const int timeout = request.number(QStringLiteral("sync_timeout"));
    const int type = request.number(QStringLiteral("type"));
    Attempt attempt;
    attempt.index = index;
    attempt.fromList = type == 1;
    attempt.target.address = request.field(QStringLiteral("addr"));
    attempt.target.addressType = quint8(request.number(QStringLiteral("addr_type")));
    attempt.target.sid = quint8(request.number(QStringLiteral("adv_sid")));
    attempt.skip = request.number(QStringLiteral("skip"));
    attempt.timeoutMs = timeout * 10;
    quint8 status = 0;
    // The core's limits: a timeout of 100 ms to 163.84 s, a skip up to 499, a SID up to 15.
    if (timeout < 0x000A || timeout > 0x4000 || type > 1 || attempt.skip > 0x01F3
        || (!attempt.fromList && (attempt.target.addressType > 1 || attempt.target.sid > 0x0F)))
        status = VirtualDongle::StatusInvalidParam;
    else if (!m_attempt.isEmpty() || indexInUse(index))
        status = VirtualDongle::StatusDisallowed; // one attempt at a time, each index once
    else if (m_syncs.size() >= MaxSyncs)
        status = VirtualDongle::StatusNoResources;
    m_dongle.ack(0x01, 0x1F, status);
    if (status != 0)
        return;
    attempt.startedMs = m_clock.elapsed();
    m_attempt = {attempt};
    updateTimer();
}

// Stops the attempt of that index, or ends its sync.
void PeriodicSyncEngine::stop(const Request& request)
{
    const quint8 index = quint8(request.number(QStringLiteral("index")));
    if (!indexInUse(index)) {
        m_dongle.ack(0x01, 0x22, VirtualDongle::StatusInvalidParam);
        return;
    }
    if (!m_attempt.isEmpty() && m_attempt.first().index == index)
        m_attempt.clear();
    for (int i = 0; i < m_syncs.size(); ++i) {
        if (m_syncs.at(i).index == index)
            m_syncs.remove(i--);
    }
    m_dongle.ack(0x01, 0x22, 0);
    m_dongle.respond(0x01, 0x23, {{"index", u8(index)}, {"status", u8(0)}});
    updateTimer();
}

bool PeriodicSyncEngine::lose(quint8 index)
{
    for (int i = 0; i < m_syncs.size(); ++i) {
        if (m_syncs.at(i).index == index) {
            m_syncs.remove(i);
            m_dongle.respond(0x01, 0x82, {{"index", u8(index)}});
            updateTimer();
            return true;
        }
    }
    return false;
}

const VirtualAdvertiser* PeriodicSyncEngine::find(const Target& target) const
{
    if (!m_dongle.air())
        return nullptr;
    for (const VirtualAdvertiser& a : m_dongle.air()->advertisers()) {
        if (a.periodicIntervalMs > 0 && a.owner != m_dongle.number() && a.address == target.address
            && a.addressType == target.addressType && a.sid == target.sid)
            return &a;
    }
    return nullptr;
}

// The advertiser the attempt syncs to: the one it names, or the first of the list that is heard.
const VirtualAdvertiser* PeriodicSyncEngine::candidate() const
{
    const Attempt& attempt = m_attempt.first();
    if (!attempt.fromList)
        return find(attempt.target);
    for (const QByteArray& entry : m_deviceLists.periodicList()) {
        if (const VirtualAdvertiser* a = find({entry.left(6), quint8(entry.at(6)), quint8(entry.at(7))}))
            return a;
    }
    return nullptr;
}

void PeriodicSyncEngine::tick()
{
    const qint64 now = m_clock.elapsed();
    if (!m_attempt.isEmpty()) {
        // A controller syncs only while it scans.
        const VirtualAdvertiser* found = m_scanner.isScanning() ? candidate() : nullptr;
        if (found) {
            establish(*found);
        } else if (now - m_attempt.first().startedMs >= m_attempt.first().timeoutMs) {
            const Attempt attempt = m_attempt.takeFirst();
            m_dongle.respond(0x01, 0x20, {{"index", u8(attempt.index)}, {"status", u8(SyncTimeout)}, {"phy", u8(0)},
                                          {"intv", le16(0)}, {"adv_sid", u8(attempt.target.sid)},
                                          {"clk_acc", u8(0)}, {"peer_addr", attempt.target.address.leftJustified(6, '\0', true)},
                                          {"addr_type", u8(attempt.target.addressType)}, {"sync_handle", le16(0)}});
        }
    }
    for (int i = 0; i < m_syncs.size(); ++i) {
        Sync& sync = m_syncs[i];
        if (const VirtualAdvertiser* a = find(sync.target)) {
            sync.lastHeardMs = now;
            if (now >= sync.nextEventMs)
                report(sync, *a);
        } else if (now - sync.lastHeardMs >= sync.timeoutMs) {
            const quint8 index = sync.index;
            m_syncs.remove(i--);
            m_dongle.respond(0x01, 0x82, {{"index", u8(index)}});
        }
    }
    updateTimer();
}

void PeriodicSyncEngine::establish(const VirtualAdvertiser& a)
{
    const Attempt attempt = m_attempt.takeFirst();
    Sync sync;
    sync.index = attempt.index;
    sync.handle = m_nextHandle;
    m_nextHandle = m_nextHandle >= 0x0EFF ? 1 : m_nextHandle + 1;
    sync.target = {a.address, a.addressType, a.sid};
    sync.timeoutMs = attempt.timeoutMs;
    sync.skip = attempt.skip;
    sync.lastHeardMs = m_clock.elapsed();
    sync.nextEventMs = sync.lastHeardMs + a.periodicIntervalMs;
    m_syncs.append(sync);
    m_dongle.respond(0x01, 0x20, {{"index", u8(sync.index)}, {"status", u8(0)}, {"phy", u8(a.secondaryPhy)},
                                  {"intv", le16(a.periodicIntervalMs * 4 / 5)}, {"adv_sid", u8(a.sid)},
                                  {"clk_acc", u8(ClockAccuracy)}, {"peer_addr", a.address},
                                  {"addr_type", u8(a.addressType)}, {"sync_handle", le16(sync.handle)}});
}

// One periodic event; the host hears every (skip + 1)th, and a report the link has no room
// for is missed.
void PeriodicSyncEngine::report(Sync& sync, const VirtualAdvertiser& a)
{
    sync.nextEventMs += a.periodicIntervalMs;
    // A train that the tick fell far behind starts again from now rather than in a burst.
    if (sync.nextEventMs < m_clock.elapsed())
        sync.nextEventMs = m_clock.elapsed() + a.periodicIntervalMs;
    if (sync.event++ % (sync.skip + 1) != 0)
        return;
    const QByteArray& data = a.periodicData;
    if (!m_dongle.reserveBulk(6 + 17 + 2 + data.size()))
        return;
    // The same layout as a scan report, with a length word in front of the data.
    m_dongle.respond(0x01, 0x02,
                     {{"addr", a.address},
                      {"addr_type", u8(a.addressType)},
                      {"tx_power", u8(a.txPower)},
                      {"rssi", u8(a.rssi)},
                      {"adv_type", u8(0x01)}, // complete
                      {"adv_classification", u8(4)},
                      {"phy_prim", u8(a.primaryPhy)},
                      {"phy_second", u8(a.secondaryPhy)},
                      {"adv_sid", u8(a.sid)},
                      {"period_adv_intv", le16(a.periodicIntervalMs * 4 / 5)},
                      {"per_sync_idx", u8(sync.index)},
                      {"adv_data_response_data", le16(data.size()) + data}});
}

void PeriodicSyncEngine::updateTimer()
{
    const bool busy = !m_attempt.isEmpty() || !m_syncs.isEmpty();
    if (busy && !m_timer->isActive())
        m_timer->start();
    else if (!busy)
        m_timer->stop();
}
