#include <QSignalSpy>
#include <QtTest>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/initiatorengine.h"
#include "dongle/scannerengine.h"
#include "dongle/virtualdongle.h"
#include "world/worldloader.h"

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

static QByteArray hex(const QString& text) { return QByteArray::fromHex(text.toLatin1()); }

// The simulator in-process: its world files, and its protocol engine (downlink bytes in, uplink
// bytes out).
class tst_VirtualDongle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }
    // Each step is downlink hex, or "mute", "status ID N", "drop CONDIX", "split N HEX" (in chunks of
    // N bytes); after it comes all the uplink of its row in `ups`.
    void dialogues_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("ups");
        // Most dialogues start with a reset and its answer.
        const auto row = [](const char* name, const QStringList& steps, const QStringList& ups) {
            QTest::newRow(name) << QStringList{kReset} + steps << QStringList{kResetAnswer} + ups;
        };
        const QString hrAt0 = QString(kConnectAck) + kHrCondix0;
        const QString dropped = "FF 00 00 2D 00 75 61 72 74 20 72 78 3A 20 "; // "uart rx: "

        QTest::newRow("query before the first reset is not answered") << QStringList{"AA 00 03 00 00 53"}
                                                                      << QStringList{""};
        row("Device Type Get", {"AA 00 03 00 00 53"}, {"BB 00 03 01 00 00 41 DD 00 03 01 00 01 1E"});
        row("Add Whitelist then Get Whitelist", {"AA 01 09 07 00 01 02 03 04 05 06 01 2F AA 01 0D 00 00 48"},
            {"BB 01 09 01 00 00 3A BB 01 0D 01 00 00 36 DD 01 0E 07 00 01 02 03 04 05 06 01 F7"});
        row("Heart Beat Detect muted", {"mute", "AA 01 84 00 00 D1"}, {"", ""});
        row("status set by control", {"status 01@84 6", "AA 01 84 00 00 D1"}, {"", "BB 01 84 01 00 06 B9"});
        row("bad checksum dropped with a log line", {"AA 00 03 00 00 54"},
            {"FF 00 00 2F 00 75 61 72 74 20 72 78 3A 20 63 68 65 63 6B 73 75 6D 20 65 72 72 6F 72 20 69 6E 20 30 30 40 "
             "30 33 2C 20 66 72 61 6D 65 20 64 72 6F 70 70 65 64 96"});
        row("unknown id dropped with a log line", {"AA 01 FE 00 00 57"},
            {dropped + "75 6E 6B 6E 6F 77 6E 20 63 6F 6D 6D 61 6E 64 20 30 31 40 46 45 "
                       "2C 20 66 72 61 6D 65 20 64 72 6F 70 70 65 64 F4"});
        row("garbage before a frame dropped with a log line, frame answered", {"01 02 03 AA 01 84 00 00 D1"},
            {dropped + "64 72 6F 70 70 65 64 20 33 20 62 79 74 65 73 20 77 69 74 68 "
                       "6F 75 74 20 66 72 61 6D 65 20 68 65 61 64 65 72 44 BB 01 84 01 00 00 BF"});
        row("known command not taught yet", {"AA 01 13 00 00 42"}, {"BB 01 13 01 00 11 1F"});
        row("Device Name Set then Get", {"AA 01 59 04 00 03 41 42 43 2F AA 01 5B 00 00 FA"},
            {"BB 01 59 01 00 00 EA BB 01 5B 01 00 00 E8 DD 01 5C 04 00 03 41 42 43 F9"});
        row("Appearance Set too short", {"AA 01 5D 01 00 41 B6"},
            {"BB 01 5D 01 00 0E D8 FF 00 00 2E 00 41 70 70 65 61 72 61 6E 63 65 20 53 65 74 3A 20 70 61 79 6C 6F 61 "
             "64 20 6F 66 20 31 20 62 79 74 65 73 2C 20 32 20 65 78 70 65 63 74 65 64 D6"});
        row("Stop Scan while idle", {"AA 01 03 00 00 52"}, {"BB 01 03 01 00 0F 31"});
        row("scan start and stop", {"AA 01 3D 10 00 02 05 10 00 10 00 10 00 10 00 00 00 00 00 00 00 C1 AA 01 03 00 00 52"},
            {"BB 01 3D 01 00 00 06 DD 01 F0 01 00 00 31 BB 01 03 01 00 00 40 DD 01 04 02 00 00 00 1C"});
        // Chunks of five cut both a header and a frame before its checksum.
        row("queries split in chunks of five", {"split 5 AA 01 84 00 00 D1 AA 00 03 00 00 53"},
            {"BB 01 84 01 00 00 BF BB 00 03 01 00 00 41 DD 00 03 01 00 01 1E"});

        row("heart-rate sensor: master, condix 0", {kConnectHr}, {hrAt0});
        row("second connection takes condix 1", {kConnectHr, kConnectThermo},
            {hrAt0, QString(kConnectAck) + "DD 01 06 12 00 00 01 01 0A 00 01 00 64 00 00 01 03 00 00 10 5A C6 00 65"});
        // The cancel is accepted only while the connection to the non-connectable beacon is pending.
        row("cancel while pending", {kConnectBeacon, "AA 01 49 00 00 0C"},
            {kConnectAck, "BB 01 49 01 00 00 FA DD 01 4A 01 00 00 D7"});
        row("Disconnect: terminated by local host", {kConnectHr, "AA 01 07 01 00 00 4D"},
            {hrAt0, "BB 01 07 01 00 00 3C DD 01 08 03 00 00 16 00 01"});
        row("drop: remote user, then the peer advertises again", {kConnectHr, "drop 0", kConnectHr},
            {hrAt0, "DD 01 08 03 00 00 13 00 04", hrAt0});
        row("auto connect, empty white list, times out", {kAutoConnect50ms}, {QString(kConnectAck) + "DD 01 80 00 00 A2"});
        row("auto connect to the white-listed thermometer", {"AA 01 09 07 00 03 00 00 10 5A C6 01 11", kAutoConnect},
            {"BB 01 09 01 00 00 3A",
             QString(kConnectAck) + "DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 00 01 03 00 00 10 5A C6 00 66"});
    }
    void dialogues()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, ups);

        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QByteArray up;
        connect(&dongle, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        for (int i = 0; i < steps.size(); ++i) {
            up.clear();
            const QString step = steps.at(i), arg1 = step.section(' ', 1, 1), rest = step.section(' ', 2);
            if (step == QLatin1String("mute"))
                dongle.setMuted(true);
            else if (step.startsWith(QLatin1String("status ")))
                dongle.setStatus(arg1, quint8(rest.toInt()));
            else if (step.startsWith(QLatin1String("drop ")))
                QVERIFY(dongle.connections()->drop(arg1.toInt()));
            else if (step.startsWith(QLatin1String("split ")))
                for (int at = 0; at < hex(rest).size(); at += arg1.toInt())
                    dongle.feed(hex(rest).mid(at, arg1.toInt()));
            else
                dongle.feed(hex(step));
            QTRY_COMPARE_WITH_TIMEOUT(up.toHex(' '), hex(ups.at(i)).toHex(' '), 5000);
        }
        QVERIFY(!dongle.initiator()->isConnecting()); // every procedure has ended
    }
    // The first two uplink frames after a scan's start and its two answers.
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

        QTest::newRow("active scan: advertising report, then scan response") << legacy << active << legacyAdv
            << hex("DD 01 02 19 00 09 00 00 10 5A C6 01 00 D0 07 03 01 00 FF 00 00 FF 06 00 05 09 54 45 53 54 A0");
        // Duration 100 ms; the advertiser, every 50 ms, is reported once.
        QTest::newRow("passive scan filtering duplicates: no scan response, no repeat, ends by itself") << legacy
            << hex("AA 01 3D 10 00 02 01 10 00 10 00 10 00 10 00 0A 00 00 00 01 00 BA") << legacyAdv
            << hex("DD 01 04 02 00 00 01 1B");
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

        VirtualAir air;
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader("world.json");
        QVERIFY2(loader.parse(world, &devices), qPrintable(loader.error()));
        air.setWorld(devices);
        VirtualDongle dongle(0, &air);
        dongle.scanner()->setRssiJitter(0);
        dongle.feed(hex(kReset));
        QSignalSpy spy(&dongle, &VirtualDongle::uplink);
        dongle.feed(start); // acked, and started, as the dialogues show
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 4, 5000);
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);
        QCOMPARE(spy.at(2).at(0).toByteArray().toHex(' '), first.toHex(' '));
        QCOMPARE(spy.at(3).at(0).toByteArray().toHex(' '), second.toHex(' '));
        dongle.feed(hex("AA 01 03 00 00 52"));
        QVERIFY(!dongle.scanner()->isScanning());
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
    // Worlds from JSON or from the files shipped in sim/worlds/; a refused one leaves the air as it was.
    void loadWorlds_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("loads");
        QTest::addColumn<int>("devices");
        QTest::addColumn<QString>("error"); // empty: not checked

        QTest::newRow("example.json") << "example.json" << true << 8 << "";
        QTest::newRow("crowd-1000.json") << "crowd-1000.json" << true << 1000 << "";
        QTest::newRow("not JSON") << "{devices" << false << 6 << "";
        QTest::newRow("address of five bytes") << R"({"devices": [{"address": "C6:5A:10:00:01"}]})" << false << 6
                                               << "device 0: \"address\" must be six bytes like C6:5A:12:34:56:01";
        QTest::newRow("advData not hex") << R"({"devices": [{"address": "C6:5A:10:00:00:01", "advData": "0G"}]})"
                                         << false << 6 << "device 0: \"advData\" is not hex";
        QTest::newRow("odd number of digits")
            << R"({"devices": [{"address": "C6:5A:10:00:00:01", "scanResponse": "020"}]})" << false << 6
            << "device 0: \"scanResponse\" is not hex";
    }
    void loadWorlds()
    {
        QFETCH(QString, source);
        QFETCH(bool, loads);
        QFETCH(QString, error);
        VirtualAir air;
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader(QStringLiteral(SRCDIR "../../sim/worlds/") + source);
        const bool loaded = source.startsWith('{') ? loader.parse(source.toUtf8(), &devices) : loader.load(&devices);
        const QString reported = loader.error();
        if (loaded)
            air.setWorld(devices);
        QVERIFY2(loaded == loads, qPrintable(reported));
        if (!error.isEmpty())
            QCOMPARE(reported, error);
        QTEST(air.advertisers().size(), "devices");
    }
    void repeatMakesNumberedCopies()
    {
        QVector<VirtualAdvertiser> all;
        QVERIFY(WorldLoader("world.json").parse(R"({"devices": [{"name": "Tag %n", "address": "C6:5A:21:00:00:FF",
            "connectable": false, "repeat": 3}]})", &all));
        QCOMPARE(all.size(), 3);
        QCOMPARE(all.at(2).name, QStringLiteral("Tag 2"));
        // FF + 2 carries into the next byte.
        QCOMPARE(all.at(2).address, QByteArray::fromHex("010100215AC6"));
        QCOMPARE(all.at(1).advData, QByteArray::fromHex("020104 060954616720 31"));
    }
};

QTEST_GUILESS_MAIN(tst_VirtualDongle)
#include "tst_virtualdongle.moc"
