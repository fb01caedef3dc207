#include "virtualdongle.h"

#include <algorithm>

#include <QTimer>

#include "commandtable.h"
#include "simframe.h"
#include "virtualair.h"

namespace {

constexpr int ScanTickMs = 5;
// Reports may take this share of the link: a real dongle misses packets rather than flood it,
// and the rest stays free for acks and heartbeats.
constexpr double ReportShareOfLink = 0.7;
constexpr double BudgetBurstBytes = 4096;
// How often an initiator looks again for a target that is not in the air.
constexpr int IdlePollMs = 100;

// Offsets in the payload of 5_0_Connect.
constexpr int InitType = 0;
constexpr int InitPhys = 1; // 1 LE 1M, 2 LE 2M, 4 LE Coded
constexpr int InitTimeout = 2; // 10 ms, 0: none
constexpr int InitScan = 4; // interval and window: LE 1M, then LE Coded
constexpr int InitSets = 12; // interval min and max, latency, timeout, CE: LE 1M, 2M, Coded
constexpr int InitPeer = 42; // address, then its type

constexpr quint16 cmd(quint8 module, quint8 opcode)
{
    return quint16(module << 8 | opcode);
}

QByteArray le16(int value)
{
    QByteArray bytes;
    bytes.append(char(value & 0xFF));
    bytes.append(char((value >> 8) & 0xFF));
    return bytes;
}

int u16(const QByteArray& bytes, int at)
{
    return quint8(bytes.at(at)) | quint8(bytes.at(at + 1)) << 8;
}

QByteArray lengthPrefixed16(const QByteArray& text)
{
    return le16(text.size()) + text;
}

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

VirtualDongle::VirtualDongle(int number, VirtualAir* air, QObject* parent)
    : QObject(parent)
    , m_number(number)
    , m_air(air)
    , m_random(quint32(0x7A5E + number))
{
    m_scanTimer = new QTimer(this);
    m_scanTimer->setTimerType(Qt::PreciseTimer);
    m_scanTimer->setInterval(ScanTickMs);
    connect(m_scanTimer, &QTimer::timeout, this, &VirtualDongle::scanTick);
    m_scanEndTimer = new QTimer(this);
    m_scanEndTimer->setSingleShot(true);
    connect(m_scanEndTimer, &QTimer::timeout, this, [this] { stopScan(1); });
    m_connectTimer = new QTimer(this);
    m_connectTimer->setSingleShot(true);
    connect(m_connectTimer, &QTimer::timeout, this, &VirtualDongle::connectTick);
    m_connectTimeoutTimer = new QTimer(this);
    m_connectTimeoutTimer->setSingleShot(true);
    connect(m_connectTimeoutTimer, &QTimer::timeout, this, [this] {
        stopConnecting();
        result(0x01, 0x80, QByteArray()); // Auto Connect Time Out, for direct connections too
    });
    if (air)
        connect(air, &VirtualAir::changed, this, &VirtualDongle::rescheduleAll);
    m_clock.start();
    restoreDefaults();
}

VirtualDongle::~VirtualDongle()
{
    releaseLinks();
}

QByteArray VirtualDongle::probeAnswer()
{
    QByteArray answer = QByteArray::fromHex("BB0000");
    for (const char* text : {"Tarvine Virtual Dongle", "Tarvine", "1.0.0-sim", "VD-1",
                             "Simulated BLE dongle on a pseudo-terminal", "5.0.0"})
        answer.append(lengthPrefixed16(QByteArray(text)));
    answer.append(char(SimFrame::checksum(answer)));
    return answer;
}

void VirtualDongle::restoreDefaults()
{
    // 00:00:5E:00:53:xx lies in the range set aside for documentation.
    m_identityAddress = QByteArray::fromHex("0053005E0000");
    m_identityAddress[0] = char(0x10 + m_number);
    m_identityAddressType = 0;
    m_deviceType = 1;
    m_deviceName = QStringLiteral("Tarvine Sim %1").arg(m_number).toUtf8();
    m_appearance = 0x0080;
    m_preferredParameters = le16(0x0018) + le16(0x0028) + le16(0x0000) + le16(0x01F4);
    m_profiles = {QByteArray("\x01", 1) + "Battery Service", QByteArray("\x02", 1) + "Heart Rate",
                  QByteArray("\x03", 1) + "Device Information"};
    m_enabledProfiles.clear();
    m_whitelist.clear();
    m_settings.clear();
}

void VirtualDongle::powerCycle()
{
    if (m_scanning) {
        m_scanning = false;
        m_scanTimer->stop();
        m_scanEndTimer->stop();
    }
    releaseLinks();
    m_input.clear();
    m_reset = false;
    m_muted = false;
    restoreDefaults();
}

void VirtualDongle::setStatus(const QString& commandId, quint8 status)
{
    if (status == 0)
        m_statusOverride.remove(commandId.toUpper());
    else
        m_statusOverride.insert(commandId.toUpper(), status);
}

void VirtualDongle::sendLog(const QString& text)
{
    send(SimFrame::Log, 0, 0, text.toUtf8());
}

void VirtualDongle::inject(const QByteArray& bytes)
{
    emit uplink(bytes);
}

void VirtualDongle::feed(const QByteArray& bytes)
{
    m_input.append(bytes);
    for (;;) {
        if (m_input.isEmpty())
            return;
        if (quint8(m_input.at(0)) != SimFrame::Downlink) {
            int next = m_input.indexOf(char(SimFrame::Downlink));
            if (next < 0)
                next = m_input.size();
            if (m_reset)
                dongleLog(QStringLiteral("uart rx: dropped %1 bytes without frame header").arg(next));
            m_input.remove(0, next);
            continue;
        }
        if (m_input.size() < 5)
            return;
        const int length = quint8(m_input.at(3)) | quint8(m_input.at(4)) << 8;
        if (length > SimFrame::MaxLength) {
            if (m_reset)
                dongleLog(QStringLiteral("uart rx: length %1 too long, header dropped").arg(length));
            m_input.remove(0, 1);
            continue;
        }
        if (m_input.size() < length + 6)
            return;
        const QByteArray frame = m_input.left(length + 6);
        m_input.remove(0, length + 6);
        handleFrame(frame);
    }
}

void VirtualDongle::handleFrame(const QByteArray& frame)
{
    const quint8 module = quint8(frame.at(1));
    const quint8 opcode = quint8(frame.at(2));
    const QString id = SimFrame::commandId(module, opcode);
    emit downlinkFrame(frame);

    if (SimFrame::checksum(frame) != 0) {
        if (m_reset)
            dongleLog(QStringLiteral("uart rx: checksum error in %1, frame dropped").arg(id));
        return;
    }
    // The probe is answered at any time, also by a dongle that was never reset.
    if (module == 0 && opcode == 0 && frame.size() == 6) {
        emit uplink(probeAnswer());
        return;
    }
    const bool isReset = module == 0 && opcode == 0x01;
    if (!m_reset && !isReset)
        return;
    if (!SimCommandTable::instance().downlink(id)) {
        dongleLog(QStringLiteral("uart rx: unknown command %1, frame dropped").arg(id));
        return;
    }
    handleCommand(module, opcode, frame.mid(5, frame.size() - 6));
}

void VirtualDongle::send(quint8 header, quint8 module, quint8 opcode, const QByteArray& payload)
{
    emit uplink(SimFrame::build(header, module, opcode, payload));
}

void VirtualDongle::ack(quint8 module, quint8 opcode, quint8 status)
{
    send(SimFrame::Ack, module, opcode, QByteArray(1, char(status)));
}

void VirtualDongle::result(quint8 module, quint8 opcode, const QByteArray& payload)
{
    send(SimFrame::Data, module, opcode, payload);
}

void VirtualDongle::dongleLog(const QString& text)
{
    send(SimFrame::Log, 0, 0, text.toUtf8());
}

void VirtualDongle::handleCommand(quint8 module, quint8 opcode, const QByteArray& payload)
{
    const QString id = SimFrame::commandId(module, opcode);
    const SimCommandTable::Command* command = SimCommandTable::instance().downlink(id);
    const quint16 code = cmd(module, opcode);

    if (code == cmd(0x01, 0x84) && m_muted)
        return;
    const quint8 forced = m_statusOverride.value(id, 0);
    if (forced != 0) {
        ack(module, opcode, forced);
        return;
    }

    // Commands whose payload is fully laid out must come whole.
    auto fixedLengthOk = [&]() {
        const int expected = command->fixedPayloadLength();
        if (expected >= 0 && payload.size() != expected) {
            ack(module, opcode, StatusInvalidDataLength);
            dongleLog(QStringLiteral("%1: payload of %2 bytes, %3 expected")
                          .arg(command->name).arg(payload.size()).arg(expected));
            return false;
        }
        return true;
    };

    switch (code) {
    case cmd(0x00, 0x01): // Reset
        if (m_scanning) {
            m_scanning = false;
            m_scanTimer->stop();
            m_scanEndTimer->stop();
        }
        releaseLinks();
        // A reset restarts the stack but keeps what the host configured; only the controller's
        // white list starts empty. Power (unplug, plug) brings the defaults back.
        m_whitelist.clear();
        m_reset = true;
        ack(module, opcode, 0);
        send(SimFrame::Completion, 0x00, 0x02, QByteArray(1, 0));
        dongleLog(QStringLiteral("Tarvine virtual dongle %1 ready, sdk 5.0.0").arg(m_number));
        return;
    case cmd(0x00, 0x03): // Device Type Get
        ack(module, opcode, 0);
        result(0x00, 0x03, QByteArray(1, char(m_deviceType)));
        return;
    case cmd(0x01, 0x47): // Device BD_Address Get
        ack(module, opcode, 0);
        result(0x01, 0x48, m_identityAddress + char(m_identityAddressType));
        return;
    case cmd(0x01, 0x5B): // Device Name Get
        ack(module, opcode, 0);
        result(0x01, 0x5C, char(m_deviceName.size()) + m_deviceName);
        return;
    case cmd(0x01, 0x5F): // Appearance Get
        ack(module, opcode, 0);
        result(0x01, 0x60, le16(m_appearance));
        return;
    case cmd(0x01, 0x63): // Peripheral Preferred Connection Parameters Get
        ack(module, opcode, 0);
        result(0x01, 0x64, m_preferredParameters);
        return;
    case cmd(0x05, 0x01): { // Get Profile ID
        ack(module, opcode, 0);
        QByteArray items;
        for (const QByteArray& profile : qAsConst(m_profiles))
            items.append(char(profile.size())).append(profile);
        result(0x05, 0x02, items);
        return;
    }
    case cmd(0x01, 0x0D): { // Get Whitelist
        ack(module, opcode, 0);
        QByteArray entries;
        for (const QByteArray& entry : qAsConst(m_whitelist))
            entries.append(entry);
        result(0x01, 0x0E, entries);
        return;
    }
    case cmd(0x01, 0x09): // Add Whitelist
    case cmd(0x01, 0x0B): { // Delete Whitelist
        if (!fixedLengthOk())
            return;
        const int at = m_whitelist.indexOf(payload);
        if (code == cmd(0x01, 0x09)) {
            if (at >= 0)
                return ack(module, opcode, StatusListItemExists);
            if (m_whitelist.size() >= WhitelistSize)
                return ack(module, opcode, StatusListFull);
            m_whitelist.append(payload);
        } else {
            if (at < 0)
                return ack(module, opcode, StatusListItemNotFound);
            m_whitelist.remove(at);
        }
        ack(module, opcode, 0);
        return;
    }
    case cmd(0x01, 0x0F): // Clear Whitelist
        m_whitelist.clear();
        ack(module, opcode, 0);
        return;
    case cmd(0x01, 0x45): // Identity Address Set
        if (!fixedLengthOk())
            return;
        m_identityAddress = payload.left(6);
        m_identityAddressType = quint8(payload.at(6));
        ack(module, opcode, 0);
        return;
    case cmd(0x01, 0x59): { // Device Name Set: a length byte, then the name
        if (payload.isEmpty() || quint8(payload.at(0)) + 1 != payload.size()) {
            ack(module, opcode, StatusInvalidDataLength);
            dongleLog(QStringLiteral("Device Name Set: name length byte does not match the payload"));
            return;
        }
        m_deviceName = payload.mid(1);
        ack(module, opcode, 0);
        return;
    }
    case cmd(0x01, 0x5D): // Appearance Set
        if (!fixedLengthOk())
            return;
        m_appearance = quint16(quint8(payload.at(0)) | quint8(payload.at(1)) << 8);
        ack(module, opcode, 0);
        return;
    case cmd(0x01, 0x61): // Peripheral Preferred Connection Parameters Set
        if (!fixedLengthOk())
            return;
        m_preferredParameters = payload;
        ack(module, opcode, 0);
        return;
    case cmd(0x05, 0x03): // Set Profile ID: the ids of the profiles to enable
        m_enabledProfiles = payload;
        ack(module, opcode, 0);
        result(0x05, 0x04, QByteArray(1, 0));
        return;
    case cmd(0x04, 0x11): // L2CAP Parameters Settings
    case cmd(0x01, 0x41): // Data Length Set
    case cmd(0x01, 0x65): // Privacy Set
    case cmd(0x01, 0x67): // Local Irk Set
    case cmd(0x01, 0x6B): // Preferred PHY Set
    case cmd(0x01, 0x6D): // RF Path Compensation Set
    case cmd(0x02, 0x09): // Set Security Pair Enable
    case cmd(0x02, 0x01): // Set Security Parameter
    case cmd(0x01, 0x8D): // Log printf set
        if (!fixedLengthOk())
            return;
        m_settings.insert(id, payload);
        ack(module, opcode, 0);
        return;
    case cmd(0x01, 0x84): // Heart Beat Detect
        ack(module, opcode, 0);
        return;
    case cmd(0x01, 0x3D): // 5_0_Start Scan
        if (!fixedLengthOk())
            return;
        if (m_scanning)
            return ack(module, opcode, StatusDisallowed);
        ack(module, opcode, 0);
        result(0x01, 0xF0, QByteArray(1, 0));
        startScan(payload);
        return;
    case cmd(0x01, 0x03): // Stop Scan
        if (!m_scanning)
            return ack(module, opcode, StatusDisallowed);
        ack(module, opcode, 0);
        stopScan(0);
        return;
    case cmd(0x01, 0x3F): { // 5_0_Connect
        if (!fixedLengthOk())
            return;
        const QString error = connectParameterError(payload);
        if (!error.isEmpty()) {
            ack(module, opcode, StatusInvalidParam);
            dongleLog(QStringLiteral("5_0_Connect: ") + error);
            return;
        }
        const bool linkedAlready = payload.at(InitType) == 0 && m_links.values().contains(payload.mid(InitPeer, 7));
        if (m_connecting || linkedAlready)
            return ack(module, opcode, StatusDisallowed);
        if (m_links.size() >= MaxConnections)
            return ack(module, opcode, StatusNoResources);
        ack(module, opcode, 0);
        startConnect(payload);
        return;
    }
    case cmd(0x01, 0x49): // Cancel Connect
        if (!fixedLengthOk())
            return;
        if (!m_connecting)
            return ack(module, opcode, StatusDisallowed);
        ack(module, opcode, 0);
        stopConnecting();
        result(0x01, 0x4A, QByteArray(1, 0));
        return;
    case cmd(0x01, 0x07): // Disconnect
        if (!fixedLengthOk())
            return;
        if (!m_links.contains(quint8(payload.at(0))))
            return ack(module, opcode, StatusInvalidConnIdx);
        ack(module, opcode, 0);
        endLink(quint8(payload.at(0)), ReasonLocalHost);
        return;
    default:
        ack(module, opcode, StatusNotSupported);
        return;
    }
}

void VirtualDongle::startScan(const QByteArray& payload)
{
    m_scanType = quint8(payload.at(0));
    const quint8 properties = quint8(payload.at(1));
    const int interval = quint8(payload.at(2)) | quint8(payload.at(3)) << 8;
    const int window = quint8(payload.at(4)) | quint8(payload.at(5)) << 8;
    const int duration = quint8(payload.at(10)) | quint8(payload.at(11)) << 8;
    m_filterDuplicates = payload.at(14) != 0;
    // Every advertiser of the world sends on the LE 1M PHY: without it nothing is heard.
    m_activeScan = properties & 0x04;
    m_hearChance = (properties & 0x01) && interval > 0 ? qBound(0.0, double(window) / interval, 1.0) : 0.0;
    m_reported.clear();
    m_scanning = true;
    m_budget = BudgetBurstBytes;
    m_budgetAt = m_clock.elapsed();
    rescheduleAll();
    m_scanTimer->start();
    if (duration > 0)
        m_scanEndTimer->start(duration * 10);
}

void VirtualDongle::stopScan(quint8 reason)
{
    if (!m_scanning)
        return;
    m_scanning = false;
    m_scanTimer->stop();
    m_scanEndTimer->stop();
    // Reason 0: stopped by the host; 1: the scan's duration ran out.
    result(0x01, 0x04, QByteArray(1, 0) + char(reason));
}

void VirtualDongle::rescheduleAll()
{
    const qint64 now = m_clock.elapsed();
    const int count = m_air ? m_air->advertisers().size() : 0;
    m_nextDue.resize(count);
    for (int i = 0; i < count; ++i) {
        // Advertisers are out of phase with each other, as real ones are.
        const int interval = m_air->advertisers().at(i).intervalMs;
        m_nextDue[i] = now + m_random.bounded(qMax(1, interval));
    }
}

bool VirtualDongle::hears(const VirtualAdvertiser& advertiser) const
{
    if (advertiser.owner == m_number || advertiser.rssi < -100
        || m_air->isLinked(advertiser.address, advertiser.addressType))
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
        return m_whitelist.contains(entry) && (m_scanType == 3 || advertiser.connectable);
    }
    case 4: // Connectable discovery
        return advertiser.connectable;
    default: // Observer
        return true;
    }
}

