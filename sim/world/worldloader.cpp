#include "worldloader.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include "attributedatabase.h"
#include "proto/simframe.h"

namespace {

constexpr int LegacyDataBytes = 31;
constexpr int ExtendedDataBytes = 1650;
constexpr int AttributeValueBytes = 512;
constexpr int MaxAdNameBytes = 254;
constexpr int MaxAttributes = 0xFFFF;
// Beyond these a file is a mistake, and reading it on would only eat the machine.
constexpr qint64 MaxFileBytes = 64 << 20;
constexpr int MaxDevices = 100000;

const QStringList DeviceKeys = {"name", "address", "addressType", "kind", "connectable", "scannable",
                                "intervalMs", "txPower", "rssi", "sid", "secondaryPhy", "periodicIntervalMs",
                                "advData", "scanResponse", "periodicData", "services", "company", "lmpVersion",
                                "lmpSubversion", "features", "phys", "repeat", "l2cap", "l2capChannels", "cis", "security"};
const QStringList ExtendedOnlyKeys = {"sid", "secondaryPhy", "periodicIntervalMs", "periodicData"};
// What a central learns of the device's link layer once connected.
const QStringList ControllerKeys = {"company", "lmpVersion", "lmpSubversion", "features", "phys", "cis"};
// Feature names by bit, as Get Peer Features shows them; the PHY bits 8 and 11 follow "phys".
const QStringList FeatureNames = {"encryption", "connectionParametersRequest", "extendedReject",
                                  "slaveFeaturesExchange", "ping", "dataLengthExtension", "privacy",
                                  "extendedScannerFilter", QString(), "stableModulationTx", "stableModulationRx",
                                  QString(), "extendedAdvertising", "periodicAdvertising", "channelSelection2",
                                  "powerClass1", "minimumUsedChannels"};
const QStringList PhyNames = {"1M", "2M", "coded"};
// The credit-based channels of a device; each entry of "l2cap" is an L2capService.
const QStringList L2capDeviceKeys = {"l2cap", "l2capChannels"};
const QStringList L2capKeys = {"psm", "service", "mtu", "mps", "credits", "security"};
const QStringList L2capKinds = {"echo", "sink"};
const QStringList L2capSecurity = {"none", "encryption", "authentication"};
// How the device pairs: its IO capabilities by the core's names, its flags, and a passkey that it
// always shows or types instead of a new one each time.
const QStringList SecurityKeys = {"io", "mitm", "bond", "secureConnections", "passkey"};
const QStringList IoNames = {"displayOnly", "displayYesNo", "keyboardOnly", "noInputNoOutput", "keyboardDisplay"};
const QStringList CharacteristicKeys = {"uuid", "properties", "value", "descriptors", "notifyEveryMs", "vary"};
const QStringList VariationKeys = {"at", "bytes", "min", "max", "step"};

// A JSON value as the file writes it, for messages.
QString valueText(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::String: {
        // Escaped as in the file, so that a stray newline or quote shows where it stands.
        const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        return QString::fromUtf8(array.mid(1, array.size() - 2));
    }
    case QJsonValue::Double:
        return QString::number(value.toDouble(), 'g', 15);
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Array:
        return QStringLiteral("an array");
    case QJsonValue::Object:
        return QStringLiteral("an object");
    default:
        return QStringLiteral("null");
    }
}

QByteArray adStructure(quint8 type, const QByteArray& data)
{
    return char(data.size() + 1) + (char(type) + data);
}

// Adds n to an address in wire order, carrying upward; false when it runs past the top.
bool offsetAddress(QByteArray* address, quint64 n)
{
    quint64 value = 0;
    for (int i = 5; i >= 0; --i)
        value = (value << 8) | quint8(address->at(i));
    value += n;
    for (int i = 0; i < 6; ++i)
        (*address)[i] = char((value >> (8 * i)) & 0xFF);
    return value <= 0xFFFFFFFFFFFFull;
}

QString addressText(const QByteArray& address)
{
    QByteArray reversed = address;
    std::reverse(reversed.begin(), reversed.end());
    return QString::fromLatin1(reversed.toHex(':')).toUpper();
}

} // namespace

