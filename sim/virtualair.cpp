#include "virtualair.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include "simframe.h"

namespace {

QByteArray adStructure(quint8 type, const QByteArray& data)
{
    QByteArray ad;
    ad.append(char(data.size() + 1));
    ad.append(char(type));
    ad.append(data);
    return ad;
}

QByteArray le16(quint16 value)
{
    QByteArray bytes;
    bytes.append(char(value & 0xFF));
    bytes.append(char(value >> 8));
    return bytes;
}

// "C6:5A:12:34:56:01" as written by people, most significant first, to wire order.
QByteArray parseAddress(const QString& text, bool* ok)
{
    QByteArray bytes = SimFrame::fromHex(text, ok);
    if (bytes.size() != 6)
        *ok = false;
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// Adds n to an address in wire order, carrying upward.
QByteArray offsetAddress(QByteArray address, quint64 n)
{
    quint64 value = 0;
    for (int i = 5; i >= 0; --i)
        value = (value << 8) | quint8(address.at(i));
    value += n;
    for (int i = 0; i < 6; ++i)
        address[i] = char((value >> (8 * i)) & 0xFF);
    return address;
}

bool hexField(const QJsonObject& object, const char* key, QByteArray* out, QString* error,
              const QString& where)
{
    if (!object.contains(QLatin1String(key)))
        return true;
    bool ok = false;
    *out = SimFrame::fromHex(object.value(QLatin1String(key)).toString(), &ok);
    if (!ok && error)
        *error = where + QStringLiteral(": \"%1\" is not hex").arg(QLatin1String(key));
    return ok;
}

QByteArray flagsAndName(bool connectable, const QString& name)
{
    QByteArray ad = adStructure(0x01, QByteArray(1, connectable ? 0x06 : 0x04));
    if (!name.isEmpty())
        ad.append(adStructure(0x09, name.toUtf8()));
    return ad;
}

} // namespace

VirtualAir::VirtualAir(QObject* parent)
    : QObject(parent)
{
    loadDefaultWorld();
}

void VirtualAir::loadDefaultWorld()
{
    m_advertisers.erase(std::remove_if(m_advertisers.begin(), m_advertisers.end(),
                                       [](const VirtualAdvertiser& a) { return a.owner < 0; }),
                        m_advertisers.end());
    m_advertisers = defaultWorld() + m_advertisers;
    emit changed();
}

bool VirtualAir::loadWorld(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot read %1").arg(path);
        return false;
    }
    return loadWorldJson(file.readAll(), error);
}

bool VirtualAir::loadWorldJson(const QByteArray& json, QString* error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (document.isNull()) {
        if (error)
            *error = parseError.errorString();
        return false;
    }
    const QJsonArray devices = document.object().value(QLatin1String("devices")).toArray();
    QVector<VirtualAdvertiser> world;
    for (int i = 0; i < devices.size(); ++i) {
        const QJsonObject object = devices.at(i).toObject();
        const QString where = QStringLiteral("device %1").arg(i);
        VirtualAdvertiser a;
        a.name = object.value(QLatin1String("name")).toString();
        bool ok = false;
        a.address = parseAddress(object.value(QLatin1String("address")).toString(), &ok);
        if (!ok) {
            if (error)
                *error = where + QStringLiteral(": \"address\" must be six bytes like C6:5A:12:34:56:01");
            return false;
        }
        a.addressType = object.value(QLatin1String("addressType")).toString() == QLatin1String("public") ? 0 : 1;
        a.kind = object.value(QLatin1String("kind")).toString() == QLatin1String("extended")
                     ? VirtualAdvertiser::Extended
                     : VirtualAdvertiser::Legacy;
        a.connectable = object.value(QLatin1String("connectable")).toBool(true);
        // Extended advertising is connectable or scannable, never both.
        a.scannable = object.value(QLatin1String("scannable"))
                          .toBool(a.kind == VirtualAdvertiser::Legacy && a.connectable);
        a.intervalMs = qMax(20, object.value(QLatin1String("intervalMs")).toInt(100));
        a.txPower = qint8(object.value(QLatin1String("txPower")).toInt(127));
        a.rssi = qint8(object.value(QLatin1String("rssi")).toInt(-60));
        a.sid = quint8(object.value(QLatin1String("sid")).toInt(0));
        a.secondaryPhy = quint8(object.value(QLatin1String("secondaryPhy")).toInt(2));
        a.periodicIntervalMs = object.value(QLatin1String("periodicIntervalMs")).toInt(0);
        a.services = object.value(QLatin1String("services")).toArray();
        if (!hexField(object, "advData", &a.advData, error, where)
            || !hexField(object, "scanResponse", &a.scanResponse, error, where)
            || !hexField(object, "periodicData", &a.periodicData, error, where))
            return false;
        const bool generatedData = !object.contains(QLatin1String("advData"));

        const int repeat = qMax(1, object.value(QLatin1String("repeat")).toInt(1));
        for (int n = 0; n < repeat; ++n) {
            VirtualAdvertiser copy = a;
            if (repeat > 1) {
                copy.name.replace(QLatin1String("%n"), QString::number(n));
                copy.address = offsetAddress(a.address, quint64(n));
                // Spread the copies' RSSI so that a crowd does not look like one device.
                copy.rssi = qint8(qBound(-100, a.rssi - (n * 7) % 30, -20));
            }
            if (generatedData)
                copy.advData = flagsAndName(copy.connectable, copy.name);
            world.append(copy);
        }
    }
    m_advertisers.erase(std::remove_if(m_advertisers.begin(), m_advertisers.end(),
                                       [](const VirtualAdvertiser& a) { return a.owner < 0; }),
                        m_advertisers.end());
    m_advertisers = world + m_advertisers;
    emit changed();
    return true;
}

