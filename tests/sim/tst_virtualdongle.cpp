#include <QSignalSpy>
#include <QtTest>

#include "virtualair.h"
#include "virtualdongle.h"

static const char* const kReset = "AA 00 01 00 00 55";
static const char* const kResetAnswer =
    "BB 00 01 01 00 00 43 CC 00 02 01 00 00 31 FF 00 00 29 00 54 61 72 76 69 6E 65 20 76 69 72 74 75 61 6C 20 "
    "64 6F 6E 67 6C 65 20 30 20 72 65 61 64 79 2C 20 73 64 6B 20 35 2E 30 2E 30 1B";

// 5_0_Connect with scan 9.375 ms in 9.375 ms, interval 7.5 to 12.5 ms, latency 1, timeout 1 s.
#define CONNECT(TYPE_PHYS_TIMEOUT, PEER) "AA 01 3F 32 00 " TYPE_PHYS_TIMEOUT " 0F 00 0F 00 0F 00 0F 00 " \
    "06 00 0A 00 01 00 64 00 00 00 06 00 0A 00 01 00 64 00 00 00 06 00 0A 00 01 00 64 00 00 00 " PEER
static const char* const kConnectHr = CONNECT("00 01 00 00", "01 00 00 10 5A C6 01 00 16");
static const char* const kConnectThermo = CONNECT("00 01 00 00", "03 00 00 10 5A C6 01 00 14");
static const char* const kConnectBeacon = CONNECT("00 01 00 00", "04 00 00 10 5A C6 01 00 13");
static const char* const kAutoConnect50ms = CONNECT("01 01 05 00", "00 00 00 00 00 00 00 00 42");
static const char* const kAutoConnect = CONNECT("01 01 00 00", "00 00 00 00 00 00 00 00 47");
static const char* const kConnectAck = "BB 01 3F 01 00 00 04 ";
static const char* const kHrCondix0 = "DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 00 01 01 00 00 10 5A C6 00 68";