WorldLoader::WorldLoader(const QString& fileName)
    : m_fileName(fileName)
{
}

QVector<VirtualAdvertiser> WorldLoader::defaultWorld()
{
    Q_INIT_RESOURCE(sim);
    QVector<VirtualAdvertiser> devices;
    WorldLoader loader(QStringLiteral(":/sim/worlds/default.json"));
    if (!loader.load(&devices))
        qFatal("tarvine-sim: %s", qPrintable(loader.error()));
    return devices;
}

bool WorldLoader::fail(const QString& key, const QString& problem)
{
    QString where = m_fileName;
    if (!m_device.isEmpty())
        where += QStringLiteral(": ") + m_device;
    m_error = where + QStringLiteral(": ")
              + (key.isEmpty() ? problem : QStringLiteral("\"%1%2\" %3").arg(m_path, key, problem));
    return false;
}

bool WorldLoader::load(QVector<VirtualAdvertiser>* devices)
{
    // A pipe or a terminal would keep the loader waiting for a writer that may never come.
    const QFileInfo info(m_fileName);
    if (info.exists() && !info.isFile())
        return fail(QString(), QStringLiteral("is not a regular file"));
    QFile file(m_fileName);
    if (!file.open(QIODevice::ReadOnly))
        return fail(QString(), QStringLiteral("cannot be read: %1").arg(file.errorString()));
    const QByteArray json = file.read(MaxFileBytes + 1);
    if (json.size() > MaxFileBytes)
        return fail(QString(), QStringLiteral("is larger than %1 MiB").arg(MaxFileBytes >> 20));
    return parse(json, devices);
}

bool WorldLoader::parse(const QByteArray& json, QVector<VirtualAdvertiser>* devices)
{
    m_device.clear();
    m_path.clear();
    m_taken.clear();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (document.isNull())
        return fail(QString(), QStringLiteral("not JSON: %1 at byte %2").arg(parseError.errorString()).arg(parseError.offset));
    if (!document.isObject())
        return fail(QString(), QStringLiteral("must be an object with \"devices\""));
    const QJsonObject top = document.object();
    QJsonArray list;
    if (!checkKeys(top, {QStringLiteral("devices")}) || !this->list(top, QStringLiteral("devices"), &list))
        return false;
    QVector<VirtualAdvertiser> world;
    for (int i = 0; i < list.size(); ++i) {
        m_device = QStringLiteral("device %1").arg(i);
        const QJsonObject object = list.at(i).toObject();
        if (!list.at(i).isObject())
            return fail(QString(), QStringLiteral("must be an object, not %1").arg(valueText(list.at(i))));
        const QString name = object.value(QLatin1String("name")).toString();
        if (!name.isEmpty())
            m_device += QStringLiteral(" \"%1\"").arg(name);
        if (!readDevice(object, &world))
            return false;
    }
    m_device.clear();
    *devices = world;
    return true;
}

bool WorldLoader::checkKeys(const QJsonObject& object, const QStringList& allowed)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!allowed.contains(it.key()))
            return fail(it.key(), QStringLiteral("is no key of this file; known here: %1").arg(allowed.join(QStringLiteral(", "))));
    }
    return true;
}

bool WorldLoader::text(const QJsonObject& object, const QString& key, QString* out)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return true;
    if (!value.isString())
        return fail(key, QStringLiteral("must be text, not %1").arg(valueText(value)));
    *out = value.toString();
    return true;
}

bool WorldLoader::boolean(const QJsonObject& object, const QString& key, bool* out)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return true;
    if (!value.isBool())
        return fail(key, QStringLiteral("must be true or false, not %1").arg(valueText(value)));
    *out = value.toBool();
    return true;
}

bool WorldLoader::number(const QJsonObject& object, const QString& key, int min, int max, int* out)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return true;
    const double number = value.toDouble();
    if (!value.isDouble() || number != std::floor(number) || number < min || number > max)
        return fail(key, QStringLiteral("must be a whole number from %1 to %2, not %3").arg(min).arg(max).arg(valueText(value)));
    *out = int(number);
    return true;
}

