#include "worldloader.h"

#include <algorithm>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "proto/simframe.h"

namespace {

QByteArray adStructure(quint8 type, const QByteArray& data)
{
    QByteArray ad;
    ad.append(char(data.size() + 1));
    ad.append(char(type));
    ad.append(data);
    return ad;
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

QByteArray flagsAndName(bool connectable, const QString& name)
{
    QByteArray ad = adStructure(0x01, QByteArray(1, connectable ? 0x06 : 0x04));
    if (!name.isEmpty())
        ad.append(adStructure(0x09, name.toUtf8()));
    return ad;
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
    loader.load(&devices);
    return devices;
}

bool WorldLoader::load(QVector<VirtualAdvertiser>* devices)
{
    QFile file(m_fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("cannot read %1").arg(m_fileName);
        return false;
    }
    return parse(file.readAll(), devices);
}

bool WorldLoader::hexField(const QJsonObject& object, const char* key, QByteArray* out, const QString& where)
{
    if (!object.contains(QLatin1String(key)))
        return true;
    bool ok = false;
    *out = SimFrame::fromHex(object.value(QLatin1String(key)).toString(), &ok);
    if (!ok)
        m_error = where + QStringLiteral(": \"%1\" is not hex").arg(QLatin1String(key));
    return ok;
}

bool WorldLoader::parse(const QByteArray& json, QVector<VirtualAdvertiser>* devices)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (document.isNull()) {
        m_error = parseError.errorString();
        return false;
    }
    const QJsonArray list = document.object().value(QLatin1String("devices")).toArray();
    QVector<VirtualAdvertiser> world;
    for (int i = 0; i < list.size(); ++i) {
        const QJsonObject object = list.at(i).toObject();
        const QString where = QStringLiteral("device %1").arg(i);
        VirtualAdvertiser a;
        a.name = object.value(QLatin1String("name")).toString();
        bool ok = false;
        a.address = parseAddress(object.value(QLatin1String("address")).toString(), &ok);
        if (!ok) {
            m_error = where + QStringLiteral(": \"address\" must be six bytes like C6:5A:12:34:56:01");
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
        if (!hexField(object, "advData", &a.advData, where)
            || !hexField(object, "scanResponse", &a.scanResponse, where)
            || !hexField(object, "periodicData", &a.periodicData, where))
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
    *devices = world;
    return true;
}