// The simulator in-process: its world files, and its protocol engine (downlink bytes in, uplink
// bytes out).
class tst_VirtualDongle : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        QTest::addColumn<bool>("resetFirst");
        QTest::addColumn<QString>("setup");
        QTest::addColumn<int>("chunk"); // 0: the bytes in one write
        QTest::addColumn<QByteArray>("down");
        QTest::addColumn<QByteArray>("up");

        QTest::newRow("query before the first reset is not answered") << false << "" << 0 << hex("AA 00 03 00 00 53")
                                                                      << QByteArray();
        QTest::newRow("reset") << false << "" << 0 << hex(kReset) << hex(kResetAnswer);
        QTest::newRow("reset split byte by byte") << false << "" << 1 << hex(kReset) << hex(kResetAnswer);
        QTest::newRow("Device Type Get") << true << "" << 0 << hex("AA 00 03 00 00 53")
                                         << hex("BB 00 03 01 00 00 41 DD 00 03 01 00 01 1E");
        QTest::newRow("Add Whitelist then Get Whitelist") << true << "" << 0
            << hex("AA 01 09 07 00 01 02 03 04 05 06 01 2F AA 01 0D 00 00 48")
            << hex("BB 01 09 01 00 00 3A BB 01 0D 01 00 00 36 DD 01 0E 07 00 01 02 03 04 05 06 01 F7");
        QTest::newRow("Heart Beat Detect muted") << true << "mute" << 0 << hex("AA 01 84 00 00 D1") << QByteArray();
        QTest::newRow("status set by control") << true << "status 01@84 6" << 0 << hex("AA 01 84 00 00 D1")
                                               << hex("BB 01 84 01 00 06 B9");
        QTest::newRow("bad checksum dropped with a log line") << true << "" << 0 << hex("AA 00 03 00 00 54")
            << hex("FF 00 00 2F 00 75 61 72 74 20 72 78 3A 20 63 68 65 63 6B 73 75 6D 20 65 72 72 6F 72 20 69 6E 20 30 30 40 "
                   "30 33 2C 20 66 72 61 6D 65 20 64 72 6F 70 70 65 64 96");
        QTest::newRow("unknown id dropped with a log line") << true << "" << 0 << hex("AA 01 FE 00 00 57")
            << hex("FF 00 00 2D 00 75 61 72 74 20 72 78 3A 20 75 6E 6B 6E 6F 77 6E 20 63 6F 6D 6D 61 6E 64 20 30 31 40 46 45 "
                   "2C 20 66 72 61 6D 65 20 64 72 6F 70 70 65 64 F4");
        QTest::newRow("garbage before a frame dropped with a log line, frame answered") << true << "" << 0
            << hex("01 02 03 AA 01 84 00 00 D1")
            << hex("FF 00 00 2D 00 75 61 72 74 20 72 78 3A 20 64 72 6F 70 70 65 64 20 33 20 62 79 74 65 73 20 77 69 74 68 "
                   "6F 75 74 20 66 72 61 6D 65 20 68 65 61 64 65 72 44 BB 01 84 01 00 00 BF");
        QTest::newRow("known command not taught yet") << true << "" << 0 << hex("AA 01 13 00 00 42")
                                                      << hex("BB 01 13 01 00 11 1F");
        QTest::newRow("Device Name Set then Get") << true << "" << 0
            << hex("AA 01 59 04 00 03 41 42 43 2F AA 01 5B 00 00 FA")
            << hex("BB 01 59 01 00 00 EA BB 01 5B 01 00 00 E8 DD 01 5C 04 00 03 41 42 43 F9");
        QTest::newRow("Appearance Set too short") << true << "" << 0 << hex("AA 01 5D 01 00 41 B6")
            << hex("BB 01 5D 01 00 0E D8 FF 00 00 2E 00 41 70 70 65 61 72 61 6E 63 65 20 53 65 74 3A 20 70 61 79 6C 6F 61 "
                   "64 20 6F 66 20 31 20 62 79 74 65 73 2C 20 32 20 65 78 70 65 63 74 65 64 D6");
        QTest::newRow("Stop Scan while idle") << true << "" << 0 << hex("AA 01 03 00 00 52") << hex("BB 01 03 01 00 0F 31");
        QTest::newRow("scan start and stop") << true << "" << 0
            << hex("AA 01 3D 10 00 02 05 10 00 10 00 10 00 10 00 00 00 00 00 00 00 C1 AA 01 03 00 00 52")
            << hex("BB 01 3D 01 00 00 06 DD 01 F0 01 00 00 31 BB 01 03 01 00 00 40 DD 01 04 02 00 00 00 1C");
        QTest::newRow("queries split in chunks of three") << true << "" << 3
            << hex("AA 01 84 00 00 D1 AA 00 03 00 00 53")
            << hex("BB 01 84 01 00 00 BF BB 00 03 01 00 00 41 DD 00 03 01 00 01 1E");
    }
    void answers()
    {
        QFETCH(bool, resetFirst);
        QFETCH(QString, setup);
        QFETCH(int, chunk);
        QFETCH(QByteArray, down);
        QFETCH(QByteArray, up);

        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QSignalSpy spy(&dongle, &VirtualDongle::uplink);
        if (resetFirst) {
            dongle.feed(hex(kReset));
            QCOMPARE(collect(spy), hex(kResetAnswer));
        }
        if (setup == QLatin1String("mute"))
            dongle.setMuted(true);
        else if (setup.startsWith(QLatin1String("status ")))
            dongle.setStatus(setup.section(' ', 1, 1), quint8(setup.section(' ', 2, 2).toInt()));

        if (chunk == 0) {
            dongle.feed(down);
        } else {
            for (int at = 0; at < down.size(); at += chunk)
                dongle.feed(down.mid(at, chunk));
        }
        QCOMPARE(collect(spy).toHex(' '), up.toHex(' '));
        dongle.feed(hex("AA 01 03 00 00 52")); // leaves no scan behind
    }
    void scanReports_data()
    {
        QTest::addColumn<QByteArray>("world");
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("second");

        const QByteArray legacy = R"({"devices": [{"name": "T", "address": "C6:5A:10:00:00:09", "intervalMs": 50,
            "txPower": 0, "rssi": -48, "advData": "02010603030D18", "scanResponse": "0509 54455354"}]})";
        const QByteArray legacyAdv = hex("DD 01 02 1A 00 09 00 00 10 5A C6 01 00 D0 07 01 01 00 FF 00 00 FF 07 00 02 01 06 "
                                         "03 03 0D 18 BA");
        const QByteArray active = hex("AA 01 3D 10 00 02 05 10 00 10 00 10 00 10 00 00 00 00 00 00 00 C1");
        const QByteArray passive = hex("AA 01 3D 10 00 02 01 10 00 10 00 10 00 10 00 00 00 00 00 00 00 C5");

        QTest::newRow("active scan: advertising report, then scan response") << legacy << active << legacyAdv
            << hex("DD 01 02 19 00 09 00 00 10 5A C6 01 00 D0 07 03 01 00 FF 00 00 FF 06 00 05 09 54 45 53 54 A0");
        QTest::newRow("passive scan: no scan response") << legacy << passive << legacyAdv << legacyAdv;
        QTest::newRow("extended periodic advertiser") << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:00:09",
            "kind": "extended", "connectable": false, "intervalMs": 50, "txPower": 8, "rssi": -48, "sid": 2,
            "periodicIntervalMs": 100, "advData": "020104"}]})") << active
            << hex("DD 01 02 16 00 09 00 00 10 5A C6 01 08 D0 01 00 01 02 02 50 00 FF 03 00 02 01 04 99")
            << hex("DD 01 02 16 00 09 00 00 10 5A C6 01 08 D0 01 00 01 02 02 50 00 FF 03 00 02 01 04 99");
    }
    void scanReports()
    {
        QFETCH(QByteArray, world);
        QFETCH(QByteArray, start);
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);

        VirtualAir air;
        QString error;
        QVERIFY2(air.loadWorldJson(world, &error), qPrintable(error));
        VirtualDongle dongle(0, &air);
        dongle.setRssiJitter(0);
        QSignalSpy spy(&dongle, &VirtualDongle::uplink);
        dongle.feed(hex(kReset));
        spy.clear();
        dongle.feed(start);
        QCOMPARE(collect(spy), hex("BB 01 3D 01 00 00 06 DD 01 F0 01 00 00 31"));
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 2, 5000);
        QCOMPARE(spy.at(0).at(0).toByteArray().toHex(' '), first.toHex(' '));
        QCOMPARE(spy.at(1).at(0).toByteArray().toHex(' '), second.toHex(' '));
        dongle.feed(hex("AA 01 03 00 00 52"));
        QVERIFY(!dongle.isScanning());
    }
    void scanDurationEndsScan()
    {
        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QSignalSpy spy(&dongle, &VirtualDongle::uplink);
        dongle.feed(hex(kReset));
        // Duration 5: 50 ms.
        dongle.feed(hex("AA 01 3D 10 00 02 05 10 00 10 00 10 00 10 00 05 00 00 00 00 00 BC"));
        QTRY_VERIFY_WITH_TIMEOUT(!dongle.isScanning(), 5000);
        QCOMPARE(spy.last().at(0).toByteArray(), hex("DD 01 04 02 00 00 01 1B"));
    }
    void connections_data()
    {
        QTest::addColumn<QStringList>("steps"); // downlink hex or "drop CONDIX"
        QTest::addColumn<QStringList>("ups"); // all uplink bytes after each step
        QTest::addColumn<bool>("connecting");

        const QString hrAt0 = QString(kConnectAck) + kHrCondix0;
        QTest::newRow("heart-rate sensor: master, condix 0") << QStringList{kConnectHr} << QStringList{hrAt0} << false;
        QTest::newRow("second connection takes condix 1") << QStringList{kConnectHr, kConnectThermo}
            << QStringList{hrAt0, QString(kConnectAck) + "DD 01 06 12 00 00 01 01 0A 00 01 00 64 00 00 01 03 00 00 10 5A C6 00 65"}
            << false;
        QTest::newRow("non-connectable peer stays pending") << QStringList{kConnectBeacon} << QStringList{kConnectAck} << true;
        QTest::newRow("cancel while pending") << QStringList{kConnectBeacon, "AA 01 49 00 00 0C"}
            << QStringList{kConnectAck, "BB 01 49 01 00 00 FA DD 01 4A 01 00 00 D7"} << false;
        QTest::newRow("Disconnect: terminated by local host") << QStringList{kConnectHr, "AA 01 07 01 00 00 4D"}
            << QStringList{hrAt0, "BB 01 07 01 00 00 3C DD 01 08 03 00 00 16 00 01"} << false;
        QTest::newRow("drop: remote user, then the peer advertises again") << QStringList{kConnectHr, "drop 0", kConnectHr}
            << QStringList{hrAt0, "DD 01 08 03 00 00 13 00 04", hrAt0} << false;
        QTest::newRow("auto connect, empty white list, times out") << QStringList{kAutoConnect50ms}
            << QStringList{QString(kConnectAck) + "DD 01 80 00 00 A2"} << false;
        QTest::newRow("auto connect to the white-listed thermometer")
            << QStringList{"AA 01 09 07 00 03 00 00 10 5A C6 01 11", kAutoConnect}
            << QStringList{"BB 01 09 01 00 00 3A",
                           QString(kConnectAck) + "DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 00 01 03 00 00 10 5A C6 00 66"}
            << false;
    }
    void connections()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, ups);
        QFETCH(bool, connecting);

        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QByteArray up;
        connect(&dongle, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        dongle.feed(hex(kReset));
        for (int i = 0; i < steps.size(); ++i) {
            up.clear();
            const QString step = steps.at(i);
            if (step.startsWith(QLatin1String("drop ")))
                QVERIFY(dongle.dropConnection(step.section(' ', 1).toInt()));
            else
                dongle.feed(hex(qPrintable(step)));
            QTRY_COMPARE_WITH_TIMEOUT(up.toHex(' '), hex(qPrintable(ups.at(i))).toHex(' '), 5000);
        }
        QCOMPARE(dongle.isConnecting(), connecting);
    }
    void defaultWorld()
    {
        VirtualAir air;
        const auto& all = air.advertisers();
        QCOMPARE(all.size(), 6);
        QCOMPARE(all.at(0).scanResponse, QByteArray::fromHex("0B095461727669 6E65204852 020A00"));
        QVERIFY(!all.at(3).connectable);
        QCOMPARE(all.at(4).kind, VirtualAdvertiser::Extended);
        QVERIFY(all.at(4).advData.size() > 255);
        QCOMPARE(all.at(5).periodicIntervalMs, 100);
    }
    void refusedWorlds_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("error");
        QTest::newRow("not JSON") << QByteArray("{devices") << QString();
        QTest::newRow("address of five bytes") << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:01"}]})")
                                               << QStringLiteral("device 0: \"address\" must be six bytes like C6:5A:12:34:56:01");
        QTest::newRow("advData not hex") << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:00:01", "advData": "0G"}]})")
                                         << QStringLiteral("device 0: \"advData\" is not hex");
        QTest::newRow("odd number of digits")
            << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:00:01", "scanResponse": "020"}]})")
            << QStringLiteral("device 0: \"scanResponse\" is not hex");
    }
    void refusedWorlds()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, error);
        VirtualAir air;
        QString reported;
        QVERIFY(!air.loadWorldJson(json, &reported));
        if (!error.isEmpty())
            QCOMPARE(reported, error);
        QCOMPARE(air.advertisers().size(), 6); // the world stays as it was
    }
    void repeatMakesNumberedCopies()
    {
        VirtualAir air;
        QVERIFY(air.loadWorldJson(R"({"devices": [{"name": "Tag %n", "address": "C6:5A:21:00:00:FF",
            "connectable": false, "repeat": 3}]})", nullptr));
        const auto& all = air.advertisers();
        QCOMPARE(all.size(), 3);
        QCOMPARE(all.at(2).name, QStringLiteral("Tag 2"));
        // FF + 2 carries into the next byte.
        QCOMPARE(all.at(2).address, QByteArray::fromHex("010100215AC6"));
        QCOMPARE(all.at(1).advData, QByteArray::fromHex("020104 060954616720 31"));
    }
    void shippedWorldsLoad_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("devices");
        QTest::newRow("example.json") << "example.json" << 8;
        QTest::newRow("crowd-1000.json") << "crowd-1000.json" << 1000;
    }
    void shippedWorldsLoad()
    {
        QFETCH(QString, file);
        QFETCH(int, devices);
        VirtualAir air;
        QString error;
        QVERIFY2(air.loadWorld(QStringLiteral(SRCDIR "../../sim/worlds/") + file, &error), qPrintable(error));
        QCOMPARE(air.advertisers().size(), devices);
    }

private:
    static QByteArray hex(const char* text) { return QByteArray::fromHex(QByteArray(text)); }
    static QByteArray collect(QSignalSpy& spy)
    {
        QByteArray bytes;
        for (const QList<QVariant>& emission : qAsConst(spy))
            bytes.append(emission.at(0).toByteArray());
        spy.clear();
        return bytes;
    }
};

QTEST_GUILESS_MAIN(tst_VirtualDongle)
#include "tst_virtualdongle.moc"