bool WorldLoader::choice(const QJsonObject& object, const QString& key, const QStringList& choices, int* out)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return true;
    const int index = choices.indexOf(value.toString());
    if (!value.isString() || index < 0)
        return fail(key, QStringLiteral("must be \"%1\", not %2").arg(choices.join(QStringLiteral("\" or \"")), valueText(value)));
    *out = index;
    return true;
}

bool WorldLoader::hex(const QJsonObject& object, const QString& key, int maxBytes, QByteArray* out)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return true;
    bool ok = false;
    const QByteArray bytes = SimFrame::fromHex(value.toString(), &ok);
    if (!value.isString() || !ok)
        return fail(key, QStringLiteral("must be hex bytes, not %1").arg(valueText(value)));
    if (bytes.size() > maxBytes)
        return fail(key, QStringLiteral("holds %1 bytes, more than the %2 that fit").arg(bytes.size()).arg(maxBytes));
    *out = bytes;
    return true;
}

bool WorldLoader::list(const QJsonObject& object, const QString& key, QJsonArray* out)
{
    const QJsonValue value = object.value(key);
    if (!value.isArray())
        return fail(key, QStringLiteral("must be an array, not %1").arg(valueText(value)));
    *out = value.toArray();
    return true;
}

// The array's item `index` as an object with only the allowed keys; the path moves into it.
bool WorldLoader::entry(const QJsonArray& array, int index, const QString& key, const QStringList& allowed,
                        QJsonObject* out)
{
    const QString item = QStringLiteral("%1[%2]").arg(key).arg(index);
    if (!array.at(index).isObject())
        return fail(item, QStringLiteral("must be an object, not %1").arg(valueText(array.at(index))));
    m_path += item + QLatin1Char('.');
    *out = array.at(index).toObject();
    return checkKeys(*out, allowed);
}

bool WorldLoader::uuid(const QJsonObject& object)
{
    const QJsonValue value = object.value(QLatin1String("uuid"));
    if (AttributeDatabase::uuidBytes(value.toString()).isEmpty())
        return fail(QStringLiteral("uuid"), QStringLiteral("must be 4 or 32 hex digits, like 180D, not %1").arg(valueText(value)));
    return true;
}

bool WorldLoader::checkServices(const QJsonObject& device)
{
    QJsonArray services;
    if (!list(device, QStringLiteral("services"), &services))
        return false;
    int attributes = 0;
    for (int s = 0; s < services.size(); ++s) {
        QJsonObject service;
        QJsonArray characteristics;
        if (!entry(services, s, QStringLiteral("services"), {"uuid", "characteristics"}, &service) || !uuid(service)
            || !list(service, QStringLiteral("characteristics"), &characteristics))
            return false;
        ++attributes;
        const QString servicePath = m_path;
        for (int c = 0; c < characteristics.size(); ++c) {
            QJsonObject characteristic;
            if (!entry(characteristics, c, QStringLiteral("characteristics"), CharacteristicKeys, &characteristic)
                || !checkCharacteristic(characteristic, &attributes))
                return false;
            m_path = servicePath;
        }
        m_path.clear();
    }
    // Handles are 16 bits wide, and 0 is no handle.
    if (attributes > MaxAttributes)
        return fail(QStringLiteral("services"), QStringLiteral("make %1 attributes, more than the %2 handles of a GATT server")
                                                    .arg(attributes).arg(MaxAttributes));
    return true;
}

