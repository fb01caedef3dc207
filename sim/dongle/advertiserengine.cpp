#include "advertiserengine.h"

#include <climits>
#include <utility>

#include <QTimer>

#include "air/virtualair.h"
#include "connectionmanager.h"
#include "localdeviceengine.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::u8;

namespace {

// A controller gives up directed advertising at a high duty cycle after this, connected or not.
constexpr int HighDutyMs = 1280;
// The scanners of the air are not asked to hear anyone more often.
constexpr int MinIntervalMs = 20;
// What a limited discoverable set may last, in 10 ms: 180 s.
constexpr int LimitedDurationMax = 18000;
// The legacy modes of the Parameter Set, as event properties: connectable and scannable,
// non-connectable and non-scannable, scannable, directed at a high and at a low duty cycle.
constexpr quint16 LegacyModes[] = {0x13, 0x10, 0x12, 0x1D, 0x15};

QString hex(int value)
{
    return QStringLiteral("0x%1").arg(value, 2, 16, QLatin1Char('0'));
}

} // namespace

AdvertiserEngine::AdvertiserEngine(VirtualDongle& dongle, const LocalDeviceEngine& localDevice,
                                   ConnectionManager& connections)
    : Engine(dongle)
    , m_localDevice(localDevice)
    , m_connections(connections)
{
    for (int i = 0; i < SetCount; ++i) {
        m_endTimers[i] = new QTimer(this);
        m_endTimers[i]->setSingleShot(true);
        connect(m_endTimers[i], &QTimer::timeout, this, [this, i] { end(i, m_sets[i].endReason); });
    }
    m_connectedTimer = new QTimer(this);
    m_connectedTimer->setSingleShot(true);
    m_connectedTimer->setInterval(0);
    connect(m_connectedTimer, &QTimer::timeout, this, &AdvertiserEngine::sendConnectionEnds);
}

void AdvertiserEngine::install(Router& router)
{
    router.add(0x01, 0x23, Router::WholePayload, [this](const Request& r) { setParameters(r, Set::Legacy); });
    router.add(0x01, 0x2B, Router::WholePayload, [this](const Request& r) { setParameters(r, Set::Extended); });
    router.add(0x01, 0x31, Router::WholePayload, [this](const Request& r) { setParameters(r, Set::Periodic); });
    for (const quint8 opcode : {0x25, 0x2D, 0x33})
        router.add(0x01, opcode, Router::WholePayload, [this](const Request& r) { setData(r); });
    // The tool starts every kind of set with the legacy command; the other two start sets alike.
    for (const quint8 opcode : {0x27, 0x2F, 0x35})
        router.add(0x01, opcode, Router::WholePayload, [this](const Request& r) { start(r); });
    router.add(0x01, 0x29, Router::WholePayload, [this](const Request& r) { stop(r); });
}

// A reset ends every set without a word, as the stack restarts; what the host set stays.
void AdvertiserEngine::reset()
{
    for (int i = 0; i < SetCount; ++i) {
        m_sets[i].running = false;
        m_endTimers[i]->stop();
    }
    m_connected.clear();
    m_connectedTimer->stop();
    if (VirtualAir* air = m_dongle.air())
        air->removeAdvertisers(m_dongle.number());
}

void AdvertiserEngine::powerCycle()
{
    reset();
    m_sets.fill(Set());
}

// A central that connects ends the set it answered; the dongle's other sets go on.
void AdvertiserEngine::linkOpened(int, Link* link)
{
    if (link->endOf(&m_connections) != Link::Peripheral)
        return;
    const int index = link->party(Link::Peripheral).advertisingSet;
    if (index < 0 || index >= SetCount || !m_sets[index].running)
        return;
    // The set leaves the air at once; its host hears of the end after DD@01@06, as a controller
    // tells a connection before the end of the set that took it.
    leaveAir(index);
    m_connected.append(index);
    m_connectedTimer->start();
}

void AdvertiserEngine::sendConnectionEnds()
{
    for (const int index : std::exchange(m_connected, {}))
        m_dongle.respond(0x01, 0x2A, {{"status", u8(0)}, {"reason", u8(EndedByConnection)}, {"advIndex", u8(index)}});
}

