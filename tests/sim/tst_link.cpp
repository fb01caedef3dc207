#include <QtTest>

#include "air/virtualair.h"
#include "air/worlddevice.h"
#include "dongle/connectionmanager.h"
#include "dongle/initiatorengine.h"
#include "dongle/localdeviceengine.h"
#include "dongle/scannerengine.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

static const char* const kDisconnect0 = "AA 01 07 01 00 00 4D";
static const char* const kSetConnected = "DD 01 2A 03 00 00 03 00 F2";
// The central hears its peer ask for what kUpdateParameters asks.
static const char* const kAsked = "DD 01 3C 09 00 10 00 18 00 00 00 C8 00 00 ED";

// Two dongles, reset, in an air without world devices; dongle 1 advertises a connectable legacy
// set. The uplink of each is gathered in `up`, which outlives the dongles, since they may still
// speak as they go.
struct Pair {
    QByteArray up[2];
    VirtualAir air;
    VirtualDongle central{0, &air};
    VirtualDongle peripheral{1, &air};

    Pair()
    {
        air.setWorld({});
        VirtualDongle* dongles[2] = {&central, &peripheral};
        for (int n : {0, 1}) {
            QObject::connect(dongles[n], &VirtualDongle::uplink, [this, n](const QByteArray& bytes) { up[n] += bytes; });
            dongles[n]->feed(hex(kReset));
        }
        peripheral.feed(hex(kAdvertise));
        QVERIFY(uplinkIds(up[1]).contains("DD@01@28"));
    }
    void clear()
    {
        up[0].clear();
        up[1].clear();
    }
};