void VirtualDongle::scanTick()
{
    if (!m_scanning || !m_air)
        return;
    const qint64 now = m_clock.elapsed();
    m_budget = qMin(BudgetBurstBytes,
                    m_budget + (now - m_budgetAt) * LinkBytesPerSecond * ReportShareOfLink / 1000.0);
    m_budgetAt = now;
    const QVector<VirtualAdvertiser>& all = m_air->advertisers();
    if (m_nextDue.size() != all.size())
        rescheduleAll();
    for (int i = 0; i < all.size() && m_scanning; ++i) {
        if (m_nextDue[i] > now)
            continue;
        const VirtualAdvertiser& a = all.at(i);
        // The advertising interval plus the random delay of 0 to 10 ms that the radio adds.
        m_nextDue[i] = qMax(m_nextDue[i] + a.intervalMs + m_random.bounded(11), now);
        if (!hears(a) || m_random.generateDouble() >= m_hearChance)
            continue;
        const bool legacy = a.kind == VirtualAdvertiser::Legacy;
        if (!report(a, legacy ? 1 : 0, a.advData))
            continue;
        if (m_activeScan && a.scannable)
            report(a, legacy ? 3 : 2, a.scanResponse);
    }
}

bool VirtualDongle::report(const VirtualAdvertiser& a, quint8 classification, const QByteArray& data)
{
    if (m_filterDuplicates) {
        const QByteArray key = a.address + char(a.addressType) + char(classification);
        if (m_reported.contains(key))
            return true;
        m_reported.insert(key);
    }
    const int frameSize = 6 + 17 + 2 + data.size();
    if (m_budget < frameSize) {
        if (m_filterDuplicates)
            m_reported.remove(a.address + char(a.addressType) + char(classification));
        return false; // missed, as a busy radio misses packets
    }
    m_budget -= frameSize;

    const bool legacy = classification == 1 || classification == 3;
    quint8 type = 0x01; // report is complete
    if (a.connectable)
        type |= 0x02;
    if (a.scannable)
        type |= 0x04;
    const int jitter = m_rssiJitter ? m_random.bounded(2 * m_rssiJitter + 1) - m_rssiJitter : 0;

    QByteArray payload = a.address;
    payload.append(char(a.addressType));
    payload.append(char(a.txPower));
    payload.append(char(qBound(-127, a.rssi + jitter, 20)));
    payload.append(char(type));
    payload.append(char(classification));
    payload.append(char(a.primaryPhy));
    payload.append(char(legacy ? 0 : a.secondaryPhy));
    payload.append(char(legacy ? 0xFF : a.sid));
    payload.append(le16(legacy ? 0 : a.periodicIntervalMs * 4 / 5)); // 1.25 ms units
    payload.append(char(0xFF)); // not synchronised
    payload.append(le16(data.size()));
    payload.append(data);
    result(0x01, 0x02, payload);
    return true;
}