void AdvertiserEngine::setParameters(const Request& r, Set::Kind kind)
{
    const char* key = kind == Set::Legacy ? "advIndex" : kind == Set::Extended ? "eadvIndex" : "padvIndex";
    const int index = r.number(QLatin1String(key));
    Set* set = setOf(r, index, false);
    if (!set)
        return;
    if (set->running)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("set %1 is advertising").arg(index));
    // The data stays: the start checks that it suits the new parameters.
    Set next = *set;
    next.kind = kind;
    QString error = kind == Set::Legacy ? readLegacy(r, next) : readExtended(r, kind, next);
    if (error.isEmpty())
        error = modeError(next);
    if (!error.isEmpty())
        return refuse(r, VirtualDongle::StatusInvalidParam, error);
    *set = next;
    m_dongle.ack(0x01, r.opcode(), 0);
}

QString AdvertiserEngine::readLegacy(const Request& r, Set& set) const
{
    const int mode = r.number(QStringLiteral("advMode"));
    const int min = r.number(QStringLiteral("intvMin"));
    const int max = r.number(QStringLiteral("intvMax"));
    const int channels = r.number(QStringLiteral("chanMap"));
    if (mode > 4)
        return QStringLiteral("advertising mode %1 unknown").arg(mode);
    if (r.number(QStringLiteral("discMode")) > Broadcaster || r.number(QStringLiteral("filterPolicy")) > 3
        || r.number(QStringLiteral("addrType")) > 1 || r.number(QStringLiteral("ownType")) > 2
        || r.number(QStringLiteral("scanReqInd")) > 1)
        return QStringLiteral("discovery mode, filter policy, address type or scan request indication unknown");
    set.properties = LegacyModes[mode];
    // A high duty cycle has its own interval, whatever the host asks.
    if (!(set.properties & HighDuty) && (min < 0x20 || max > 0x4000 || min > max))
        return QStringLiteral("advertising interval %1 to %2 out of range").arg(min).arg(max);
    if (channels == 0 || channels > 7)
        return QStringLiteral("channel map %1 unusable").arg(hex(channels));
    set.discovery = quint8(r.number(QStringLiteral("discMode")));
    set.peer = r.field(QStringLiteral("peerAddr")) + r.field(QStringLiteral("addrType"));
    set.ownAddressType = quint8(r.number(QStringLiteral("ownType")));
    set.intervalMs = qMax(MinIntervalMs, max * 5 / 8);
    set.maxTxPower = qint8(r.number(QStringLiteral("maxTxPower")));
    set.primaryPhy = 1;
    set.secondaryPhy = 1;
    set.sid = 0;
    set.durationMs = r.number(QStringLiteral("duration")) * 10;
    set.maxEvents = 0;
    set.periodicIntervalMs = 0;
    return QString();
}