void VirtualAir::addAdvertiser(const VirtualAdvertiser& advertiser)
{
    m_advertisers.append(advertiser);
    emit changed();
}

void VirtualAir::removeAdvertisers(int owner)
{
    m_advertisers.erase(std::remove_if(m_advertisers.begin(), m_advertisers.end(),
                                       [owner](const VirtualAdvertiser& a) { return a.owner == owner; }),
                        m_advertisers.end());
    emit changed();
}

bool VirtualAir::isLinked(const QByteArray& address, quint8 addressType) const
{
    // Every scan asks for every advertising event: the common case of no link stays cheap.
    return !m_links.isEmpty() && m_links.contains(address + char(addressType));
}

bool VirtualAir::link(const QByteArray& address, quint8 addressType)
{
    const QByteArray key = address + char(addressType);
    if (m_links.contains(key))
        return false;
    m_links.insert(key);
    return true;
}

void VirtualAir::unlink(const QByteArray& address, quint8 addressType)
{
    m_links.remove(address + char(addressType));
}

QVector<VirtualAdvertiser> VirtualAir::defaultWorld()
{
    QVector<VirtualAdvertiser> world;
    bool ok = true;

    VirtualAdvertiser hr;
    hr.name = QStringLiteral("Tarvine HR");
    hr.address = parseAddress(QStringLiteral("C6:5A:10:00:00:01"), &ok);
    hr.intervalMs = 100;
    hr.txPower = 0;
    hr.rssi = -48;
    hr.advData = adStructure(0x01, QByteArray(1, 0x06)) + adStructure(0x03, le16(0x180D) + le16(0x180F))
                 + adStructure(0x19, le16(0x0341));
    hr.scanResponse = adStructure(0x09, hr.name.toUtf8()) + adStructure(0x0A, QByteArray(1, 0x00));
    hr.services = QJsonDocument::fromJson(R"([
        {"uuid": "180D", "characteristics": [
            {"uuid": "2A37", "properties": ["notify"], "value": "0048", "notifyEveryMs": 1000},
            {"uuid": "2A38", "properties": ["read"], "value": "01"}]},
        {"uuid": "180F", "characteristics": [
            {"uuid": "2A19", "properties": ["read", "notify"], "value": "5A"}]}])").array();
    world.append(hr);

    VirtualAdvertiser tag;
    tag.name = QStringLiteral("Tarvine Tag");
    tag.address = parseAddress(QStringLiteral("C6:5A:10:00:00:02"), &ok);
    tag.intervalMs = 500;
    tag.rssi = -71;
    tag.scannable = false;
    tag.advData = adStructure(0x01, QByteArray(1, 0x06)) + adStructure(0x03, le16(0x180F))
                  + adStructure(0x16, le16(0x180F) + QByteArray(1, 0x57))
                  + adStructure(0x09, tag.name.toUtf8());
    tag.services = QJsonDocument::fromJson(R"([
        {"uuid": "180F", "characteristics": [
            {"uuid": "2A19", "properties": ["read"], "value": "57"}]}])").array();
    world.append(tag);

    VirtualAdvertiser thermo;
    thermo.name = QStringLiteral("Tarvine Thermo");
    thermo.address = parseAddress(QStringLiteral("C6:5A:10:00:00:03"), &ok);
    thermo.intervalMs = 250;
    thermo.txPower = 4;
    thermo.rssi = -63;
    thermo.advData = adStructure(0x01, QByteArray(1, 0x06)) + adStructure(0x03, le16(0x1809))
                     + adStructure(0x19, le16(0x0300)) + adStructure(0x08, QByteArrayLiteral("Thermo"));
    thermo.scanResponse = adStructure(0x09, thermo.name.toUtf8());
    thermo.services = QJsonDocument::fromJson(R"([
        {"uuid": "1809", "characteristics": [
            {"uuid": "2A1C", "properties": ["indicate"], "value": "00A40100FE",
             "descriptors": [{"uuid": "2902", "value": "0000"},
                             {"uuid": "2901", "value": "426F64792074656D7065726174757265"}]},
            {"uuid": "2A1D", "properties": ["read"], "value": "02"},
            {"uuid": "2A21", "properties": ["read", "write", "indicate"], "value": "0A00",
             "descriptors": [{"uuid": "2902", "value": "0000"}, {"uuid": "2906", "value": "01002C01"}]}]}])")
                          .array();
    world.append(thermo);

    VirtualAdvertiser beacon;
    beacon.name = QStringLiteral("Tarvine Beacon");
    beacon.address = parseAddress(QStringLiteral("C6:5A:10:00:00:04"), &ok);
    beacon.connectable = false;
    beacon.scannable = false;
    beacon.intervalMs = 200;
    beacon.txPower = -4;
    beacon.rssi = -77;
    // Company 0xFFFF is the identifier reserved for tests.
    beacon.advData = adStructure(0x01, QByteArray(1, 0x04))
                     + adStructure(0xFF, QByteArray::fromHex("FFFF0215A1B2C3D4E5F60718293A4B5C6D7E8F900001000AC5"));
    world.append(beacon);

    VirtualAdvertiser longRange;
    longRange.name = QStringLiteral("Tarvine Long Payload");
    longRange.address = parseAddress(QStringLiteral("C6:5A:10:00:00:05"), &ok);
    longRange.kind = VirtualAdvertiser::Extended;
    longRange.connectable = false;
    longRange.scannable = false;
    longRange.intervalMs = 400;
    longRange.txPower = 8;
    longRange.rssi = -58;
    longRange.sid = 1;
    QByteArray counting;
    for (int i = 0; i < 240; ++i)
        counting.append(char(i));
    longRange.advData = adStructure(0x01, QByteArray(1, 0x04)) + adStructure(0x09, longRange.name.toUtf8())
                        + adStructure(0xFF, QByteArray::fromHex("FFFF") + counting);
    world.append(longRange);

    VirtualAdvertiser periodic;
    periodic.name = QStringLiteral("Tarvine Broadcaster");
    periodic.address = parseAddress(QStringLiteral("C6:5A:10:00:00:06"), &ok);
    periodic.kind = VirtualAdvertiser::Extended;
    periodic.connectable = false;
    periodic.scannable = false;
    periodic.intervalMs = 500;
    periodic.rssi = -66;
    periodic.sid = 2;
    periodic.periodicIntervalMs = 100;
    periodic.advData = adStructure(0x01, QByteArray(1, 0x04)) + adStructure(0x09, periodic.name.toUtf8());
    periodic.periodicData = adStructure(0xFF, QByteArray::fromHex("FFFF0102030405060708"));
    world.append(periodic);

    return world;
}