// The checks of a link layer on the parameters of every PHY that the properties name.
QString VirtualDongle::connectParameterError(const QByteArray& p) const
{
    const quint8 type = quint8(p.at(InitType));
    const quint8 phys = quint8(p.at(InitPhys));
    if (type > 1)
        return QStringLiteral("initiating type %1 unknown").arg(type);
    if (!(phys & 0x05) || (phys & ~0x07))
        return QStringLiteral("properties 0x%1 scan on no PHY").arg(phys, 2, 16, QLatin1Char('0'));
    if (type == 0 && quint8(p.at(InitPeer + 6)) > 3)
        return QStringLiteral("peer address type %1 unknown").arg(quint8(p.at(InitPeer + 6)));
    for (int set = 0; set < 3; ++set) {
        if (!(phys & (1 << set)))
            continue;
        if (set != 1) { // LE 2M is never scanned
            const int at = InitScan + (set == 2 ? 4 : 0);
            if (u16(p, at) < 4 || u16(p, at + 2) < 4 || u16(p, at + 2) > u16(p, at))
                return QStringLiteral("scan window %1 does not fit interval %2").arg(u16(p, at + 2)).arg(u16(p, at));
        }
        const int at = InitSets + 10 * set;
        const int min = u16(p, at), max = u16(p, at + 2), latency = u16(p, at + 4), timeout = u16(p, at + 6);
        if (min < 6 || max > 3200 || min > max)
            return QStringLiteral("connection interval %1 to %2 out of range").arg(min).arg(max);
        if (latency > 499)
            return QStringLiteral("latency %1 out of range").arg(latency);
        // The supervision timeout must outlast two of the longest gaps that the latency allows.
        if (timeout < 10 || timeout > 3200 || timeout * 4 <= (1 + latency) * max)
            return QStringLiteral("supervision timeout %1 too short or too long").arg(timeout);
    }
    return QString();
}

