#include <QElapsedTimer>
#include <QtTest>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/scannerengine.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

static const char* const kName = "0C 09 54 61 72 76 69 6E 65 20 53 69 6D"; // "Tarvine Sim"

// Payloads of the three Parameter Sets, in wire units, with a peer of C0:05:04:03:02:01, random.
static QString legacy(int mode, int discovery, int min, int max, int channels, int duration, int index)
{
    return "23" + le(mode, 1) + le(discovery, 1) + " 00 01 02 03 04 05 C0 01" + le(min, 2) + le(max, 2)
           + le(channels, 1) + " 00 00" + le(duration, 2) + le(index, 1) + " 00";
}
static QString extended(int properties, int discovery, int min, int max, int primaryPhy, int secondaryPhy, int sid,
                        int duration, int events, int index)
{
    return "2B" + le(discovery, 1) + le(properties, 2) + " 05 00 01 02 03 04 05 C0 01" + le(min, 4) + le(max, 4) + " 07"
           + le(primaryPhy, 1) + " 00" + le(secondaryPhy, 1) + le(sid, 1) + le(duration, 2) + le(events, 1)
           + le(index, 1) + " 00";
}
static QString periodic(int properties, int min, int max, int index)
{
    return "31 00" + le(properties, 2) + " 05 00 01 02 03 04 05 C0 01" + le(0xA0, 4) + le(0xA0, 4) + " 07 01 00 02 01"
           + le(min, 2) + le(max, 2) + " 00 00 00" + le(index, 1) + " 00";
}
// A data frame's block: its length in `width` bytes, then the bytes.
static QString block(const QString& data, int width = 2)
{
    return le(hex(data).size(), width) + " " + data;
}
// One manufacturer-specific AD structure of 200 bytes.
static QString longAd()
{
    QString text = "C7 FF";
    for (int i = 0; i < 198; ++i)
        text += le(i, 1);
    return text;
}

// "OPCODE PAYLOAD" as a downlink of module 01.
static QByteArray command(const QString& text)
{
    const QByteArray bytes = hex(text);
    return withChecksum(hex("AA 01") + bytes.left(1) + le16(bytes.size() - 1) + bytes.mid(1));
}

// The sets of a dongle in the air, by index.
static QMap<int, VirtualAdvertiser> setsOf(const VirtualAir& air, int owner)
{
    QMap<int, VirtualAdvertiser> sets;
    for (const VirtualAdvertiser& a : air.advertisers()) {
        if (a.owner == owner)
            sets.insert(a.set, a);
    }
    return sets;
}

// A dongle reset in an air without world devices; its uplink gathered in `up`.
struct Bench {
    QByteArray up;
    VirtualAir air;
    VirtualDongle dongle{1, &air};

    Bench()
    {
        air.setWorld({});
        QObject::connect(&dongle, &VirtualDongle::uplink, [this](const QByteArray& bytes) { up += bytes; });
        dongle.feed(hex(kReset));
        up.clear();
    }
    void feed(const QStringList& commands)
    {
        for (const QString& c : commands)
            dongle.feed(command(c));
    }
};