// Adds to `attributes` those that the characteristic makes: declaration, value, descriptors, and
// the client configuration that the database adds where none is given.
bool WorldLoader::checkCharacteristic(const QJsonObject& characteristic, int* attributes)
{
    QByteArray value;
    if (!uuid(characteristic) || !hex(characteristic, QStringLiteral("value"), AttributeValueBytes, &value))
        return false;
    quint32 properties = 0;
    if (characteristic.contains(QLatin1String("properties"))
        && !nameBits(characteristic, QStringLiteral("properties"), AttributeDatabase::propertyNames(), &properties))
        return false;
    int notifyEveryMs = 0;
    if (!number(characteristic, QStringLiteral("notifyEveryMs"), 10, 3600000, &notifyEveryMs))
        return false;
    if (notifyEveryMs > 0 && !(properties & (AttributeDatabase::Notify | AttributeDatabase::Indicate)))
        return fail(QStringLiteral("notifyEveryMs"), QStringLiteral("needs \"notify\" or \"indicate\" in \"properties\""));
    if (characteristic.contains(QLatin1String("vary")) && !checkVariation(characteristic, value, notifyEveryMs))
        return false;
    *attributes += 2;
    bool configured = false;
    QJsonArray descriptors;
    if (characteristic.contains(QLatin1String("descriptors")) && !list(characteristic, QStringLiteral("descriptors"), &descriptors))
        return false;
    const QString characteristicPath = m_path;
    for (int d = 0; d < descriptors.size(); ++d) {
        QJsonObject descriptor;
        if (!entry(descriptors, d, QStringLiteral("descriptors"), {"uuid", "value"}, &descriptor) || !uuid(descriptor)
            || !hex(descriptor, QStringLiteral("value"), AttributeValueBytes, &value))
            return false;
        configured = configured
                     || AttributeDatabase::uuidBytes(descriptor.value(QLatin1String("uuid")).toString())
                            == SimFrame::le16(AttributeDatabase::ClientConfiguration);
        ++*attributes;
        m_path = characteristicPath;
    }
    if ((properties & (AttributeDatabase::Notify | AttributeDatabase::Indicate)) && !configured)
        ++*attributes;
    return true;
}

// A measurement that moves as it is sent: its number must lie in the value and start in its range.
bool WorldLoader::checkVariation(const QJsonObject& characteristic, const QByteArray& value, int notifyEveryMs)
{
    const QJsonValue vary = characteristic.value(QLatin1String("vary"));
    if (!vary.isObject())
        return fail(QStringLiteral("vary"), QStringLiteral("must be an object, not %1").arg(valueText(vary)));
    const QString characteristicPath = m_path;
    m_path += QStringLiteral("vary.");
    const QJsonObject object = vary.toObject();
    int at = -1;
    int bytes = 0;
    int min = -1;
    int max = -1;
    int step = 1;
    if (!checkKeys(object, VariationKeys) || !number(object, QStringLiteral("at"), 0, AttributeValueBytes - 1, &at)
        || !number(object, QStringLiteral("bytes"), 1, 4, &bytes) || !number(object, QStringLiteral("min"), 0, INT_MAX, &min)
        || !number(object, QStringLiteral("max"), 0, INT_MAX, &max) || !number(object, QStringLiteral("step"), 1, INT_MAX, &step))
        return false;
    for (const char* key : {"at", "bytes", "min", "max"}) {
        if (!object.contains(QLatin1String(key)))
            return fail(QLatin1String(key), QStringLiteral("is required"));
    }
    if (at + bytes > value.size())
        return fail(QStringLiteral("bytes"), QStringLiteral("%1 at %2 run past the value's %3 bytes").arg(bytes).arg(at).arg(value.size()));
    if (bytes < 4 && max >= (1 << (8 * bytes)))
        return fail(QStringLiteral("max"), QStringLiteral("%1 does not fit in %2 bytes").arg(max).arg(bytes));
    if (min > max)
        return fail(QStringLiteral("min"), QStringLiteral("%1 is above \"max\" %2").arg(min).arg(max));
    m_path = characteristicPath;
    const qint64 start = AttributeDatabase::number(value, at, bytes);
    if (start < min || start > max)
        return fail(QStringLiteral("vary"), QStringLiteral("starts from %1 in \"value\", outside %2 to %3").arg(start).arg(min).arg(max));
    // A measurement is taken for each notification or indication, and only then.
    if (notifyEveryMs == 0)
        return fail(QStringLiteral("vary"), QStringLiteral("needs \"notifyEveryMs\": a value moves as it is sent"));
    return true;
}

