#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QXmlStreamReader>
#include <QtTest>

#include "air/virtualair.h"
#include "air/blecrypto.h"
#include "dongle/connectionmanager.h"
#include "dongle/devicelistsengine.h"
#include "dongle/initiatorengine.h"
#include "dongle/localdeviceengine.h"
#include "dongle/logflood.h"
#include "dongle/periodicsyncengine.h"
#include "dongle/scannerengine.h"
#include "dongle/virtualdongle.h"
#include "proto/commandtable.h"
#include "uplinkbytes.h"
#include "world/worldloader.h"

static const char* const kConnectThermo = CONNECT("00 01 00 00", "03 00 00 10 5A C6 01 00 14");
static const char* const kConnectBeacon = CONNECT("00 01 00 00", "04 00 00 10 5A C6 01 00 13");
static const char* const kAutoConnect50ms = CONNECT("01 01 05 00", "00 00 00 00 00 00 00 00 42");
static const char* const kAutoConnect = CONNECT("01 01 00 00", "00 00 00 00 00 00 00 00 47");
static const char* const kConnectAck = "BB 01 3F 01 00 00 04";
static const char* const kHrCondix0 = "DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 00 01 01 00 00 10 5A C6 00 68";
static const char* const kThermoCondix0 = "DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 00 01 03 00 00 10 5A C6 00 66";
static const char* const kDataLength251 = "AA 01 43 05 00 00 FB 00 48 08 C2"; // 251 octets in 2120 us
static const char* const kPhyAny = "AA 01 4B 04 00 00 07 07 00 F8";
static const char* const kAccept = "AA 01 39 02 00 01 00 19";
// Set 0 legacy, set 1 extended, set 2 periodic, each without data.
static const char* const kLegacySet0 = "AA 01 23 15 00 00 01 00 00 00 00 00 00 00 00 20 00 20 00 07 00 00 00 00 00 00 D5";
static const char* const kExtendedSet1 = "AA 01 2B 1E 00 01 00 00 00 00 00 00 00 00 00 00 00 20 00 00 00 20 00 00 00 07 01 00 "
                                         "02 03 00 00 00 01 00 BD";
// Group 1 with stream 1 (handle 0x0100): 20 bytes every 10 ms both ways on LE 2M; created on condix 0.
static const char* const kCigSet = "AA 06 02 1A 00 01 10 27 00 00 10 27 00 00 00 00 00 14 00 14 00 01 01 14 00 14 00 02 02 02 02 6B";
static const char* const kCreateCis = "AA 06 03 04 00 01 00 01 00 47";
static const char* const kPeriodicSet2 = "AA 01 31 22 00 00 00 00 00 00 00 00 00 00 00 00 00 20 00 00 00 20 00 00 00 07 01 00 "
                                         "02 03 50 00 50 00 00 00 00 02 00 13";

// What the simulator says of its own faults (an uplink refused by its row, a request read by a
// key its row lacks) fails the case it happens in.
static QStringList s_faults;
static QtMessageHandler s_defaultHandler = nullptr;

static void recordFaults(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtCriticalMsg && message.startsWith("tarvine-sim: "))
        s_faults.append(message);
    s_defaultHandler(type, context, message);
}

// The ack of a command; Accept Create COC Request is acked as COC Request Reply, as the stack does.
static QString ackOf(const QString& id)
{
    return id == "04@07" ? QStringLiteral("BB@07@01") : "BB@" + id;
}