// Two simulated dongles in one air: dongle 1 advertises as a peripheral, dongle 0 finds it,
// connects, and both ends of the link talk.
class tst_Link : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }
    // Who ends the link, and the last words of each dongle.
    void twoDongles_data()
    {
        QTest::addColumn<int>("ender"); // the dongle that the step goes to
        QTest::addColumn<QString>("step");
        QTest::addColumn<QString>("centralHears");
        QTest::addColumn<QString>("peripheralHears");

        QTest::newRow("the central disconnects") << 0 << kDisconnect0
            << "BB 01 07 01 00 00 3C | DD 01 08 03 00 00 16 00 01" << "DD 01 08 03 00 00 13 00 04";
        QTest::newRow("the peripheral disconnects") << 1 << kDisconnect0
            << "DD 01 08 03 00 00 13 00 04" << "BB 01 07 01 00 00 3C | DD 01 08 03 00 00 16 00 01";
        QTest::newRow("the central's peer is dropped") << 0 << "drop"
            << "DD 01 08 03 00 00 13 00 04" << "DD 01 08 03 00 00 16 00 01";
        QTest::newRow("the central is reset: the peripheral times out") << 0 << kReset
            << kResetAnswer
            << "DD 01 08 03 00 00 08 00 0F";
    }
    void twoDongles()
    {
        Pair pair;
        VirtualDongle& central = pair.central;
        VirtualDongle& peripheral = pair.peripheral;
        VirtualDongle* dongles[2] = {&central, &peripheral};
        QByteArray* up = pair.up;
        central.scanner()->setRssiJitter(0);

        up[0].clear();
        central.feed(hex(kActiveScan));
        const QByteArray report = hex("DD 01 02 23 00 11 53 00 5E 00 00 00 7F C4 07 01 01 00 FF 00 00 FF 10 00 02 01 06 "
                                      "0C 09 54 61 72 76 69 6E 65 20 53 69 6D A1");
        QTRY_VERIFY_WITH_TIMEOUT(cut(up[0]).contains(report), 5000);
        central.feed(hex(kStopScan));

        up[0].clear();
        up[1].clear();
        central.feed(hex(kConnectDongle1));
        QTRY_COMPARE_WITH_TIMEOUT(up[0].toHex(' '), frames("BB 01 3F 01 00 00 04 | DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 "
                                                           "00 00 11 53 00 5E 00 00 00 D8").toHex(' '), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(up[1].toHex(' '), frames("DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 05 00 10 53 00 5E 00 00 "
                                                           "01 D3 | " + QString(kSetConnected)).toHex(' '), 5000);
        QCOMPARE(peripheral.connections()->count(), 1);

        // Data queued at one end comes out at the other, both ways, on the channel taken there.
        QStringList heard[2];
        for (int n : {0, 1}) {
            dongles[n]->connections()->setChannelHandler(0x0004, [&heard, n](int condix, const QByteArray& data) {
                heard[n].append(QString::number(condix) + " " + QString::fromLatin1(data));
            });
        }
        QVERIFY(central.connections()->send(0, 0x0004, "ping"));
        QVERIFY(central.connections()->send(0, 0x0003, "nobody takes this channel"));
        QVERIFY(peripheral.connections()->send(0, 0x0004, "pong"));
        QTRY_COMPARE_WITH_TIMEOUT(heard[1], QStringList{"0 ping"}, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(heard[0], QStringList{"0 pong"}, 5000);

        QFETCH(int, ender);
        QFETCH(QString, step);
        up[0].clear();
        up[1].clear();
        if (step == "drop")
            QVERIFY(dongles[ender]->connections()->drop(0));
        else
            dongles[ender]->feed(hex(step));
        QFETCH(QString, centralHears);
        QFETCH(QString, peripheralHears);
        QTRY_COMPARE_WITH_TIMEOUT(up[0].toHex(' '), frames(centralHears).toHex(' '), 5000);
        QCOMPARE(up[1].toHex(' '), frames(peripheralHears).toHex(' '));
        QCOMPARE(peripheral.connections()->count(), 0);
        QVERIFY(!central.connections()->send(0, 0x0004, "gone"));
    }
    // The procedures of a link, asked by either end. Each step goes to dongle N ("N HEX", or "0
    // request": the far end of dongle 0's link asks as kUpdateParameters does); after it come all
    // the uplinks of the two dongles in the step's place of each list.
    void procedures_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("centralHears");
        QTest::addColumn<QStringList>("peripheralHears");
        QTest::newRow("the central moves the link") << QStringList{QString("0 ") + kUpdateParameters}
            << QStringList{QString("BB 01 37 01 00 00 0C | ") + kParametersUpdated} << QStringList{kParametersUpdated};
        QTest::newRow("the peripheral asks, the central's host accepts")
            << QStringList{QString("1 ") + kUpdateParameters, "0 AA 01 39 02 00 01 00 19"}
            << QStringList{kAsked, QString("BB 01 39 01 00 00 0A | ") + kParametersUpdated}
            << QStringList{"BB 01 37 01 00 00 0C", kParametersUpdated};
        QTest::newRow("the peripheral asks, the central's host refuses")
            << QStringList{QString("1 ") + kUpdateParameters, "0 AA 01 39 02 00 00 00 1A"}
            << QStringList{kAsked, "BB 01 39 01 00 00 0A"}
            << QStringList{"BB 01 37 01 00 00 0C", "DD 01 38 08 00 CB 0A 00 01 00 64 00 00 A8"};
        QTest::newRow("the peripheral asks twice before an answer") << QStringList{QString("1 ") + kUpdateParameters + kUpdateParameters}
            << QStringList{kAsked} << QStringList{"BB 01 37 01 00 00 0C | BB 01 37 01 00 0F FD"};
        QTest::newRow("the far end of a control line's request hears no refusal")
            << QStringList{"0 request", "0 AA 01 39 02 00 00 00 1A", "1 AA 01 4D 01 00 00 07"}
            << QStringList{kAsked, "BB 01 39 01 00 00 0A", ""}
            << QStringList{"", "", "BB 01 4D 01 00 00 F6 | DD 01 4E 07 00 00 FF FF 00 01 09 00 C5"};
        QTest::newRow("data length asked by the peripheral") << QStringList{"1 AA 01 43 05 00 00 FB 00 48 08 C2"}
            << QStringList{"DD 01 44 0A 00 00 00 1B 00 48 01 FB 00 48 08 25"}
            << QStringList{"BB 01 43 01 00 00 00 | DD 01 44 0A 00 00 00 FB 00 48 08 1B 00 48 01 25"};
        QTest::newRow("PHY asked by the central") << QStringList{"0 AA 01 4B 04 00 00 07 07 00 F8"}
            << QStringList{"BB 01 4B 01 00 00 F8 | DD 01 4C 04 00 00 00 02 02 CE"} << QStringList{"DD 01 4C 04 00 00 00 02 02 CE"};
        QTest::newRow("each dongle answers for its own link layer")
            << QStringList{"1 AA 01 4D 01 00 00 07", "0 AA 01 4F 01 00 00 05"}
            << QStringList{"", "BB 01 4F 01 00 00 F4 | DD 01 50 06 00 00 FF 79 00 00 00 54"}
            << QStringList{"BB 01 4D 01 00 00 F6 | DD 01 4E 07 00 00 FF FF 00 01 09 00 C5", ""};
        // 8 dB more from the peripheral: the central hears -52 dBm instead of -60.
        QTest::newRow("power at one end is heard at the other")
            << QStringList{"1 AA 01 81 02 00 00 08 CA", "0 AA 01 51 01 00 00 03"}
            << QStringList{"", "BB 01 51 01 00 00 F2 | DD 01 52 03 00 00 CC 00 01"} << QStringList{"BB 01 81 01 00 00 C2", ""};
        QTest::newRow("the central's channel map is the peripheral's")
            << QStringList{"0 AA 01 69 05 00 03 00 00 00 10 D4", "1 AA 01 53 01 00 00 01"} << QStringList{"BB 01 69 01 00 00 DA", ""}
            << QStringList{"", "BB 01 53 01 00 00 F0 | DD 01 54 07 00 00 03 00 00 00 10 00 B4"};
        // A dongle serves no database of its own yet: its stack refuses the attribute requests.
        QTest::newRow("GATT discovery of a dongle: request not supported") << QStringList{"0 AA 03 29 01 00 00 29"}
            << QStringList{"BB 03 29 01 00 00 18 | DD 03 34 02 00 00 06 E4"} << QStringList{""};
    }
    void procedures()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, centralHears);
        QFETCH(QStringList, peripheralHears);
        Pair pair;
        VirtualDongle* dongles[2] = {&pair.central, &pair.peripheral};
        pair.central.feed(hex(kConnectDongle1));
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(pair.up[1]).contains("DD@01@2A"), 5000);
        for (int i = 0; i < steps.size(); ++i) {
            pair.clear();
            const QString rest = steps.at(i).section(' ', 1);
            if (rest == "request")
                QCOMPARE(pair.central.connections()->requestFromPeer(0, 16, 24, 0, 200), QString());
            else
                dongles[steps.at(i).section(' ', 0, 0).toInt()]->feed(hex(rest));
            QTRY_COMPARE_WITH_TIMEOUT(pair.up[0].toHex(' '), frames(centralHears.at(i)).toHex(' '), 5000);
            QTRY_COMPARE_WITH_TIMEOUT(pair.up[1].toHex(' '), frames(peripheralHears.at(i)).toHex(' '), 5000);
        }
    }
    // A central's host that answers the link as soon as it hears of it, as a tool may.
    void answeredAsItOpens_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("centralHears"); // after the connection event
        QTest::addColumn<QString>("peripheralHears");
        // The peripheral never hears of the link, and keeps no dead one.
        QTest::newRow("Disconnect") << kDisconnect0 << "BB 01 07 01 00 00 3C | DD 01 08 03 00 00 16 00 01" << "";
        // The procedure ended with the connection: too late to cancel.
        QTest::newRow("Cancel Connect") << "AA 01 49 00 00 0C" << "BB 01 49 01 00 0F EB"
                                        << QString("DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 05 00 10 53 00 5E 00 00 01 D3 | ")
                                               + kSetConnected;
    }
    void answeredAsItOpens()
    {
        QFETCH(QString, answer);
        Pair pair;
        connect(&pair.central, &VirtualDongle::uplink, this, [&pair, answer](const QByteArray& frame) {
            if (frame.startsWith(hex("DD 01 06")))
                pair.central.feed(hex(answer));
        });
        pair.clear();
        pair.central.feed(hex(kConnectDongle1));
        QFETCH(QString, centralHears);
        QTRY_COMPARE_WITH_TIMEOUT(pair.up[0].toHex(' '),
                                  frames("BB 01 3F 01 00 00 04 | DD 01 06 12 00 00 01 00 0A 00 01 00 64 00 00 00 11 53 00 5E "
                                         "00 00 00 D8 | " + centralHears).toHex(' '), 5000);
        QFETCH(QString, peripheralHears);
        QTRY_COMPARE_WITH_TIMEOUT(pair.up[1].toHex(' '), frames(peripheralHears).toHex(' '), 5000);
        QCOMPARE(pair.peripheral.connections()->count(), int(!peripheralHears.isEmpty()));
        QVERIFY(!pair.central.initiator()->isConnecting());
    }
    // A device of the world makes its GATT database when its first central comes: a crowd of
    // copies would otherwise hold a database each that nobody reads.
    void worldDatabaseMadeByTheFirstCentral()
    {
        QByteArray up;
        VirtualAir air; // the default world, heart-rate sensor first
        VirtualDongle central(0, &air);
        connect(&central, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        central.feed(hex(kReset));
        const auto* heartRate = dynamic_cast<const WorldDevice*>(air.advertisers().at(0).peer);
        QVERIFY(heartRate);
        QVERIFY(!heartRate->database());
        central.feed(hex(kConnectHr));
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(up).contains("DD@01@06"), 5000);
        QVERIFY(heartRate->database());
        QCOMPARE(heartRate->database()->attributes().size(), 22);
    }
};

QTEST_GUILESS_MAIN(tst_Link)
#include "tst_link.moc"