// The extended and the periodic Parameter Set share their fields, but for the first letter of
// each key and the periodic interval.
QString AdvertiserEngine::readExtended(const Request& r, Set::Kind kind, Set& set) const
{
    const QChar p = kind == Set::Extended ? QLatin1Char('e') : QLatin1Char('p');
    const auto number = [&r, p](const char* key) { return r.number(QString(p) + QLatin1String(key)); };
    const auto field = [&r, p](const char* key) { return r.field(QString(p) + QLatin1String(key)); };
    const int discovery = r.number(QLatin1String(kind == Set::Extended ? "eadvMode" : "pdiscMode"));
    const int properties = number("properties");
    const quint32 min = quint32(number("primIntvMin"));
    const quint32 max = quint32(number("primIntvMax"));
    const int channels = number("chanMap");
    const int primaryPhy = number("primPhy");
    const int secondaryPhy = number("secPhy");
    const bool legacy = properties & LegacyPdus;

    if (discovery > Broadcaster || number("policy") > 3 || number("addrType") > 1 || number("ownType") > 2)
        return QStringLiteral("discovery mode, filter policy or address type unknown");
    if (properties & ~(kind == Set::Extended ? 0x17F : 0x1FF))
        return QStringLiteral("properties %1 unknown").arg(hex(properties));
    if (kind == Set::Periodic && (properties & (Connectable | Scannable | LegacyPdus)))
        return QStringLiteral("a periodic set is neither connectable nor scannable, and sends no legacy PDUs");
    if (legacy) {
        bool known = false;
        for (const quint16 mode : LegacyModes)
            known = known || (properties & ~ScanRequestNotification) == mode;
        if (!known || primaryPhy != 1)
            return QStringLiteral("legacy PDUs with properties %1 on PHY %2").arg(hex(properties)).arg(primaryPhy);
    } else if ((properties & Connectable) && (properties & Scannable)) {
        return QStringLiteral("an extended set is not both connectable and scannable");
    }
    if ((properties & Anonymous) && (properties & (Connectable | Scannable)))
        return QStringLiteral("an anonymous set is neither connectable nor scannable");
    if ((properties & HighDuty) && (properties & (Connectable | Directed)) != (Connectable | Directed))
        return QStringLiteral("a high duty cycle is for directed connectable advertising");
    if (!(properties & HighDuty) && (min < 0x20 || max > 0xFFFFFF || min > max))
        return QStringLiteral("advertising interval %1 to %2 out of range").arg(min).arg(max);
    if (channels == 0 || channels > 7)
        return QStringLiteral("channel map %1 unusable").arg(hex(channels));
    if ((primaryPhy != 1 && primaryPhy != 3) || secondaryPhy < 1 || secondaryPhy > 3)
        return QStringLiteral("PHYs %1 and %2 unknown").arg(primaryPhy).arg(secondaryPhy);
    if (number("secSid") > 15)
        return QStringLiteral("SID %1 past 15").arg(number("secSid"));
    if (kind == Set::Periodic) {
        const int periodicMin = number("perIntvMin");
        const int periodicMax = number("perIntvMax");
        if (periodicMin < 6 || periodicMin > periodicMax)
            return QStringLiteral("periodic interval %1 to %2 out of range").arg(periodicMin).arg(periodicMax);
        set.periodicIntervalMs = periodicMax * 5 / 4;
    } else {
        set.periodicIntervalMs = 0;
    }
    set.discovery = quint8(discovery);
    set.properties = quint16(properties);
    set.peer = field("peerAddr") + field("addrType");
    set.ownAddressType = quint8(number("ownType"));
    set.intervalMs = int(qMax<quint32>(MinIntervalMs, max * 5 / 8));
    set.maxTxPower = qint8(number("maxTxPower"));
    set.primaryPhy = quint8(primaryPhy);
    set.secondaryPhy = quint8(secondaryPhy);
    set.sid = quint8(number("secSid"));
    set.durationMs = number("duration") * 10;
    set.maxEvents = number("maxAdvEvt");
    return QString();
}

// The host's rules of the discovery modes, which every kind of set follows.
QString AdvertiserEngine::modeError(const Set& set) const
{
    if (set.discovery == Broadcaster && (set.properties & (Connectable | Scannable)))
        return QStringLiteral("a broadcaster is neither connectable nor scannable");
    if ((set.properties & Directed) && (set.discovery == GeneralDiscoverable || set.discovery == LimitedDiscoverable))
        return QStringLiteral("directed advertising is not discoverable");
    if (set.discovery == LimitedDiscoverable && (set.durationMs == 0 || set.durationMs > LimitedDurationMax * 10))
        return QStringLiteral("limited discoverable advertising lasts 10 ms to 180 s, not %1 ms").arg(set.durationMs);
    return QString();
}

// The tool builds these frames by hand: the set's index, then each kind of data with its length,
// one byte long for a legacy set and two for the others.
void AdvertiserEngine::setData(const Request& r)
{
    const int index = r.number(QStringLiteral("advIndex"));
    Set* set = setOf(r, index, true);
    if (!set)
        return;
    const QByteArray body = r.field(QStringLiteral("data"));
    const int width = r.opcode() == 0x25 ? 1 : 2;
    QByteArray parts[3];
    int at = 0;
    for (int i = 0; i < (r.opcode() == 0x33 ? 3 : 2); ++i) {
        if (at + width > body.size())
            return refuse(r, VirtualDongle::StatusInvalidParam, QStringLiteral("data cut short at byte %1").arg(at));
        const int length = width == 1 ? quint8(body.at(at)) : SimFrame::readLe16(body, at);
        at += width;
        if (at + length > body.size())
            return refuse(r, VirtualDongle::StatusInvalidParam,
                          QStringLiteral("%1 bytes of data named, %2 there").arg(length).arg(body.size() - at));
        parts[i] = body.mid(at, length);
        at += length;
    }
    if (at != body.size())
        return refuse(r, VirtualDongle::StatusInvalidParam, QStringLiteral("%1 bytes after the data").arg(body.size() - at));

    const bool fits = r.opcode() == 0x25 ? set->kind == Set::Legacy
                    : r.opcode() == 0x2D ? set->kind != Set::Legacy
                                         : set->kind == Set::Periodic;
    if (!fits) {
        static const char* const kinds[] = {"", "legacy", "extended", "periodic"};
        return refuse(r, VirtualDongle::StatusInvalidAdvDataType,
                      QStringLiteral("set %1 is %2").arg(index).arg(QLatin1String(kinds[set->kind])));
    }
    if (r.opcode() != 0x33)
        parts[2] = set->periodicData;
    QString why;
    const quint8 status = dataRefusal(*set, parts[0], parts[1], parts[2], &why);
    if (status)
        return refuse(r, status, why);
    set->advData = parts[0];
    set->scanResponse = parts[1];
    set->periodicData = parts[2];
    m_dongle.ack(0x01, r.opcode(), 0);
    // A stack takes new data while the set advertises, as a controller takes complete data.
    if (set->running && m_dongle.air())
        m_dongle.air()->setAdvertiser(advertiserOf(index));
}