// The advertising sets of a dongle: the host's commands, the sets in the air, and their ends.
class tst_AdvertiserEngine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }
    void startsInTheAir_data()
    {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("ups");
        QTest::addColumn<QString>("air"); // the one set in the air
        QTest::addColumn<QString>("data"); // advertising data | scan response | periodic data

        const QString started = "BB 01 27 01 00 00 1C | DD 01 28 02 00 00 00 F8";
        QTest::newRow("legacy, connectable, its name after the stack's Flags")
            << QStringList{legacy(0, 1, 0x20, 0xA0, 7, 0, 0), "25 00" + block(kName, 1) + block("", 1), "27 00"}
            << "BB 01 23 01 00 00 20 | BB 01 25 01 00 00 1E | " + started
            << "legacy connectable scannable every 100 ms, SID 0, PHY 1/1, power 127, periodic 0 ms"
            << QString("020106") + kName + " | | ";
        QTest::newRow("legacy data taken while advertising")
            << QStringList{legacy(2, 2, 0x20, 0xA0, 7, 1000, 0), "25 00" + block("", 1) + block(kName, 1), "27 00",
                           "25 00 03 02 09 41 00"}
            << "BB 01 23 01 00 00 20 | BB 01 25 01 00 00 1E | " + started + " | BB 01 25 01 00 00 1E"
            << "legacy scannable every 100 ms, SID 0, PHY 1/1, power 127, periodic 0 ms" << "020105 020941 | | ";
        QTest::newRow("legacy directed: no data, and the central it names")
            << QStringList{legacy(4, 0, 0x20, 0x40, 1, 0, 0), "27 00"} << "BB 01 23 01 00 00 20 | " + started
            << "legacy connectable directed to 0102030405c001 every 40 ms, SID 0, PHY 1/1, power 127, periodic 0 ms"
            << " | | ";
        QTest::newRow("extended broadcaster of 200 bytes with its power, started as extended")
            << QStringList{extended(0x40, 3, 0x20, 0x640, 3, 2, 3, 0, 0, 1), "2D 01" + block(longAd()) + block(""), "2F 01"}
            << "BB 01 2B 01 00 00 18 | BB 01 2D 01 00 00 16 | BB 01 2F 01 00 00 14 | DD 01 28 02 00 00 01 F7"
            << "extended every 1000 ms, SID 3, PHY 3/2, power 5, periodic 0 ms" << longAd().remove(' ') + " | | ";
            QTest::newRow("periodic, started as the tool does")
            << QStringList{periodic(0x00, 0x50, 0x50, 2), "33 02" + block("03 FF 01 02") + block("") + block("02 FF 07"), "27 02"}
            << "BB 01 31 01 00 00 12 | BB 01 33 01 00 00 10 | BB 01 27 01 00 00 1C | DD 01 28 02 00 00 02 F6"
            << "extended every 100 ms, SID 1, PHY 1/2, power 127, periodic 100 ms" << "020104 03FF0102 | | 02FF07";
    }
    void startsInTheAir()
    {
        QFETCH(QStringList, commands);
        Bench bench;
        bench.feed(commands);
        QFETCH(QString, ups);
        QCOMPARE(bench.up.toHex(' '), frames(ups).toHex(' '));

        const QMap<int, VirtualAdvertiser> sets = setsOf(bench.air, 1);
        QCOMPARE(sets.size(), 1);
        const VirtualAdvertiser& a = sets.first();
        QCOMPARE(a.set, int(hex(commands.last()).at(1)));
        QCOMPARE(a.address, hex("11 53 00 5E 00 00"));
        QCOMPARE(a.peer, a.connectable ? static_cast<Peer*>(bench.dongle.connections()) : nullptr);
        const QString air = QString("%1%2%3%4 every %5 ms, SID %6, PHY %7/%8, power %9, periodic %10 ms")
                                .arg(a.kind == VirtualAdvertiser::Legacy ? "legacy" : "extended")
                                .arg(a.connectable ? " connectable" : "")
                                .arg(a.scannable ? " scannable" : "")
                                .arg(a.directedTo.isEmpty() ? QString() : " directed to " + a.directedTo.toHex())
                                .arg(a.intervalMs)
                                .arg(a.sid)
                                .arg(a.primaryPhy)
                                .arg(a.secondaryPhy)
                                .arg(a.txPower)
                                .arg(a.periodicIntervalMs);
        QTEST(air, "air");
        QFETCH(QString, data);
        QCOMPARE(QString(a.advData.toHex() + " | " + a.scanResponse.toHex() + " | " + a.periodicData.toHex()),
                 data.remove(' ').replace("|", " | ").toLower());
    }
    // Each refused command gets its status and a log line, and changes nothing in the air.
    void refusals_data()
    {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<QString>("refused");
        QTest::addColumn<int>("status");

        const QString legacy0 = legacy(0, 1, 0x20, 0xA0, 7, 0, 0);
        const QString extended1 = extended(0x01, 1, 0x20, 0xA0, 1, 2, 0, 0, 0, 1);
        const QString name29 = "1C 09" + QString(" 41").repeated(27);
        QTest::newRow("legacy mode 5") << QStringList{} << legacy(5, 0, 0x20, 0xA0, 7, 0, 0) << 1;
        QTest::newRow("legacy interval below 20 ms") << QStringList{} << legacy(0, 1, 0x1F, 0xA0, 7, 0, 0) << 1;
        QTest::newRow("no advertising channel") << QStringList{} << legacy(0, 1, 0x20, 0xA0, 0, 0, 0) << 1;
        QTest::newRow("a connectable broadcaster") << QStringList{} << legacy(0, 3, 0x20, 0xA0, 7, 0, 0) << 1;
        QTest::newRow("index 5") << QStringList{} << legacy(0, 1, 0x20, 0xA0, 7, 0, 5) << 21;
        QTest::newRow("extended connectable and scannable") << QStringList{} << extended(0x03, 1, 0x20, 0xA0, 1, 2, 0, 0, 0, 1) << 1;
        QTest::newRow("SID 16") << QStringList{} << extended(0x01, 1, 0x20, 0xA0, 1, 2, 16, 0, 0, 1) << 1;
        QTest::newRow("periodic and connectable") << QStringList{} << periodic(0x01, 0x50, 0x50, 2) << 1;
        QTest::newRow("data of a set without parameters") << QStringList{} << "25 00 00 00" << 9;
        QTest::newRow("data longer than its frame") << QStringList{legacy0} << "25 00 05 02 01 00" << 1;
        QTest::newRow("legacy data of 29 bytes, 32 with the Flags") << QStringList{legacy0}
                                                                     << "25 00" + block(name29, 1) + block("", 1) << 14;
        QTest::newRow("connectable extended data past one PDU")
            << QStringList{extended1} << "2D 01" + block("F2 FF" + QString(" 00").repeated(241)) + block("") << 14;
        QTest::newRow("scan response of a set that is not scannable")
            << QStringList{legacy(1, 1, 0x20, 0xA0, 7, 0, 0)} << "25 00 00 03 02 09 41" << 22;
        QTest::newRow("legacy data for an extended set") << QStringList{extended1} << "25 01 00 00" << 22;
        QTest::newRow("start of a set that advertises") << QStringList{legacy0, "27 00"} << "27 00" << 15;
        QTest::newRow("stop of a set that does not advertise") << QStringList{legacy0} << "29 00" << 15;
        // Parameters that came after the data no longer suit it.
        QTest::newRow("start of data that the parameters refuse")
            << QStringList{legacy0, "25 00 00 03 02 09 41", legacy(1, 1, 0x20, 0xA0, 7, 0, 0)} << "27 00" << 22;
    }
    void refusals()
    {
        QFETCH(QStringList, before);
        QFETCH(QString, refused);
        QFETCH(int, status);
        Bench bench;
        bench.feed(before);
        const auto sets = setsOf(bench.air, 1).keys();
        bench.up.clear();
        bench.feed({refused});
        const QString ack = QString("BB@01@%1").arg(refused.left(2));
        QCOMPARE(uplinkIds(bench.up), QStringList({ack, "FF@00@00"}));
        QCOMPARE(int(quint8(bench.up.at(5))), status);
        QCOMPARE(setsOf(bench.air, 1).keys(), sets);
    }
    // A set ends by the host's stop or by its own limits, its reason in DD@01@2A, and leaves the air.
    void ends_data()
    {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("ups"); // after the last command
        QTest::addColumn<int>("atLeastMs"); // from the last command to the end

        QTest::newRow("stopped by the host") << QStringList{legacy(0, 1, 0x20, 0xA0, 7, 0, 0), "27 00", "29 00"}
                                             << "BB 01 29 01 00 00 1A | DD 01 2A 03 00 00 00 00 F5" << 0;
        QTest::newRow("a duration of 100 ms") << QStringList{legacy(1, 3, 0x20, 0xA0, 7, 10, 0), "27 00"}
                                              << "BB 01 27 01 00 00 1C | DD 01 28 02 00 00 00 F8 | DD 01 2A 03 00 00 01 00 F4"
                                              << 90;
        QTest::newRow("three events of 20 ms before a duration of 1 s")
            << QStringList{extended(0x00, 3, 0x20, 0x20, 1, 2, 0, 100, 3, 1), "2F 01"}
            << "BB 01 2F 01 00 00 14 | DD 01 28 02 00 00 01 F7 | DD 01 2A 03 00 00 02 01 F2" << 54;
        QTest::newRow("directed at a high duty cycle, nobody connects")
            << QStringList{legacy(3, 0, 0, 0, 7, 0, 3), "27 03"}
            << "BB 01 27 01 00 00 1C | DD 01 28 02 00 00 03 F5 | DD 01 2A 03 00 00 01 03 F1" << 1200;
    }
    void ends()
    {
        QFETCH(QStringList, commands);
        QFETCH(QString, ups);
        Bench bench;
        bench.feed(commands.mid(0, commands.size() - 1));
        bench.up.clear();
        QElapsedTimer clock;
        clock.start();
        bench.feed({commands.last()});
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(bench.up).contains("DD@01@2A"), 5000);
        QFETCH(int, atLeastMs);
        QVERIFY2(clock.elapsed() >= atLeastMs, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(bench.up.toHex(' '), frames(ups).toHex(' '));
        QVERIFY(setsOf(bench.air, 1).isEmpty());
    }
    // A second dongle hears two connectable sets of dongle 1 and connects: the set it came through
    // ends after DD@01@06, role 1, and the other set goes on, heard and free to connect to.
    void connectionEndsItsSet()
    {
        QByteArray up0;
        Bench bench;
        VirtualDongle central(0, &bench.air);
        connect(&central, &VirtualDongle::uplink, this, [&up0](const QByteArray& bytes) { up0 += bytes; });
        central.feed(hex(kReset));
        // Set 3 goes first on the air, so the central finds it first.
        bench.feed({legacy(0, 1, 0x20, 0x20, 7, 0, 3), "25 03 03 02 09 41 00", "27 03", legacy(0, 1, 0x20, 0x20, 7, 0, 0),
                    "25 00 03 02 09 42 00", "27 00"});
        central.feed(hex(kActiveScan));
        QTRY_VERIFY_WITH_TIMEOUT(up0.contains(hex("02 01 06 02 09 41")), 5000);
        central.feed(hex(kStopScan));

        bench.up.clear();
        central.feed(hex(kConnectDongle1));
        QTRY_COMPARE_WITH_TIMEOUT(bench.up.toHex(' '),
                                  frames("DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 05 00 10 53 00 5E 00 00 01 D3 | "
                                         "DD 01 2A 03 00 00 03 03 EF").toHex(' '),
                                  5000);
        QCOMPARE(setsOf(bench.air, 1).keys(), QList<int>{0});

        up0.clear();
        central.feed(hex(kActiveScan));
        QTRY_VERIFY_WITH_TIMEOUT(up0.contains(hex("02 01 06 02 09 42")), 5000);
    }
    // A reset ends every set without a word and keeps what the host set; an unplug forgets it.
    void resetEndsAllSilently_data()
    {
        QTest::addColumn<bool>("unplug");
        QTest::addColumn<QString>("startAfter");
        // Set 0 lasts 200 ms: had set 4 kept its timer of 100 ms, its end would come first.
        QTest::newRow("reset") << false
                               << "BB 01 27 01 00 00 1C | DD 01 28 02 00 00 00 F8 | DD 01 2A 03 00 00 01 00 F4";
        QTest::newRow("unplug") << true << "BB 01 27 01 00 09 13 | log: Legacy Advertising Start: set 0 has no parameters";
    }
    void resetEndsAllSilently()
    {
        QFETCH(bool, unplug);
        Bench bench;
        bench.feed({legacy(1, 3, 0x20, 0xA0, 7, 20, 0), "27 00", extended(0, 3, 0x20, 0xA0, 1, 2, 0, 10, 0, 4), "27 04"});
        QCOMPARE(setsOf(bench.air, 1).size(), 2);
        if (unplug)
            bench.dongle.powerCycle();
        bench.up.clear();
        bench.dongle.feed(hex(kReset));
        QCOMPARE(uplinkIds(bench.up), QStringList({"BB@00@01", "CC@00@02", "FF@00@00"}));
        QVERIFY(setsOf(bench.air, 1).isEmpty());

        bench.up.clear();
        bench.feed({"27 00"});
        QFETCH(QString, startAfter);
        QTRY_COMPARE_WITH_TIMEOUT(bench.up.toHex(' '), frames(startAfter).toHex(' '), 5000);
    }
};

QTEST_GUILESS_MAIN(tst_AdvertiserEngine)
#include "tst_advertiserengine.moc"
