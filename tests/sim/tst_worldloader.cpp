#include <sys/stat.h>

#include <QTemporaryDir>
#include <QtTest>

#include "world/attributedatabase.h"
#include "world/worldloader.h"

// A device of the given JSON members, with an address unless they bring one.
static QByteArray device(const QString& members)
{
    const QString address = members.contains("\"address\"") ? QString() : QStringLiteral("\"address\": \"C6:5A:20:00:00:01\", ");
    return QStringLiteral("{\"devices\": [{%1%2}]}").arg(address, members).toUtf8();
}

class tst_WorldLoader : public QObject
{
    Q_OBJECT

private slots:
    void refusals_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("message");

        const auto row = [](const char* name, const QByteArray& json, const QString& message) {
            QTest::newRow(name) << json << QStringLiteral("world.json: ") + message;
        };
        row("not JSON", "{\"devices\": [", "not JSON: unterminated array at byte 13");
        row("not an object", "[]", "must be an object with \"devices\"");
        row("devices not a list", "{\"devices\": {}}", "\"devices\" must be an array, not an object");
        row("device not an object", "{\"devices\": [7]}", "device 0: must be an object, not 7");
        row("misspelt key", device("\"name\": \"Lamp\", \"rsi\": -50"),
            "device 0 \"Lamp\": \"rsi\" is no key of this file; known here: name, address, addressType, kind, "
            "connectable, scannable, intervalMs, txPower, rssi, sid, secondaryPhy, periodicIntervalMs, advData, "
            "scanResponse, periodicData, services, company, lmpVersion, lmpSubversion, features, phys, repeat, l2cap, "
            "l2capChannels, cis, security");
        row("PHYs without LE 1M", device("\"phys\": [\"2M\"]"), "device 0: \"phys\" must hold \"1M\", which every device takes");
        row("LMP version past a byte", device("\"lmpVersion\": 256"),
            "device 0: \"lmpVersion\" must be a whole number from 0 to 255, not 256");
        row("version of a device nobody connects to", device("\"connectable\": false, \"company\": 1"),
            "device 0: \"company\" is never asked for: the device is not connectable");
        row("streams as a number", device("\"cis\": 1"), "device 0: \"cis\" must be true or false, not 1");
        row("no address", "{\"devices\": [{}]}", "device 0: \"address\" must be six bytes like C6:5A:12:34:56:01, not null");
        row("address with a newline after it", device("\"address\": \"C6:5A:10:00:00:01\\n\""),
            "device 0: \"address\" must be six bytes like C6:5A:12:34:56:01, not \"C6:5A:10:00:00:01\\n\"");
        row("address type with a capital", device("\"addressType\": \"Public\""),
            "device 0: \"addressType\" must be \"public\" or \"random\", not \"Public\"");
        row("txPower above 20 dBm", device("\"txPower\": 21"),
            "device 0: \"txPower\" must be from -127 to 20 dBm, or 127 for none; not 21");
        row("interval not whole", device("\"intervalMs\": 20.5"),
            "device 0: \"intervalMs\" must be a whole number from 20 to 10240, not 20.5");
        row("legacy connectable but not scannable", device("\"scannable\": false"),
            "device 0: \"scannable\" must be true for a connectable legacy device: no undirected legacy "
            "advertisement is connectable alone");
        row("extended connectable and scannable", device("\"kind\": \"extended\", \"scannable\": true"),
            "device 0: \"scannable\" must be false for a connectable extended device: extended advertising is "
            "connectable or scannable, never both");
        row("sid on a legacy device", device("\"sid\": 3"), "device 0: \"sid\" is for extended devices only");
        row("periodic and connectable", device("\"kind\": \"extended\", \"periodicIntervalMs\": 100"),
            "device 0: \"periodicIntervalMs\" needs a device that is neither connectable nor scannable");
        row("periodic interval under 8 ms", device("\"kind\": \"extended\", \"connectable\": false, \"periodicIntervalMs\": 7"),
            "device 0: \"periodicIntervalMs\" must be 0 or from 8 to 81918, not 7");
        row("periodic data without an interval",
            device("\"kind\": \"extended\", \"connectable\": false, \"periodicData\": \"0201\""),
            "device 0: \"periodicData\" needs \"periodicIntervalMs\"");
        row("scan response that is never sent", device("\"connectable\": false, \"scanResponse\": \"0201\""),
            "device 0: \"scanResponse\" is never sent: the device is not scannable");
        row("advData not hex", device("\"advData\": \"0G\""), "device 0: \"advData\" must be hex bytes, not \"0G\"");
        row("advData too long for legacy", device(QStringLiteral("\"advData\": \"%1\"").arg(QString(64, 'A'))),
            "device 0: \"advData\" holds 32 bytes, more than the 31 that fit");
        row("name too long for the advertising data", device("\"name\": \"A name of thirty letters, give or\""),
            "device 0 \"A name of thirty letters, give or\": \"name\" makes an advertising payload of 38 bytes, "
            "more than the 31 that fit; give \"advData\"");
        row("name past one AD structure",
            device("\"kind\": \"extended\", \"connectable\": false, \"name\": \"" + QString(255, 'N') + "\""),
            "device 0 \"" + QString(255, 'N') + "\": \"name\" of 255 bytes does not fit one AD structure (254 at most); "
            "give \"advData\"");
        row("copies past the last address", device("\"address\": \"FF:FF:FF:FF:FF:FE\", \"repeat\": 3"),
            "device 0: \"repeat\" makes 3 copies, which run past FF:FF:FF:FF:FF:FF");
        row("more devices than the air takes",
            "{\"devices\": [{\"address\": \"C6:5A:20:00:00:00\", \"repeat\": 60000}, "
            "{\"address\": \"C6:5A:30:00:00:00\", \"repeat\": 60000}]}",
            "device 1: \"repeat\" makes the world hold more than 100000 devices");
        row("address taken", "{\"devices\": [{\"address\": \"C6:5A:20:00:00:00\", \"repeat\": 2}, {\"name\": \"B\", "
                              "\"address\": \"C6:5A:20:00:00:01\"}]}",
            "device 1 \"B\": \"address\" C6:5A:20:00:00:01 is taken by device 0");
        row("service uuid of three digits", device("\"services\": [{\"uuid\": \"180\", \"characteristics\": []}]"),
            "device 0: \"services[0].uuid\" must be 4 or 32 hex digits, like 180D, not \"180\"");
        // A service and 32,768 characteristics of two attributes each: one past the last handle.
        QStringList characteristics;
        for (int i = 0; i < 32768; ++i)
            characteristics.append("{\"uuid\": \"2A00\"}");
        row("more attributes than handles",
            device("\"services\": [{\"uuid\": \"1800\", \"characteristics\": [" + characteristics.join(',') + "]}]"),
            "device 0: \"services\" make 65537 attributes, more than the 65535 handles of a GATT server");
        row("unknown property", device("\"services\": [{\"uuid\": \"180D\", \"characteristics\": [{\"uuid\": \"2A37\", "
                                       "\"properties\": [\"notifies\"]}]}]"),
            "device 0: \"services[0].characteristics[0].properties\" knows no \"notifies\"; known: broadcast, read, "
            "writeWithoutResponse, write, notify, indicate, authenticatedSignedWrites, extendedProperties");
        row("notifications without notify", device("\"services\": [{\"uuid\": \"180D\", \"characteristics\": [{\"uuid\": "
                                                   "\"2A37\", \"properties\": [\"read\"], \"notifyEveryMs\": 100}]}]"),
            "device 0: \"services[0].characteristics[0].notifyEveryMs\" needs \"notify\" or \"indicate\" in \"properties\"");
        const auto varying = [](const char* vary, const char* extra = ", \"notifyEveryMs\": 10") {
            return device(QStringLiteral("\"services\": [{\"uuid\": \"180D\", \"characteristics\": [{\"uuid\": \"2A37\", "
                                         "\"properties\": [\"notify\"], \"value\": \"0048\"%1, \"vary\": %2}]}]")
                              .arg(extra, vary));
        };
        row("vary past the value", varying(R"({"at": 1, "bytes": 2, "min": 0, "max": 100})"),
            "device 0: \"services[0].characteristics[0].vary.bytes\" 2 at 1 run past the value's 2 bytes");
        row("vary wider than its bytes", varying(R"({"at": 1, "bytes": 1, "min": 0, "max": 256})"),
            "device 0: \"services[0].characteristics[0].vary.max\" 256 does not fit in 1 bytes");
        row("vary starting outside its range", varying(R"({"at": 1, "bytes": 1, "min": 80, "max": 90})"),
            "device 0: \"services[0].characteristics[0].vary\" starts from 72 in \"value\", outside 80 to 90");
        row("vary of a value never sent", varying(R"({"at": 1, "bytes": 1, "min": 60, "max": 90})", ""),
            "device 0: \"services[0].characteristics[0].vary\" needs \"notifyEveryMs\": a value moves as it is sent");
        row("L2CAP on a device nobody connects to", device("\"connectable\": false, \"l2capChannels\": 1"),
            "device 0: \"l2capChannels\" is never asked for: the device is not connectable");
        row("L2CAP channels past the dynamic CIDs", device("\"l2capChannels\": 65"),
            "device 0: \"l2capChannels\" must be a whole number from 0 to 64, not 65");
        row("PSM without its service", device("\"l2cap\": [{\"psm\": 128}]"), "device 0: \"l2cap[0].service\" is required");
        row("PSM past a byte", device("\"l2cap\": [{\"psm\": 256, \"service\": \"echo\"}]"),
            "device 0: \"l2cap[0].psm\" must be a whole number from 1 to 255, not 256");
        row("service unknown", device("\"l2cap\": [{\"psm\": 128, \"service\": \"mirror\"}]"),
            "device 0: \"l2cap[0].service\" must be \"echo\" or \"sink\", not \"mirror\"");
        row("MPS below 23", device("\"l2cap\": [{\"psm\": 128, \"service\": \"echo\", \"mps\": 22}]"),
            "device 0: \"l2cap[0].mps\" must be a whole number from 23 to 65533, not 22");
        row("security misspelt", device("\"l2cap\": [{\"psm\": 128, \"service\": \"sink\", \"security\": \"pairing\"}]"),
            "device 0: \"l2cap[0].security\" must be \"none\" or \"encryption\" or \"authentication\", not \"pairing\"");
        row("PSM served twice",
            device("\"l2cap\": [{\"psm\": 128, \"service\": \"echo\"}, {\"psm\": 128, \"service\": \"sink\"}]"),
            "device 0: \"l2cap[1].psm\" 128 is served by an earlier entry");
        row("descriptor with a misspelt key",
            device("\"services\": [{\"uuid\": \"180D\", \"characteristics\": [{\"uuid\": \"2A37\", \"descriptors\": "
                   "[{\"uuid\": \"2902\", \"valeu\": \"0000\"}]}]}]"),
            "device 0: \"services[0].characteristics[0].descriptors[0].valeu\" is no key of this file; known here: uuid, value");
    }
    void refusals()
    {
        QFETCH(QByteArray, json);
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader("world.json");
        QVERIFY(!loader.parse(json, &devices));
        QTEST(loader.error(), "message");
    }
    // Files that are no world: each ends the load at once with a message, never a wait.
    void unreadableFiles_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("message");
        QTest::newRow("a folder") << "folder" << "is not a regular file";
        QTest::newRow("a named pipe without a writer") << "fifo" << "is not a regular file";
        QTest::newRow("a device") << "device" << "is not a regular file";
        QTest::newRow("a file past 64 MiB") << "huge" << "is larger than 64 MiB";
        QTest::newRow("no file") << "missing" << "cannot be read: No such file or directory";
    }
    void unreadableFiles()
    {
        QFETCH(QString, kind);
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        QString path = folder.filePath(kind);
        if (kind == "folder") {
            QVERIFY(QDir(folder.path()).mkdir(kind));
        } else if (kind == "fifo") {
            QVERIFY(::mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
        } else if (kind == "device") {
            path = "/dev/zero";
        } else if (kind == "huge") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize((64 << 20) + 1)); // sparse: no disk is filled
        }
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader(path);
        QVERIFY(!loader.load(&devices));
        QFETCH(QString, message);
        QCOMPARE(loader.error(), path + ": " + message);
    }
    void shippedWorlds_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("devices");
        QTest::newRow("default.json") << "default.json" << 6;
        QTest::newRow("example.json") << "example.json" << 8;
        QTest::newRow("crowd-1000.json") << "crowd-1000.json" << 1000;
        QTest::newRow("gatt-bench.json") << "gatt-bench.json" << 5;
    }
    void shippedWorlds()
    {
        QFETCH(QString, file);
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader(QStringLiteral(SRCDIR "../../sim/worlds/") + file);
        QVERIFY2(loader.load(&devices), qPrintable(loader.error()));
        QTEST(devices.size(), "devices");
    }
    void repeatMakesNumberedCopies()
    {
        QVector<VirtualAdvertiser> all;
        QVERIFY(WorldLoader("world.json").parse(R"({"devices": [{"name": "Tag %n", "address": "C6:5A:21:00:00:FF",
            "connectable": false, "rssi": -98, "repeat": 3}]})", &all));
        QCOMPARE(all.size(), 3);
        // Spread downward: copies of a device at the edge of hearing fall out of it, never into it.
        QCOMPARE((QVector<int>{all.at(0).rssi, all.at(1).rssi, all.at(2).rssi}), (QVector<int>{-98, -105, -112}));
        QCOMPARE(all.at(2).name, QStringLiteral("Tag 2"));
        // FF + 2 carries into the next byte.
        QCOMPARE(all.at(2).address, QByteArray::fromHex("010100215AC6"));
        QCOMPARE(all.at(1).advData, QByteArray::fromHex("020104 060954616720 31"));
    }
    // What a central learns of the device's link layer; the PHY bits of the features follow "phys".
    void linkLayerKeys()
    {
        QVector<VirtualAdvertiser> devices;
        QVERIFY(WorldLoader("world.json").parse(device(R"("company": 7, "lmpVersion": 11, "lmpSubversion": 2,
            "features": ["ping", "minimumUsedChannels"], "phys": ["coded", "1M"])"), &devices));
        const ControllerInfo& info = devices.at(0).controller;
        QCOMPARE(QVector<int>({info.company, info.lmpVersion, info.lmpSubversion}), QVector<int>({7, 11, 2}));
        QCOMPARE(info.featureBits(), quint32(0x10810));
    }
    // The thermometer of the default world: a configuration descriptor given, one added. What each
    // link configures is checked in tst_attributeserver.
    void attributeDatabase()
    {
        const AttributeDatabase database(WorldLoader::defaultWorld().at(2).services);
        QStringList layout;
        for (const AttributeDatabase::Attribute& a : database.attributes())
            layout.append(QStringLiteral("%1 %2 %3").arg(a.handle).arg(QString(a.type.toHex()), QString(a.value.toHex())));
        QCOMPARE(layout, QStringList({"1 0028 0018", "2 0328 020300002a", "3 002a 54617276696e6520546865726d6f",
                                      "4 0328 020500012a", "5 012a 0003", "6 0028 0a18", "7 0328 020800292a",
                                      "8 292a 54617276696e65", "9 0328 020a00242a", "10 242a 54482d31", "11 0028 0918",
                                      "12 0328 200d001c2a", "13 1c2a 00700100ff", "14 0229 0000",
                                      "15 0129 426f64792074656d7065726174757265", "16 0328 0211001d2a", "17 1d2a 02",
                                      "18 0328 2a1300212a", "19 212a 0100", "20 0229 0000", "21 0629 01002c01"}));
        const AttributeDatabase heartRate(WorldLoader::defaultWorld().at(0).services);
        QCOMPARE(heartRate.attributes().at(15).type, QByteArray::fromHex("0229")); // added after 2A37's value
        QCOMPARE(heartRate.attributes().at(15).valueHandle, quint16(15));
    }
};

QTEST_GUILESS_MAIN(tst_WorldLoader)
#include "tst_worldloader.moc"