void VirtualDongle::startConnect(const QByteArray& payload)
{
    m_initiating = payload;
    m_autoConnect = payload.at(InitType) == 1;
    m_connectPeer = payload.mid(InitPeer, 7);
    m_connecting = true;
    // The first chance comes with the target's next advertising event, somewhere in its interval.
    const VirtualAdvertiser* target = connectTarget();
    m_connectTimer->start(target ? int(m_random.bounded(target->intervalMs + 1)) : IdlePollMs);
    if (u16(payload, InitTimeout) > 0)
        m_connectTimeoutTimer->start(u16(payload, InitTimeout) * 10);
}

// The peer to connect to now: the one named, or the first of the white list in the air.
const VirtualAdvertiser* VirtualDongle::connectTarget() const
{
    if (!m_air)
        return nullptr;
    const quint8 phys = quint8(m_initiating.at(InitPhys));
    auto find = [&](const QByteArray& key) -> const VirtualAdvertiser* {
        for (const VirtualAdvertiser& a : m_air->advertisers()) {
            if (a.addressType != quint8(key.at(6)) || a.address != key.left(6))
                continue;
            const bool scanned = phys & (a.primaryPhy == 3 ? 0x04 : 0x01);
            const bool free = !m_air->isLinked(a.address, a.addressType);
            return a.owner != m_number && a.connectable && a.rssi >= -100 && scanned && free ? &a : nullptr;
        }
        return nullptr;
    };
    if (!m_autoConnect)
        return find(m_connectPeer);
    for (const QByteArray& entry : m_whitelist) {
        if (const VirtualAdvertiser* a = find(entry))
            return a;
    }
    return nullptr;
}