// Names from `names` as bits of a mask, the first name bit 0; empty names are no choice.
bool WorldLoader::nameBits(const QJsonObject& object, const QString& key, const QStringList& names, quint32* out)
{
    QJsonArray list;
    if (!this->list(object, key, &list))
        return false;
    QStringList known = names;
    known.removeAll(QString());
    *out = 0;
    for (const QJsonValue& name : list) {
        const int bit = name.isString() && !name.toString().isEmpty() ? names.indexOf(name.toString()) : -1;
        if (bit < 0)
            return fail(key, QStringLiteral("knows no %1; known: %2").arg(valueText(name), known.join(QStringLiteral(", "))));
        *out |= 1u << bit;
    }
    return true;
}

bool WorldLoader::readController(const QJsonObject& object, bool connectable, ControllerInfo* out)
{
    for (const QString& key : ControllerKeys) {
        if (!connectable && object.contains(key))
            return fail(key, QStringLiteral("is never asked for: the device is not connectable"));
    }
    int company = out->company;
    int lmpVersion = out->lmpVersion;
    int lmpSubversion = out->lmpSubversion;
    if (!number(object, QStringLiteral("company"), 0, 0xFFFF, &company)
        || !number(object, QStringLiteral("lmpVersion"), 0, 0xFF, &lmpVersion)
        || !number(object, QStringLiteral("lmpSubversion"), 0, 0xFFFF, &lmpSubversion))
        return false;
    out->company = quint16(company);
    out->lmpVersion = quint8(lmpVersion);
    out->lmpSubversion = quint16(lmpSubversion);
    if (object.contains(QLatin1String("features")) && !nameBits(object, QStringLiteral("features"), FeatureNames, &out->features))
        return false;
    quint32 phys = out->phys;
    if (object.contains(QLatin1String("phys")) && !nameBits(object, QStringLiteral("phys"), PhyNames, &phys))
        return false;
    if (!(phys & ControllerInfo::Phy1M))
        return fail(QStringLiteral("phys"), QStringLiteral("must hold \"1M\", which every device takes"));
    out->phys = quint8(phys);
    return true;
}

bool WorldLoader::readL2cap(const QJsonObject& object, bool connectable, VirtualAdvertiser* out)
{
    for (const QString& key : L2capDeviceKeys) {
        if (!connectable && object.contains(key))
            return fail(key, QStringLiteral("is never asked for: the device is not connectable"));
    }
    // One channel for each dynamic CID at most.
    if (!number(object, QStringLiteral("l2capChannels"), 0, 64, &out->l2capChannels))
        return false;
    QJsonArray list;
    if (object.contains(QLatin1String("l2cap")) && !this->list(object, QStringLiteral("l2cap"), &list))
        return false;
    for (int i = 0; i < list.size(); ++i) {
        QJsonObject item;
        if (!entry(list, i, QStringLiteral("l2cap"), L2capKeys, &item))
            return false;
        for (const char* key : {"psm", "service"}) {
            if (!item.contains(QLatin1String(key)))
                return fail(QLatin1String(key), QStringLiteral("is required"));
        }
        L2capService service;
        int psm = 0;
        int kind = 0;
        if (!number(item, QStringLiteral("psm"), 1, 255, &psm) || !choice(item, QStringLiteral("service"), L2capKinds, &kind)
            || !number(item, QStringLiteral("mtu"), 23, 65535, &service.mtu)
            || !number(item, QStringLiteral("mps"), 23, 65533, &service.mps)
            || !number(item, QStringLiteral("credits"), 0, 65535, &service.credits)
            || !choice(item, QStringLiteral("security"), L2capSecurity, &service.security))
            return false;
        for (const L2capService& earlier : qAsConst(out->l2cap)) {
            if (earlier.psm == psm)
                return fail(QStringLiteral("psm"), QStringLiteral("%1 is served by an earlier entry").arg(psm));
        }
        service.psm = quint16(psm);
        service.kind = L2capService::Kind(kind);
        out->l2cap.append(service);
        m_path.clear();
    }
    return true;
}