quint8 AdvertiserEngine::dataRefusal(const Set& set, const QByteArray& adv, const QByteArray& response,
                                     const QByteArray& periodic, QString* why) const
{
    const bool legacy = set.properties & LegacyPdus;
    if (!response.isEmpty() && !(set.properties & Scannable)) {
        *why = QStringLiteral("a set that is not scannable sends no scan response");
        return VirtualDongle::StatusInvalidAdvDataType;
    }
    if (!adv.isEmpty() && !legacy && (set.properties & Scannable)) {
        *why = QStringLiteral("a scannable extended set sends its data in the scan response");
        return VirtualDongle::StatusInvalidAdvDataType;
    }
    const struct {
        const char* name;
        int size;
        int max;
    } parts[] = {{"advertising data", adv.size(), advDataMax(set) - flagsOf(set).size()},
                 {"scan response", response.size(), legacy ? LegacyDataMax : ExtendedDataMax},
                 {"periodic data", periodic.size(), ExtendedDataMax}};
    for (const auto& part : parts) {
        if (part.size > part.max) {
            *why = QStringLiteral("%1 bytes of %2, %3 fit").arg(part.size).arg(QLatin1String(part.name)).arg(part.max);
            return VirtualDongle::StatusInvalidDataLength;
        }
    }
    return 0;
}

void AdvertiserEngine::start(const Request& r)
{
    const int index = r.number(QStringLiteral("advIndex"));
    Set* set = setOf(r, index, true);
    if (!set)
        return;
    if (r.opcode() == 0x35 && set->kind != Set::Periodic)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("set %1 is not periodic").arg(index));
    if (set->running)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("set %1 is advertising already").arg(index));
    // Parameters set after the data may not suit it.
    QString why;
    if (const quint8 status = dataRefusal(*set, set->advData, set->scanResponse, set->periodicData, &why))
        return refuse(r, status, why);
    if ((set->properties & Scannable) && !(set->properties & LegacyPdus) && set->scanResponse.isEmpty())
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("a scannable extended set needs its scan response"));

    m_dongle.ack(0x01, r.opcode(), 0);
    set->running = true;
    // The first of its limits ends it: duration, a high duty cycle's time, the count of events.
    qint64 endMs = set->durationMs;
    set->endReason = EndedByTimeout;
    if (set->properties & HighDuty)
        endMs = endMs ? qMin<qint64>(endMs, HighDutyMs) : HighDutyMs;
    const qint64 eventsMs = qint64(set->maxEvents) * set->intervalMs;
    if (set->maxEvents > 0 && (endMs == 0 || eventsMs < endMs)) {
        endMs = eventsMs;
        set->endReason = EndedByEventCount;
    }
    if (endMs > 0)
        m_endTimers[index]->start(int(qMin<qint64>(endMs, INT_MAX)));
    if (VirtualAir* air = m_dongle.air())
        air->setAdvertiser(advertiserOf(index));
    m_dongle.respond(0x01, 0x28, {{"status", u8(0)}, {"advIndex", u8(index)}});
}

void AdvertiserEngine::stop(const Request& r)
{
    const int index = r.number(QStringLiteral("advIndex"));
    Set* set = setOf(r, index, true);
    if (!set)
        return;
    if (!set->running)
        return refuse(r, VirtualDongle::StatusDisallowed, QStringLiteral("set %1 is not advertising").arg(index));
    m_dongle.ack(0x01, 0x29, 0);
    end(index, EndedByHost);
}