// The simulator's protocol engine in-process: downlink bytes in, uplink bytes out.
class tst_VirtualDongle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Responder::setChecking(true);
        s_defaultHandler = qInstallMessageHandler(recordFaults);
    }
    void cleanup()
    {
        const QStringList faults = std::exchange(s_faults, {});
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join('\n')));
    }
    // Each step is downlink hex, or "mute", "status ID N", "drop CONDIX", "split N HEX" (in chunks
    // of N bytes); after it comes all the uplink of its row in `ups`.
    void dialogues_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("ups");
        // Most dialogues start with a reset and its answer.
        const auto row = [](const char* name, const QStringList& steps, const QStringList& ups) {
            QTest::newRow(name) << QStringList{kReset} + steps << QStringList{kResetAnswer} + ups;
        };
        const QString hrAt0 = QString(kConnectAck) + " | " + kHrCondix0;

        QTest::newRow("query before the first reset is not answered") << QStringList{"AA 00 03 00 00 53"}
                                                                      << QStringList{""};
        row("Device Type Get", {"AA 00 03 00 00 53"}, {"BB 00 03 01 00 00 41 | DD 00 03 01 00 01 1E"});
        row("Add Whitelist then Get Whitelist", {"AA 01 09 07 00 01 02 03 04 05 06 01 2F AA 01 0D 00 00 48"},
            {"BB 01 09 01 00 00 3A | BB 01 0D 01 00 00 36 | DD 01 0E 07 00 01 02 03 04 05 06 01 F7"});
        row("Heart Beat Detect muted", {"mute", "AA 01 84 00 00 D1"}, {"", ""});
        row("status set by control", {"status 01@84 6", "AA 01 84 00 00 D1"}, {"", "BB 01 84 01 00 06 B9"});
        row("bad checksum: its header dropped, the rest read again", {"AA 00 03 00 00 54"},
            {"log: uart rx: checksum error in 00@03, header dropped | log: uart rx: dropped 5 bytes without frame header"});
        row("unknown id dropped with a log line", {"AA 01 FE 00 00 57"}, {"log: uart rx: unknown command 01@FE, frame dropped"});
        row("garbage before a frame dropped with a log line, frame answered", {"01 02 03 AA 01 84 00 00 D1"},
            {"log: uart rx: dropped 3 bytes without frame header | BB 01 84 01 00 00 BF"});
        row("known command not simulated", {frame("AA 01 05", "")}, {ackFrame("01@05", 17)});
        row("advertising data built by hand is a known command", {"AA 01 25 06 00 00 03 02 01 06 00 1E"},
            {"BB 01 25 01 00 09 15 | log: Legacy Advertising Data Set: set 0 has no parameters"});
        row("Device Name Set then Get", {"AA 01 59 04 00 03 41 42 43 2F AA 01 5B 00 00 FA"},
            {"BB 01 59 01 00 00 EA | BB 01 5B 01 00 00 E8 | DD 01 5C 04 00 03 41 42 43 F9"});
        row("Appearance Set too short", {"AA 01 5D 01 00 41 B6"},
            {"BB 01 5D 01 00 0E D8 | log: Appearance Set: payload of 1 bytes, 2 expected"});
        row("Stop Scan while idle", {"AA 01 03 00 00 52"}, {"BB 01 03 01 00 0F 31"});
        row("scan start and stop", {QString(kActiveScan) + " AA 01 03 00 00 52"},
            {"BB 01 3D 01 00 00 06 | DD 01 F0 01 00 00 31 | BB 01 03 01 00 00 40 | DD 01 04 02 00 00 00 1C"});
        // Chunks of five cut both a header and a frame before its checksum.
        row("queries split in chunks of five", {"split 5 AA 01 84 00 00 D1 AA 00 03 00 00 53"},
            {"BB 01 84 01 00 00 BF | BB 00 03 01 00 00 41 | DD 00 03 01 00 01 1E"});

        row("heart-rate sensor: master, condix 0", {kConnectHr}, {hrAt0});
        row("second connection takes condix 1", {kConnectHr, kConnectThermo},
            {hrAt0, QString(kConnectAck) + " | DD 01 06 12 00 00 01 01 0A 00 01 00 64 00 00 01 03 00 00 10 5A C6 00 65"});
        // The cancel is accepted only while the connection to the non-connectable beacon is pending.
        row("cancel while pending", {kConnectBeacon, "AA 01 49 00 00 0C"},
            {kConnectAck, "BB 01 49 01 00 00 FA | DD 01 4A 01 00 00 D7"});
        row("Disconnect: terminated by local host", {kConnectHr, "AA 01 07 01 00 00 4D"},
            {hrAt0, "BB 01 07 01 00 00 3C | DD 01 08 03 00 00 16 00 01"});
        row("drop: remote user, then the peer advertises again", {kConnectHr, "drop 0", kConnectHr},
            {hrAt0, "DD 01 08 03 00 00 13 00 04", hrAt0});
        row("auto connect, empty white list, times out", {kAutoConnect50ms}, {QString(kConnectAck) + " | DD 01 80 00 00 A2"});
        row("auto connect to the white-listed thermometer", {"AA 01 09 07 00 03 00 00 10 5A C6 01 11", kAutoConnect},
            {"BB 01 09 01 00 00 3A", QString(kConnectAck) + " | " + kThermoCondix0});

        // The commands that name a link, on the heart-rate sensor (5.1, no LE Coded) at condix 0; its
        // version and features are read end to end in tst_e2e_gap.
        const auto onSensor = [&](const char* name, const QStringList& steps, const QStringList& ups) {
            row(name, QStringList{kConnectHr} + steps, QStringList{hrAt0} + ups);
        };
        onSensor("Get Connection RSSI", {"AA 01 51 01 00 00 03"}, {"BB 01 51 01 00 00 F2 | DD 01 52 03 00 00 D0 00 FD"});
        onSensor("Get Connection PHY", {"AA 01 55 01 00 00 FF"}, {"BB 01 55 01 00 00 EE | DD 01 56 04 00 00 01 01 00 C6"});
        onSensor("Get Selection Algorithm: #2 on both ends", {"AA 01 57 01 00 00 FD"},
                 {"BB 01 57 01 00 00 EC | DD 01 58 03 00 00 01 00 C6"});
        onSensor("Update Connection Parameters Request: the central moves the link", {kUpdateParameters},
                 {QString("BB 01 37 01 00 00 0C | ") + kParametersUpdated});
        onSensor("a second move while one is under way is disallowed", {QString(kUpdateParameters) + kUpdateParameters},
                 {QString("BB 01 37 01 00 00 0C | BB 01 37 01 00 0F FD | ") + kParametersUpdated});
        onSensor("parameters refused at the supervision bound", {"AA 01 37 0B 00 20 00 28 00 04 00 32 00 00 00 00 95"},
                 {"BB 01 37 01 00 01 0B | log: Update Connection Parameters Request: supervision timeout 50 too short or too long"});
        onSensor("parameters refused below 7.5 ms", {"AA 01 37 0B 00 05 00 18 00 00 00 C8 00 00 00 00 2E"},
                 {"BB 01 37 01 00 01 0B | log: Update Connection Parameters Request: connection interval 5 to 24 out of range"});
        onSensor("Data Length Update taken whole", {kDataLength251},
                 {"BB 01 43 01 00 00 00 | DD 01 44 0A 00 00 00 FB 00 48 08 1B 00 48 01 25"});
        onSensor("Data Length Update refused below 27 octets", {"AA 01 43 05 00 00 1A 00 48 01 AA"},
                 {"BB 01 43 01 00 01 FF | log: Data Length Update: 26 octets in 328 us out of range"});
        onSensor("PHY Update to the fastest both take", {kPhyAny}, {"BB 01 4B 01 00 00 F8 | DD 01 4C 04 00 00 00 02 02 CE"});
        onSensor("PHY Update to LE Coded, which the sensor lacks", {"AA 01 4B 04 00 00 04 04 01 FD"},
                 {"BB 01 4B 01 00 00 F8 | DD 01 4C 04 00 00 00 01 01 D0"});
        onSensor("PHY Update refused without a PHY", {"AA 01 4B 04 00 00 00 07 00 FF"},
                 {"BB 01 4B 01 00 01 F7 | log: PHY Update: PHY masks 0 and 7 with options 0 unknown"});
        onSensor("RF TX Power Set past the radio is clamped", {"AA 01 81 02 00 00 7F 53"}, {"BB 01 81 01 00 00 C2"});
        onSensor("Reply with no request to answer", {kAccept}, {"BB 01 39 01 00 0F FB"});
        // The peer's requests, and the host's answers to them, are checked between two dongles in tst_link.
        // Each command that names a link, on condix 5.
        row("unknown condix", {"AA 01 07 01 00 05 48 AA 01 37 0B 00 10 00 18 00 00 00 C8 00 00 00 05 1E AA 01 39 02 00 01 05 14 "
                               "AA 01 43 05 00 05 FB 00 48 08 BD AA 01 4B 04 00 05 07 07 00 F3 AA 01 81 02 00 05 00 CD "
                               "AA 01 4D 01 00 05 02 AA 01 4F 01 00 05 00 AA 01 51 01 00 05 FE AA 01 53 01 00 05 FC "
                               "AA 01 55 01 00 05 FA AA 01 57 01 00 05 F8"},
            {"BB 01 07 01 00 03 39 | BB 01 37 01 00 03 09 | BB 01 39 01 00 03 07 | BB 01 43 01 00 03 FD | "
             "BB 01 4B 01 00 03 F5 | BB 01 81 01 00 03 BF | BB 01 4D 01 00 03 F3 | BB 01 4F 01 00 03 F1 | "
             "BB 01 51 01 00 03 EF | BB 01 53 01 00 03 ED | BB 01 55 01 00 03 EB | BB 01 57 01 00 03 E9"});
        // The thermometer: 4.0, encryption alone, LE 1M alone.
        const QString thermoAt0 = QString(kConnectAck) + " | " + kThermoCondix0;
        row("a 4.0 peer's version and algorithm #1", {kConnectThermo, "AA 01 4D 01 00 00 07", "AA 01 57 01 00 00 FD"},
            {thermoAt0, "BB 01 4D 01 00 00 F6 | DD 01 4E 07 00 00 FF FF 03 00 06 00 C6",
             "BB 01 57 01 00 00 EC | DD 01 58 03 00 00 00 00 C7"});
        row("Data Length Update held where the peer lacks the extension", {kConnectThermo, kDataLength251},
            {thermoAt0, "BB 01 43 01 00 00 00 | DD 01 44 0A 00 00 00 1B 00 48 01 1B 00 48 01 0C"});
        row("PHY Update stays on LE 1M", {kConnectThermo, kPhyAny}, {thermoAt0, "BB 01 4B 01 00 00 F8 | DD 01 4C 04 00 00 00 01 01 D0"});
        // Channels 0, 1 and 36, set before the link comes.
        row("Channel Map Set, then a link hops on it", {"AA 01 69 05 00 03 00 00 00 10 D4", kConnectHr, "AA 01 53 01 00 00 01"},
            {"BB 01 69 01 00 00 DA", hrAt0, "BB 01 53 01 00 00 F0 | DD 01 54 07 00 00 03 00 00 00 10 00 B4"});
        // The lists and the bonds. The sample key of the core: ec0234a357c8ad05341010a60a397d9b.
        const QString entry = "09 00 00 10 5A C6 01";
        const QString irkWire = "9b 7d 39 0a a6 10 10 34 05 ad c8 57 a3 34 02 ec";
        const QString localIrkWire = "00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee 00";
        row("periodic list: added, the same again refused, listed", {frame("AA 01 17", entry + " 03"),
            frame("AA 01 17", entry + " 03"), frame("AA 01 1B", "")},
            {ackFrame("01@17"), ackFrame("01@17", 10), ackFrame("01@1B") + " | " + frame("DD 01 1C", entry + " 03")});
        row("periodic list: a SID past 15 refused", {frame("AA 01 17", entry + " 10")}, {ackFrame("01@17", 1)});
        row("white list: deleting what it lacks refused, clear", {frame("AA 01 0B", entry), frame("AA 01 0F", "")},
            {ackFrame("01@0B", 9), ackFrame("01@0F")});
        row("bond with a key: in the bond and resolving lists, privacy mode changed",
            {"bond " + entry + " " + irkWire, frame("AA 01 13", ""), frame("AA 01 80", entry + " 01"), frame("AA 01 7E", "")},
            {"", ackFrame("01@13") + " | " + frame("DD 01 14", entry), ackFrame("01@80"),
             ackFrame("01@7E") + " | " + frame("DD 01 7F", entry + " 01 " + irkWire + " " + localIrkWire)});
        row("bond without a key: no resolving entry, no privacy mode, deleted",
            {"bond " + entry, frame("AA 01 7E", ""), frame("AA 01 80", entry + " 01"), frame("AA 01 11", entry),
             frame("AA 01 11", entry)},
            {"", ackFrame("01@7E") + " | " + frame("DD 01 7F", ""), ackFrame("01@80", 9), ackFrame("01@11"),
             ackFrame("01@11", 9)});
        row("resolvable address of an identity the dongle does not know", {frame("AA 01 85", "01 01 09 00 00 10 5A C6")},
            {ackFrame("01@85") + " | " + frame("DD 01 86", "92 01 00 00 00 00 00 00")});
        // The dongle's own queries: defaults, then what the host set.
        row("data length, default then set", {frame("AA 01 73", ""), frame("AA 01 41", "FB 00 48 08"), frame("AA 01 73", "")},
            {ackFrame("01@73") + " | " + frame("DD 01 74", "1B 00 48 01"), ackFrame("01@41"),
             ackFrame("01@73") + " | " + frame("DD 01 74", "FB 00 48 08")});
        row("abilities: data lengths, sets, data, power",
            {frame("AA 01 75", ""), frame("AA 01 77", ""), frame("AA 01 79", ""), frame("AA 01 7B", "")},
            {ackFrame("01@75") + " | " + frame("DD 01 76", "FB 00 48 08 FB 00 48 08"),
             ackFrame("01@77") + " | " + frame("DD 01 78", "05"), ackFrame("01@79") + " | " + frame("DD 01 7A", "72 06"),
             ackFrame("01@7B") + " | " + frame("DD 01 7C", "0A EC")});
        row("RF path compensation set, then read", {frame("AA 01 6D", "0A 00 F6 FF"), frame("AA 01 7D", "")},
            {ackFrame("01@6D"), ackFrame("01@7D") + " | " + frame("DD 01 7E", "0A 00 F6 FF")});
        row("Channel Map Set of one channel refused", {"AA 01 69 05 00 01 00 00 00 00 E6"},
            {"BB 01 69 01 00 01 D9 | log: Channel Map Set: channel map 0100000000 unusable"});
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
            else if (step.startsWith(QLatin1String("bond ")))
                QCOMPARE(dongle.deviceLists()->addBond(hex(step.mid(5, 17)), quint8(hex(step.mid(23, 2)).at(0)),
                                                       hex(step.mid(26))),
                         QString());
            else if (step.startsWith(QLatin1String("drop ")))
                QVERIFY(dongle.connections()->drop(arg1.toInt()));
            else if (step.startsWith(QLatin1String("split ")))
                for (int at = 0; at < hex(rest).size(); at += arg1.toInt())
                    dongle.feed(hex(rest).mid(at, arg1.toInt()));
            else
                dongle.feed(hex(step));
            QTRY_COMPARE_WITH_TIMEOUT(up.toHex(' '), frames(ups.at(i)).toHex(' '), 5000);
        }
        QVERIFY(!dongle.initiator()->isConnecting()); // every procedure has ended
    }
    // The default world's broadcaster (C6:5A:10:00:00:06, SID 2, every 100 ms) while scanning:
    // synced at index 0, its data reported, then lost; an address nobody has times out; a
    // second attempt on an index in use is refused.
    void periodicSync()
    {
        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QByteArray up;
        connect(&dongle, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        const auto frames = [&up](const QString& id) {
            QList<QByteArray> found;
            for (const QByteArray& frame : cut(up))
                if (QString(frame.left(3).toHex('@')).toUpper() == id)
                    found.append(frame);
            return found;
        };
        dongle.feed(hex(kReset));
        dongle.feed(hex(kActiveScan));
        // index 0, skip 0, timeout 1 s, the named advertiser
        dongle.feed(hex(frame("AA 01 1F", "00 00 00 64 00 00 06 00 00 10 5A C6 01 02")));
        QTRY_COMPARE_WITH_TIMEOUT(frames("DD@01@20").size(), 1, 5000);
        QCOMPARE(frames("BB@01@1F").first().toHex(' '), frame("BB 01 1F", "00").toLower());
        QCOMPARE(frames("DD@01@20").first().toHex(' '),
                 frame("DD 01 20", "00 00 02 50 00 02 05 06 00 00 10 5A C6 01 01 00").toLower());
        const auto periodicReports = [&] {
            int count = 0;
            for (const QByteArray& report : frames("DD@01@02"))
                if (report.at(15) == 4 && report.at(21) == 0 && report.mid(24, 12) == hex("0BFFFFFF0102030405060708"))
                    ++count;
            return count;
        };
        QTRY_VERIFY_WITH_TIMEOUT(periodicReports() >= 2, 5000);
        dongle.feed(hex(frame("AA 01 1F", "00 00 00 64 00 00 06 00 00 10 5A C6 01 02")));
        QTRY_COMPARE_WITH_TIMEOUT(frames("BB@01@1F").last().toHex(' '), frame("BB 01 1F", "0F").toLower(), 5000);
        QVERIFY(dongle.periodicSync()->lose(0));
        QCOMPARE(frames("DD@01@82").last().toHex(' '), frame("DD 01 82", "00").toLower());
        QVERIFY(!dongle.periodicSync()->lose(0));

        // index 1, timeout 100 ms, an address nobody advertises
        dongle.feed(hex(frame("AA 01 1F", "01 00 00 0A 00 00 07 00 00 10 5A C6 01 02")));
        QTRY_COMPARE_WITH_TIMEOUT(frames("DD@01@20").size(), 2, 5000);
        QCOMPARE(frames("DD@01@20").last().toHex(' '),
                 frame("DD 01 20", "01 CE 00 00 00 02 00 07 00 00 10 5A C6 01 00 00").toLower());
    }
    void rfCalibrationKept()
    {
        VirtualAir air;
        VirtualDongle dongle(0, &air);
        dongle.feed(hex(kReset));
        dongle.feed(hex(frame("AA 01 83", "34 12")));
        QCOMPARE(dongle.localDevice()->rfCalibration(), quint16(0x1234));
    }
    // Addresses read back resolve with the key they come from, and stay until the next reset.
    void resolvableAddresses()
    {
        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QByteArray up;
        connect(&dongle, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        dongle.feed(hex(kReset));
        const QByteArray peerIrk = hex("ec0234a357c8ad05341010a60a397d9b");
        const QByteArray localIrk = hex("000102030405060708090a0b0c0d0e0f");
        QByteArray wire = peerIrk;
        std::reverse(wire.begin(), wire.end());
        QCOMPARE(dongle.deviceLists()->addBond(hex("090000105AC6"), 1, wire), QString());
        wire = localIrk;
        std::reverse(wire.begin(), wire.end());
        dongle.feed(hex(frame("AA 01 67", QString(wire.toHex(' ')))));
        const auto read = [&](int op) {
            up.clear();
            dongle.feed(hex(frame("AA 01 85", QString("0%1 01 09 00 00 10 5A C6").arg(op))));
            [&] { QTRY_COMPARE_WITH_TIMEOUT(up.size(), 7 + 14, 5000); }();
            return up.mid(7 + 7, 6);
        };
        const QByteArray peerRpa = read(1);
        QVERIFY2(BleCrypto::resolves(peerIrk, peerRpa), peerRpa.toHex().constData());
        QCOMPARE(read(1), peerRpa);
        const QByteArray localRpa = read(0);
        QVERIFY2(BleCrypto::resolves(localIrk, localRpa), localRpa.toHex().constData());
        QVERIFY(!BleCrypto::resolves(peerIrk, localRpa));
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

        QTest::newRow("active scan: advertising report, then scan response") << legacy << hex(kActiveScan) << legacyAdv
            << hex("DD 01 02 19 00 09 00 00 10 5A C6 01 00 D0 07 03 01 00 FF 00 00 FF 06 00 05 09 54 45 53 54 A0");
        // Duration 100 ms; the advertiser, every 50 ms, is reported once.
        QTest::newRow("passive scan filtering duplicates: no scan response, no repeat, ends by itself") << legacy
            << hex("AA 01 3D 10 00 02 01 10 00 10 00 10 00 10 00 0A 00 00 00 01 00 BA") << legacyAdv
            << hex("DD 01 04 02 00 00 01 1B");
        QTest::newRow("extended periodic advertiser") << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:00:09",
            "kind": "extended", "connectable": false, "intervalMs": 50, "txPower": 8, "rssi": -48, "sid": 2,
            "periodicIntervalMs": 100, "advData": "020104"}]})") << hex(kActiveScan)
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
        dongle.feed(hex(kStopScan));
        QVERIFY(!dongle.scanner()->isScanning());
    }
    // A host that stops the scan, or resets the dongle, on its first report, as a tool may: nothing
    // of the scan comes after, not even the scan response of the same event.
    void stoppedOnTheFirstReport_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QStringList>("after");
        QTest::newRow("Stop Scan") << kStopScan << QStringList{"BB@01@03", "DD@01@04"};
        QTest::newRow("Reset") << kReset << QStringList{"BB@00@01", "CC@00@02", "FF@00@00"};
    }
    void stoppedOnTheFirstReport()
    {
        QFETCH(QString, answer);
        QByteArray up;
        VirtualAir air;
        QVector<VirtualAdvertiser> scannable;
        QVERIFY(WorldLoader("world.json").parse(R"({"devices": [{"address": "C6:5A:10:00:00:09", "intervalMs": 50}]})",
                                                &scannable));
        air.setWorld(scannable);
        VirtualDongle dongle(0, &air);
        dongle.feed(hex(kReset));
        connect(&dongle, &VirtualDongle::uplink, this, [&](const QByteArray& frame) {
            const bool first = !up.contains(hex("DD 01 02"));
            up += frame;
            if (first && frame.startsWith(hex("DD 01 02")))
                dongle.feed(hex(answer));
        });
        dongle.feed(hex(kActiveScan));
        QFETCH(QStringList, after);
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(up).contains(after.last()), 5000);
        QCOMPARE(uplinkIds(up), QStringList({"BB@01@3D", "DD@01@F0", "DD@01@02"}) + after);
    }
    // Scan reports of a crowd and a log flood at its top rate, together, never offer more than
    // the link carries, so that acks and heartbeats don't queue up behind them.
    void bulkTrafficFitsTheLink()
    {
        qint64 bytes = 0;
        int lines = 0;
        VirtualAir air;
        QVector<VirtualAdvertiser> crowd;
        WorldLoader loader(SRCDIR "../../sim/worlds/crowd-1000.json");
        QVERIFY2(loader.load(&crowd), qPrintable(loader.error()));
        air.setWorld(crowd);
        VirtualDongle dongle(0, &air);
        dongle.feed(hex(kReset));
        connect(&dongle, &VirtualDongle::uplink, this, [&bytes, &lines](const QByteArray& frame) {
            bytes += frame.size();
            lines += quint8(frame.at(0)) == 0xFF;
        });
        QElapsedTimer clock;
        clock.start();
        dongle.feed(hex(kActiveScan));
        dongle.setFlood(LogFlood::MaxLinesPerSecond);
        // Two seconds, so that the first burst of reports is a small part of the whole.
        QTRY_VERIFY_WITH_TIMEOUT(lines >= 2 * LogFlood::MaxLinesPerSecond, 20000);
        const qint64 ms = clock.elapsed();
        QVERIFY2(bytes * 1000 < VirtualDongle::LinkBytesPerSecond * ms,
                 qPrintable(QStringLiteral("%1 bytes in %2 ms").arg(bytes).arg(ms)));
    }
    // Every command that an engine answers, driven after a reset with a payload of zeros unless a
    // row here says better ("wait ID" waits for that uplink); every frame that comes up is held
    // against its row in up_link_command.xml. New handlers join by themselves.
    void conformance_data()
    {
        QTest::addColumn<QStringList>("requests");
        QTest::addColumn<QString>("last"); // the uplink that ends the case

        QMap<QString, QPair<QStringList, QString>> better = {
            {"01@3D", {{"AA 01 3D 10 00 02 05 10 00 10 00 10 00 10 00 0A 00 00 00 00 00 B7"}, "DD@01@04"}},
            {"01@03", {{kActiveScan, kStopScan}, "DD@01@04"}},
            {"01@3F", {{kConnectHr}, "DD@01@06"}},
            {"01@07", {{kConnectHr, "wait DD@01@06", "AA 01 07 01 00 00 4D"}, "DD@01@08"}},
            {"01@49", {{kConnectBeacon, "AA 01 49 00 00 0C"}, "DD@01@4A"}},
            {"01@59", {{"AA 01 59 04 00 03 41 42 43 2F"}, "BB@01@59"}},
            {"01@37", {{kConnectHr, "wait DD@01@06", kUpdateParameters}, "DD@01@38"}},
            {"01@39", {{kConnectHr, "wait DD@01@06", "request", "wait DD@01@3C", kAccept}, "DD@01@38"}},
            {"01@43", {{kConnectHr, "wait DD@01@06", kDataLength251}, "DD@01@44"}},
            {"01@4B", {{kConnectHr, "wait DD@01@06", kPhyAny}, "DD@01@4C"}},
            {"01@27", {{kLegacySet0, "AA 01 27 01 00 00 2D"}, "DD@01@28"}},
            {"01@2F", {{kExtendedSet1, "AA 01 2F 01 00 01 24"}, "DD@01@28"}},
            {"01@35", {{kPeriodicSet2, "AA 01 35 01 00 02 1D"}, "DD@01@28"}},
            {"01@29", {{kLegacySet0, "AA 01 27 01 00 00 2D", "AA 01 29 01 00 00 2B"}, "DD@01@2A"}},
            {"06@02", {{kCigSet}, "DD@06@02"}},
            {"06@03", {{kConnectHr, "wait DD@01@06", kCigSet, kCreateCis}, "DD@06@03"}},
        };
        // The Gets of a link, each with its result.
        for (const char* get : {"AA 01 4D 01 00 00 07", "AA 01 4F 01 00 00 05", "AA 01 51 01 00 00 03",
                                "AA 01 53 01 00 00 01", "AA 01 55 01 00 00 FF", "AA 01 57 01 00 00 FD"}) {
            const QString id = QString(hex(get).mid(1, 2).toHex('@')).toUpper();
            better.insert(id, {{kConnectHr, "wait DD@01@06", get}, "DD@01@" + QString::number(hex(get).at(2) + 1, 16).toUpper()});
        }
        VirtualAir air;
        const VirtualDongle dongle(0, &air);
        for (const QString& id : dongle.router().ids()) {
            if (better.contains(id)) {
                QTest::newRow(qPrintable(id)) << better.value(id).first << better.value(id).second;
                continue;
            }
            const int length = qMax(0, SimCommandTable::instance().downlink(id)->fixedPayloadLength());
            const QByteArray head = hex("AA " + QString(id).replace('@', ' ')) + char(length) + char(0);
            QTest::newRow(qPrintable(id)) << QStringList{withChecksum(head + QByteArray(length, 0)).toHex()} << ackOf(id);
        }
        QTest::newRow("01@3F: auto connect times out") << QStringList{kAutoConnect50ms} << "DD@01@80";
    }
    void conformance()
    {
        QFETCH(QStringList, requests);
        QFETCH(QString, last);

        VirtualAir air;
        VirtualDongle dongle(0, &air);
        QByteArray up;
        connect(&dongle, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        dongle.feed(hex(kReset));
        const auto ids = [&up] { return uplinkIds(up); };
        for (const QString& request : requests) {
            if (request.startsWith("wait ")) {
                QTRY_VERIFY_WITH_TIMEOUT(ids().contains(request.mid(5)), 5000);
                continue;
            }
            if (request == "request") { // the peer of condix 0 asks for new parameters
                QCOMPARE(dongle.connections()->requestFromPeer(0, 16, 24, 0, 200), QString());
                continue;
            }
            dongle.feed(hex(request));
            const QString ack = ackOf(QString(hex(request).mid(1, 2).toHex('@')).toUpper());
            QTRY_VERIFY_WITH_TIMEOUT(ids().contains(ack), 5000);
        }
        QTRY_VERIFY2_WITH_TIMEOUT(ids().contains(last), qPrintable(ids().join(' ')), 5000);
        for (const QByteArray& frame : cut(up))
            QVERIFY2(fitsItsRow(frame), qPrintable(frame.toHex(' ')));
    }

    // sim/README.md lists the commands that get status 17, and no others.
    void notSimulatedListed()
    {
        QFile readme(SRCDIR "../../sim/README.md");
        QVERIFY(readme.open(QIODevice::ReadOnly | QIODevice::Text));
        const QString text = QString::fromUtf8(readme.readAll());
        const QString section = text.section("## Commands not simulated yet", 1).section("\n## ", 0, 0);
        QStringList listed;
        QRegularExpressionMatchIterator it = QRegularExpression("`([0-9A-F]{2}@[0-9A-F]{2})`").globalMatch(section);
        while (it.hasNext())
            listed.append(it.next().captured(1));
        listed.sort();
        VirtualAir air;
        const VirtualDongle dongle(0, &air);
        QStringList unanswered = SimCommandTable::instance().downlinkIds();
        for (const QString& id : dongle.router().ids())
            unanswered.removeAll(id);
        QCOMPARE(listed, unanswered);
    }


private:
    // A whole frame with a good checksum, and as many bytes as the fields of its row, which the
    // test reads from the XML file itself and not through the simulator; an ack, one status byte,
    // needs no row, since the frame format fixes it.
    static bool fitsItsRow(const QByteArray& frame)
    {
        static const QHash<QString, QVector<QPair<int, int>>> rows = [] { // id -> (index, length) of each field
            QHash<QString, QVector<QPair<int, int>>> read;
            QFile file(SRCDIR "../../resources/conf/up_link_command.xml");
            file.open(QIODevice::ReadOnly);
            QXmlStreamReader xml(&file);
            QString id;
            while (!xml.atEnd()) {
                if (xml.readNext() != QXmlStreamReader::StartElement)
                    continue;
                if (xml.name() == QLatin1String("command")) // a later row of an id replaces the earlier, as in the tool
                    read[id = xml.attributes().value("ID").toString()] = {};
                else if (xml.name() == QLatin1String("field"))
                    read[id].append({xml.attributes().value("index").toInt(), xml.attributes().value("length").toInt()});
            }
            return read;
        }();
        if (frame.size() < 6 || withChecksum(frame.chopped(1)) != frame
            || quint8(frame.at(3)) + quint8(frame.at(4)) * 256 != frame.size() - 6)
            return false;
        if (quint8(frame.at(0)) == 0xFF)
            return true; // log text
        const QString id = QString(frame.left(3).toHex('@')).toUpper();
        const QVector<QPair<int, int>> fields = rows.value(id);
        const int payload = frame.size() - 6;
        if (quint8(frame.at(0)) == 0xBB)
            return payload == 1 && (fields.isEmpty() || fields == QVector<QPair<int, int>>{{4, 1}});
        // The page takes the resolving list under module 01, where the file writes DD@00@7F.
        if (id == QLatin1String("DD@01@7F"))
            return payload % 40 == 0;
        if (!rows.contains(id))
            return false;
        // The GATT page cuts these as condix, status, a record count and records, whatever their rows say.
        static const QStringList lists = {"DD@03@03", "DD@03@05", "DD@03@07", "DD@03@09", "DD@03@0B", "DD@03@0D",
                                          "DD@03@0F", "DD@03@11", "DD@03@13", "DD@03@15", "DD@03@21", "DD@03@23"};
        if (lists.contains(id))
            return payload >= 4;
        if (fields.isEmpty()) // a body that the pages cut by hand
            return true;
        int end = 4;
        for (const auto& field : fields) {
            if (field.first != end)
                return false;
            if (field.second == 0)
                return payload >= end - 4;
            end += field.second;
        }
        return payload == end - 4;
    }
};

QTEST_GUILESS_MAIN(tst_VirtualDongle)
#include "tst_virtualdongle.moc"
