#include <QFileInfo>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QtTest>

#include "app/maindonglewidget.h"
#include "app/refreshdonglethread.h"
#include "capturelogger.h"
#include "link/cmsg.h"
#include "link/portregistry.h"
#include "log/logmanager.h"
#include "simprocess.h"

// The tool against tarvine-sim over a pseudo-terminal: start-up, and the simulator's control
// lines as the tool sees them.
class tst_E2eStartup : public QObject
{
    Q_OBJECT

private slots:
    void probeFindsEveryDongle()
    {
        SimProcess sim({"--dongles", "2"});
        QVERIFY(sim.readLine().startsWith(QLatin1String("ttySIM0 -> ")));
        QVERIFY(sim.readLine().startsWith(QLatin1String("ttySIM1 -> ")));

        RefreshDongleThread probe;
        probe.setPorts({QStringLiteral("ttySIM0"), QStringLiteral("ttySIM1")});
        probe.start();
        QVERIFY(probe.wait(10000));
        const QList<DongleEntry> found = probe.results();
        QCOMPARE(found.size(), 2);
        for (const DongleEntry& entry : found) {
            const DongleInfo& info = entry.info;
            QCOMPARE((QStringList{info.product, info.dongleName, info.manufacturer, info.firmwareVersion,
                                  info.hardwareVersion, info.description, info.sdkVersion}),
                     (QStringList{"Tarvine Virtual Dongle", "Tarvine Virtual Dongle", "Tarvine", "1.0.0-sim", "VD-1",
                                  "Simulated BLE dongle on a pseudo-terminal", "5.0.0"}));
        }
    }
    void startupSequenceFillsConfig()
    {
        SimProcess sim({"--dongles", "1"});
        const QString line = sim.readLine();
        QVERIFY2(line.startsWith(QLatin1String("ttySIM0 -> /dev/pts/")), qPrintable(line));
        QVERIFY(PortRegistry::availablePorts().contains(QStringLiteral("ttySIM0")));

        MainDongleWidget tab(nullptr, QStringLiteral("e2e"));
        connectTab(tab);
        QStringList values;
        for (const char* key : {"identity_addr", "identity_addr_type", "device_name", "appearance", "per_interval_min",
                                "per_interval_max", "per_conn_latency", "per_supervision_timeout"})
            values << tab.config().value(key).toString();
        // The name "Tarvine Sim 0" is kept as hex of its bytes last to first.
        QCOMPARE(values, (QStringList{"00005E005310", "0", "30206d695320656e6976726154", "80", "0018", "0028", "0000",
                                      "01f4"}));
        QCOMPARE(tab.config().value("profile").toByteArray(),
                 QByteArray("\x00\x10\x01" "Battery Service" "\x00\x0B\x02" "Heart Rate" "\x00\x13\x03" "Device Information",
                            3 + 15 + 3 + 10 + 3 + 18));
        tab.msg()->closePort();
    }
    void injectedBytesReachTheParser()
    {
        SimProcess sim({"--dongles", "1"});
        QVERIFY(sim.readLine().startsWith(QLatin1String("ttySIM0 -> ")));
        MainDongleWidget tab(nullptr, QStringLiteral("e2e"));
        connectTab(tab);

        QSignalSpy dongleLog(tab.msg(), &CMsg::sig_rcvDongleLog);
        // An Appearance Get answer split in two injections, the checksum in the second.
        QCOMPARE(sim.control("inject 0 DD 01 60 02 00"), QStringLiteral("ok"));
        QCOMPARE(sim.control("inject 0 34 12 7A"), QStringLiteral("ok"));
        QTRY_COMPARE(tab.config().value("appearance").toString(), QStringLiteral("1234"));

        QCOMPARE(sim.control("log 0 hello"), QStringLiteral("ok"));
        QTRY_VERIFY(!dongleLog.isEmpty());
        QCOMPARE(dongleLog.first().at(0).toByteArray(), QByteArray::fromHex("FF0000050068656C6C6F"));

        QCOMPARE(sim.control("inject 0 zz"), QStringLiteral("error: inject takes hex bytes"));
        QCOMPARE(sim.control("inject 7 00"), QStringLiteral("error: no dongle \"7\""));
        tab.msg()->closePort();
    }
    void unplugAndPlug()
    {
        SimProcess sim({"--dongles", "2"});
        QVERIFY(sim.readLine().startsWith(QLatin1String("ttySIM0 -> ")));
        QVERIFY(sim.readLine().startsWith(QLatin1String("ttySIM1 -> ")));
        MainDongleWidget tab(nullptr, QStringLiteral("e2e"));
        auto capture = QSharedPointer<CaptureLogger>::create();
        tab.logger()->addLogger(capture);
        connectTab(tab);

        const QString link = sim.folder() + QStringLiteral("/ttySIM0");
        QCOMPARE(sim.control("unplug 0"), QStringLiteral("ok"));
        QVERIFY(!QFileInfo(link).isSymLink());
        QVERIFY(!PortRegistry::availablePorts().contains(QStringLiteral("ttySIM0")));
        QVERIFY(PortRegistry::availablePorts().contains(QStringLiteral("ttySIM1")));
        QCOMPARE(sim.control("unplug 0"), QStringLiteral("error: dongle 0 is unplugged already"));

        // The tool's descriptor points at a terminal whose other end is gone: its writes fail.
        QCOMPARE(tab.msg()->sendMsg(QByteArray::fromHex("AA01840000")), 0);
        QTRY_VERIFY_WITH_TIMEOUT(capture->contains(QStringLiteral("Send msg by serial port failed."), 1), 5000);
        tab.msg()->closePort();
        tab.onConnectionStatusChanged(false);

        QCOMPARE(sim.control("plug 0"), QStringLiteral("ok"));
        QVERIFY(QFileInfo(link).isSymLink());
        QSignalSpy common(tab.msg(), &CMsg::sig_rcvCommonMsg);
        QCOMPARE(tab.msg()->openPort(QStringLiteral("ttySIM0")), 0);
        tab.onConnectionStatusChanged(true);
        QTRY_VERIFY_WITH_TIMEOUT(common.contains({QVariant(QByteArray::fromHex("CC0002010000"))}), 5000);
        tab.msg()->closePort();
    }

private:
    // Opens ttySIM0 in a fresh tab and waits for the end of the start-up sequence.
    static void connectTab(MainDongleWidget& tab)
    {
        QCOMPARE(tab.msg()->openPort(QStringLiteral("ttySIM0")), 0);
        tab.onConnectionStatusChanged(true);
        // "profile" is seeded empty; the answer to the sixth of the seven queries fills it.
        QTRY_VERIFY_WITH_TIMEOUT(!tab.config().value(QStringLiteral("profile")).toByteArray().isEmpty(), 10000);
    }
};

QTEST_MAIN(tst_E2eStartup)
#include "tst_e2e_startup.moc"