void AdvertiserEngine::end(int index, quint8 reason)
{
    leaveAir(index);
    m_dongle.respond(0x01, 0x2A, {{"status", u8(0)}, {"reason", u8(reason)}, {"advIndex", u8(index)}});
}

void AdvertiserEngine::leaveAir(int index)
{
    m_sets[index].running = false;
    m_endTimers[index]->stop();
    if (VirtualAir* air = m_dongle.air())
        air->removeAdvertiser(m_dongle.number(), index);
}

VirtualAdvertiser AdvertiserEngine::advertiserOf(int index) const
{
    const Set& set = m_sets[index];
    const bool legacy = set.properties & LegacyPdus;
    VirtualAdvertiser a;
    // A random own address is the identity address with the random type: the simulator makes
    // no private addresses.
    a.address = m_localDevice.identityAddress();
    a.addressType = set.ownAddressType == 0 ? m_localDevice.identityAddressType() : 1;
    a.kind = legacy ? VirtualAdvertiser::Legacy : VirtualAdvertiser::Extended;
    a.connectable = set.properties & Connectable;
    a.scannable = set.properties & Scannable;
    a.intervalMs = set.intervalMs;
    // The radio sends at the host's most, within its own range; 127 leaves it to the radio.
    const int power = set.maxTxPower == 127 ? 0
                                            : qBound(ConnectionManager::MinTxPower, int(set.maxTxPower),
                                                     ConnectionManager::MaxTxPower);
    a.txPower = qint8(!legacy && (set.properties & IncludeTxPower) ? power : 127);
    a.sid = set.sid;
    a.primaryPhy = set.primaryPhy;
    a.secondaryPhy = set.secondaryPhy;
    a.periodicIntervalMs = set.periodicIntervalMs;
    if (set.properties & Directed)
        a.directedTo = set.peer;
    if (carriesAdvData(set))
        a.advData = flagsOf(set) + set.advData;
    a.scanResponse = set.scanResponse;
    a.periodicData = set.periodicData;
    a.owner = m_dongle.number();
    a.set = index;
    a.peer = a.connectable ? &m_connections : nullptr;
    return a;
}

AdvertiserEngine::Set* AdvertiserEngine::setOf(const Request& r, int index, bool known)
{
    if (index >= SetCount) {
        refuse(r, VirtualDongle::StatusInvalidAdvIndex, QStringLiteral("advertising index %1 past the last set").arg(index));
        return nullptr;
    }
    if (known && m_sets[index].kind == Set::Unset) {
        refuse(r, VirtualDongle::StatusListItemNotFound, QStringLiteral("set %1 has no parameters").arg(index));
        return nullptr;
    }
    return &m_sets[index];
}

void AdvertiserEngine::refuse(const Request& r, quint8 status, const QString& why)
{
    m_dongle.ack(r.module(), r.opcode(), status);
    m_dongle.sendLog(r.name() + QStringLiteral(": ") + why);
}

// The stack puts the Flags of the discovery mode before the host's advertising data, as a GAP
// host does, LE only; the tool leaves room for them (28 of a legacy set's 31 bytes). A
// broadcaster sends none.
QByteArray AdvertiserEngine::flagsOf(const Set& set)
{
    static const char flags[] = {0x04, 0x06, 0x05}; // non-discoverable, general, limited
    if (set.discovery >= Broadcaster || !carriesAdvData(set))
        return QByteArray();
    return QByteArray("\x02\x01", 2) + flags[set.discovery];
}

// A directed legacy PDU has no room for data, and a scannable extended set sends its data in the
// scan response.
bool AdvertiserEngine::carriesAdvData(const Set& set)
{
    if (set.properties & LegacyPdus)
        return !(set.properties & Directed);
    return !(set.properties & Scannable);
}

// A connectable extended set's data travels in one auxiliary PDU, which its headers share: 255
// bytes, less the address, the set's id and the lengths, the target of a directed set, the power.
int AdvertiserEngine::advDataMax(const Set& set)
{
    if (set.properties & LegacyPdus)
        return LegacyDataMax;
    if (!(set.properties & Connectable))
        return ExtendedDataMax;
    return 245 - (set.properties & Directed ? 6 : 0) - (set.properties & IncludeTxPower ? 1 : 0);
}