bool WorldLoader::readSecurity(const QJsonObject& object, bool connectable, VirtualAdvertiser* out)
{
    const QString key = QStringLiteral("security");
    if (!object.contains(key))
        return true;
    if (!connectable)
        return fail(key, QStringLiteral("is never asked for: the device is not connectable"));
    const QJsonValue value = object.value(key);
    if (!value.isObject())
        return fail(key, QStringLiteral("must be an object, not %1").arg(valueText(value)));
    const QJsonObject security = value.toObject();
    m_path = key + QLatin1Char('.');
    SecurityManager::Parameters& p = out->security;
    int io = p.io;
    if (!checkKeys(security, SecurityKeys) || !choice(security, QStringLiteral("io"), IoNames, &io)
        || !boolean(security, QStringLiteral("mitm"), &p.mitm) || !boolean(security, QStringLiteral("bond"), &p.bond)
        || !boolean(security, QStringLiteral("secureConnections"), &p.secureConnections)
        || !number(security, QStringLiteral("passkey"), 0, 999999, &out->passkey))
        return false;
    m_path.clear();
    p.io = quint8(io);
    // A device that asks for protection against a man in the middle insists on it.
    p.mitmRequired = p.mitm;
    return true;
}

bool WorldLoader::readDevice(const QJsonObject& object, QVector<VirtualAdvertiser>* world)
{
    VirtualAdvertiser a;
    QString address;
    int addressType = 1;
    int kind = VirtualAdvertiser::Legacy;
    if (!checkKeys(object, DeviceKeys) || !text(object, QStringLiteral("name"), &a.name)
        || !text(object, QStringLiteral("address"), &address)
        || !choice(object, QStringLiteral("addressType"), {"public", "random"}, &addressType)
        || !choice(object, QStringLiteral("kind"), {"legacy", "extended"}, &kind))
        return false;
    // Anchored to the very end: "$" alone would let a newline after the address through.
    static const QRegularExpression addressPattern(
        QRegularExpression::anchoredPattern(QStringLiteral("[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}")));
    if (!addressPattern.match(address).hasMatch())
        return fail(QStringLiteral("address"), QStringLiteral("must be six bytes like C6:5A:12:34:56:01, not %1")
                                                   .arg(valueText(object.value(QLatin1String("address")))));
    a.address = SimFrame::fromHex(address);
    std::reverse(a.address.begin(), a.address.end());
    a.addressType = quint8(addressType);
    a.kind = VirtualAdvertiser::Kind(kind);
    const bool legacy = a.kind == VirtualAdvertiser::Legacy;
    for (const QString& key : ExtendedOnlyKeys) {
        if (legacy && object.contains(key))
            return fail(key, QStringLiteral("is for extended devices only"));
    }

    if (!boolean(object, QStringLiteral("connectable"), &a.connectable))
        return false;
    a.scannable = legacy && a.connectable;
    if (!boolean(object, QStringLiteral("scannable"), &a.scannable))
        return false;
    if (legacy && a.connectable && !a.scannable)
        return fail(QStringLiteral("scannable"), QStringLiteral("must be true for a connectable legacy device: no "
                                                               "undirected legacy advertisement is connectable alone"));
    if (!legacy && a.connectable && a.scannable)
        return fail(QStringLiteral("scannable"), QStringLiteral("must be false for a connectable extended device: "
                                                               "extended advertising is connectable or scannable, never both"));

    int txPower = a.txPower;
    int rssi = a.rssi;
    int sid = a.sid;
    int secondaryPhy = a.secondaryPhy;
    int repeat = 1;
    const int dataBytes = legacy ? LegacyDataBytes : ExtendedDataBytes;
    if (!number(object, QStringLiteral("intervalMs"), 20, legacy ? 10240 : 10485759, &a.intervalMs)
        || !number(object, QStringLiteral("txPower"), -127, 127, &txPower)
        || !number(object, QStringLiteral("rssi"), -127, 20, &rssi) || !number(object, QStringLiteral("sid"), 0, 15, &sid)
        || !number(object, QStringLiteral("secondaryPhy"), 1, 3, &secondaryPhy)
        || !number(object, QStringLiteral("periodicIntervalMs"), 0, 81918, &a.periodicIntervalMs)
        || !number(object, QStringLiteral("repeat"), 1, 100000, &repeat)
        || !hex(object, QStringLiteral("advData"), dataBytes, &a.advData)
        || !hex(object, QStringLiteral("scanResponse"), dataBytes, &a.scanResponse)
        || !hex(object, QStringLiteral("periodicData"), ExtendedDataBytes, &a.periodicData))
        return false;
    // 127 stands for "not available", as in the reports.
    if (txPower > 20 && txPower != 127)
        return fail(QStringLiteral("txPower"), QStringLiteral("must be from -127 to 20 dBm, or 127 for none; not %1").arg(txPower));
    if (a.periodicIntervalMs > 0 && a.periodicIntervalMs < 8)
        return fail(QStringLiteral("periodicIntervalMs"), QStringLiteral("must be 0 or from 8 to 81918, not %1").arg(a.periodicIntervalMs));
    if (a.periodicIntervalMs > 0 && (a.connectable || a.scannable))
        return fail(QStringLiteral("periodicIntervalMs"), QStringLiteral("needs a device that is neither connectable nor scannable"));
    if (object.contains(QLatin1String("periodicData")) && a.periodicIntervalMs == 0)
        return fail(QStringLiteral("periodicData"), QStringLiteral("needs \"periodicIntervalMs\""));
    if (object.contains(QLatin1String("scanResponse")) && !a.scannable)
        return fail(QStringLiteral("scanResponse"), QStringLiteral("is never sent: the device is not scannable"));
    if (object.contains(QLatin1String("services")) && !checkServices(object))
        return false;
    if (!readController(object, a.connectable, &a.controller) || !readL2cap(object, a.connectable, &a)
        || !boolean(object, QStringLiteral("cis"), &a.cis) || !readSecurity(object, a.connectable, &a))
        return false;
    a.services = object.value(QLatin1String("services")).toArray();
    a.txPower = qint8(txPower);
    a.rssi = qint8(rssi);
    a.sid = quint8(sid);
    a.secondaryPhy = quint8(secondaryPhy);

    if (world->size() + repeat > MaxDevices)
        return fail(QStringLiteral("repeat"), QStringLiteral("makes the world hold more than %1 devices").arg(MaxDevices));
    const bool generatedData = !object.contains(QLatin1String("advData"));
    for (int n = 0; n < repeat; ++n) {
        VirtualAdvertiser copy = a;
        if (!offsetAddress(&copy.address, quint64(n)))
            return fail(QStringLiteral("repeat"), QStringLiteral("makes %1 copies, which run past FF:FF:FF:FF:FF:FF").arg(repeat));
        if (repeat > 1) {
            copy.name.replace(QLatin1String("%n"), QString::number(n));
            // Spread the copies' RSSI downward so that a crowd does not look like one device,
            // and a crowd written out of range stays there.
            copy.rssi = qint8(qMax(-127, a.rssi - (n * 7) % 30));
        }
        if (generatedData) {
            const QByteArray name = copy.name.toUtf8();
            // An AD structure's length byte counts its type too.
            if (name.size() > MaxAdNameBytes)
                return fail(QStringLiteral("name"), QStringLiteral("of %1 bytes does not fit one AD structure (%2 at most); "
                                                                   "give \"advData\"").arg(name.size()).arg(MaxAdNameBytes));
            copy.advData = adStructure(0x01, QByteArray(1, copy.connectable ? 0x06 : 0x04));
            if (!name.isEmpty())
                copy.advData += adStructure(0x09, name);
            if (copy.advData.size() > dataBytes)
                return fail(QStringLiteral("name"), QStringLiteral("makes an advertising payload of %1 bytes, more than the "
                                                                   "%2 that fit; give \"advData\"").arg(copy.advData.size()).arg(dataBytes));
        }
        const QByteArray key = copy.address + char(copy.addressType);
        const auto taken = m_taken.constFind(key);
        if (taken != m_taken.cend())
            return fail(QStringLiteral("address"), QStringLiteral("%1 is taken by %2").arg(addressText(copy.address), taken.value()));
        m_taken.insert(key, m_device);
        world->append(copy);
    }
    return true;
}