void VirtualDongle::connectTick()
{
    if (!m_connecting)
        return;
    const VirtualAdvertiser* target = connectTarget();
    if (target) {
        // The initiator hears the event as often as its scan window covers its scan interval.
        const int at = InitScan + (target->primaryPhy == 3 ? 4 : 0);
        if (m_random.generateDouble() * u16(m_initiating, at) < u16(m_initiating, at + 2)) {
            establish(*target);
            if (!m_connecting)
                return;
            target = connectTarget();
        }
    }
    m_connectTimer->start(target ? target->intervalMs + int(m_random.bounded(11)) : IdlePollMs);
}

void VirtualDongle::establish(const VirtualAdvertiser& peer)
{
    int condix = 0;
    while (m_links.contains(condix))
        ++condix;
    m_links.insert(condix, peer.address + char(peer.addressType));
    m_air->link(peer.address, peer.addressType);

    const int set = InitSets + (peer.primaryPhy == 3 ? 20 : 0);
    QByteArray payload;
    payload.append(char(0)); // status
    payload.append(char(1)); // connected
    payload.append(char(condix));
    payload.append(m_initiating.mid(set + 2, 2)); // a central takes the longest interval allowed
    payload.append(m_initiating.mid(set + 4, 4)); // latency and supervision timeout as asked
    payload.append(char(0)); // clock accuracy: only a peripheral learns its central's
    payload.append(char(peer.addressType));
    payload.append(peer.address);
    payload.append(char(0)); // role: master
    result(0x01, 0x06, payload);

    // A direct connection ends the procedure; an automatic one goes on until every device of
    // the white list is connected.
    const QList<QByteArray> linked = m_links.values();
    const bool more = m_autoConnect && m_links.size() < MaxConnections
                      && std::any_of(m_whitelist.cbegin(), m_whitelist.cend(),
                                     [&](const QByteArray& entry) { return !linked.contains(entry); });
    if (!more)
        stopConnecting();
}

void VirtualDongle::stopConnecting()
{
    m_connecting = false;
    m_connectTimer->stop();
    m_connectTimeoutTimer->stop();
}

void VirtualDongle::endLink(int condix, quint8 reason)
{
    const QByteArray peer = m_links.take(condix);
    if (m_air)
        m_air->unlink(peer.left(6), quint8(peer.at(6)));
    QByteArray payload;
    payload.append(char(0)); // status
    payload.append(char(reason));
    payload.append(char(condix));
    result(0x01, 0x08, payload);
}

bool VirtualDongle::dropConnection(int condix, quint8 reason)
{
    if (!m_links.contains(condix))
        return false;
    endLink(condix, reason);
    return true;
}

// A reset or a power cut ends every link without a word; the peers just find them gone.
void VirtualDongle::releaseLinks()
{
    stopConnecting();
    for (const QByteArray& peer : qAsConst(m_links)) {
        if (m_air)
            m_air->unlink(peer.left(6), quint8(peer.at(6)));
    }
    m_links.clear();
}
