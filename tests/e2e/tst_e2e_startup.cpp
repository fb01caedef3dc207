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
    void probeFindsEveryDongle();
    void startupSequenceFillsConfig();
    void injectedBytesReachTheParser();
    void unplugAndPlug();

private:
    // Opens ttySIM0 in a fresh tab and waits for the end of the start-up sequence.
    static void connectTab(MainDongleWidget& tab);
};

void tst_E2eStartup::connectTab(MainDongleWidget& tab)
{
    QCOMPARE(tab.msg()->openPort(QStringLiteral("ttySIM0")), 0);
    tab.onConnectionStatusChanged(true);
    // "profile" is seeded empty; the answer to the sixth of the seven queries fills it.
    QTRY_VERIFY_WITH_TIMEOUT(!tab.config().value(QStringLiteral("profile")).toByteArray().isEmpty(), 10000);
}

void tst_E2eStartup::probeFindsEveryDongle()
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
        QCOMPARE(entry.info.product, QStringLiteral("Tarvine Virtual Dongle"));
        QCOMPARE(entry.info.dongleName, QStringLiteral("Tarvine Virtual Dongle"));
        QCOMPARE(entry.info.manufacturer, QStringLiteral("Tarvine"));
        QCOMPARE(entry.info.firmwareVersion, QStringLiteral("1.0.0-sim"));
        QCOMPARE(entry.info.hardwareVersion, QStringLiteral("VD-1"));
        QCOMPARE(entry.info.description, QStringLiteral("Simulated BLE dongle on a pseudo-terminal"));
        QCOMPARE(entry.info.sdkVersion, QStringLiteral("5.0.0"));
    }
}

void tst_E2eStartup::startupSequenceFillsConfig()
{
    SimProcess sim({"--dongles", "1"});
    const QString line = sim.readLine();
    QVERIFY2(line.startsWith(QLatin1String("ttySIM0 -> /dev/pts/")), qPrintable(line));
    QVERIFY(PortRegistry::availablePorts().contains(QStringLiteral("ttySIM0")));

    MainDongleWidget tab(nullptr, QStringLiteral("e2e"));
    connectTab(tab);
    const auto& config = tab.config();
    QCOMPARE(config.value("identity_addr").toString(), QStringLiteral("00005E005310"));
    QCOMPARE(config.value("identity_addr_type").toInt(), 0);
    QCOMPARE(config.value("device_name").toString(), QStringLiteral("30206d695320656e6976726154")); // "Tarvine Sim 0"
    QCOMPARE(config.value("appearance").toString(), QStringLiteral("80"));
    QCOMPARE(config.value("per_interval_min").toString(), QStringLiteral("0018"));
    QCOMPARE(config.value("per_interval_max").toString(), QStringLiteral("0028"));
    QCOMPARE(config.value("per_conn_latency").toString(), QStringLiteral("0000"));
    QCOMPARE(config.value("per_supervision_timeout").toString(), QStringLiteral("01f4"));
    QCOMPARE(config.value("profile").toByteArray(),
             QByteArray("\x00\x10\x01" "Battery Service" "\x00\x0B\x02" "Heart Rate" "\x00\x13\x03" "Device Information",
                        3 + 15 + 3 + 10 + 3 + 18));

    // The seventh query's answer may still be on its way when "profile" is there.
    const QVector<QByteArray> queries = {QByteArray::fromHex("000003"), QByteArray::fromHex("000147"),
                                         QByteArray::fromHex("00015B"), QByteArray::fromHex("00015F"),
                                         QByteArray::fromHex("000163"), QByteArray::fromHex("000501"),
                                         QByteArray::fromHex("00010D")};
    QVector<qint64> sentAt;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            sentAt.clear();
            for (const SimProcess::TraceLine& traced : sim.trace()) {
                const QByteArray id = QByteArray(1, 0) + traced.bytes.mid(1, 2);
                if (traced.direction == QLatin1String("down") && sentAt.size() < queries.size()
                    && id == queries.at(sentAt.size()))
                    sentAt.append(traced.ms);
            }
            return sentAt.size() == queries.size();
        }(),
        5000);
    // One frame per send tick of 100 ms; the slack is for a late timer, never an upper bound.
    for (int i = 1; i < sentAt.size(); ++i)
        QVERIFY2(sentAt.at(i) - sentAt.at(i - 1) >= 80,
                 qPrintable(QStringLiteral("query %1 came %2 ms after the one before").arg(i).arg(sentAt.at(i) - sentAt.at(i - 1))));
    tab.msg()->closePort();
}

void tst_E2eStartup::injectedBytesReachTheParser()
{
    SimProcess sim({"--dongles", "1"});
    QVERIFY(sim.readLine().startsWith(QLatin1String("ttySIM0 -> ")));
    MainDongleWidget tab(nullptr, QStringLiteral("e2e"));
    connectTab(tab);

    QSignalSpy gap(tab.msg(), &CMsg::sig_rcvGapMsg);
    QSignalSpy dongleLog(tab.msg(), &CMsg::sig_rcvDongleLog);
    // An Appearance Get answer split in two injections, the checksum in the second.
    QCOMPARE(sim.control("inject 0 DD 01 60 02 00"), QStringLiteral("ok"));
    QCOMPARE(sim.control("inject 0 34 12 7A"), QStringLiteral("ok"));
    // Late answers of the start-up sequence may come first.
    QTRY_VERIFY(std::any_of(gap.cbegin(), gap.cend(), [](const QList<QVariant>& args) {
        return args.at(0).toByteArray() == QByteArray::fromHex("DD0160020034 12");
    }));
    QTRY_COMPARE(tab.config().value("appearance").toString(), QStringLiteral("1234"));

    QCOMPARE(sim.control("log 0 hello"), QStringLiteral("ok"));
    QTRY_VERIFY(!dongleLog.isEmpty());
    QCOMPARE(dongleLog.first().at(0).toByteArray(), QByteArray::fromHex("FF0000050068656C6C6F"));

    QCOMPARE(sim.control("inject 0 zz"), QStringLiteral("error: inject takes hex bytes"));
    QCOMPARE(sim.control("inject 7 00"), QStringLiteral("error: no dongle \"7\""));
    tab.msg()->closePort();
}

void tst_E2eStartup::unplugAndPlug()
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
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            for (const auto& e : common)
                if (e.at(0).toByteArray() == QByteArray::fromHex("CC0002010000"))
                    return true;
            return false;
        }(),
        5000);
    tab.msg()->closePort();
}

QTEST_MAIN(tst_E2eStartup)
#include "tst_e2e_startup.moc"
