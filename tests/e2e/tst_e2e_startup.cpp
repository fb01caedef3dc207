#include <QFileInfo>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QtTest>

#include "app/maindonglewidget.h"
#include "capturelogger.h"
#include "link/cmsg.h"
#include "link/portregistry.h"
#include "log/logmanager.h"
#include "simprocess.h"

// The tool against tarvine-sim over a pseudo-terminal: start-up, and the simulator's control
// lines as the tool sees them. The probe is run through the selection dialog in tst_e2e_dongle.
class tst_E2eStartup : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_sim = std::make_unique<SimProcess>(QStringList{"--dongles", "2"});
        const QString line = m_sim->readLine();
        QVERIFY2(line.startsWith(QLatin1String("ttySIM0 -> /dev/pts/")), qPrintable(line));
        QVERIFY(m_sim->readLine().startsWith(QLatin1String("ttySIM1 -> ")));
        m_tab = std::make_unique<MainDongleWidget>(nullptr, QStringLiteral("e2e"));
        m_capture = QSharedPointer<CaptureLogger>::create();
        m_tab->logger()->addLogger(m_capture);
        // "profile" is seeded empty; the answer to the sixth of the seven start-up queries fills it.
        QCOMPARE(m_tab->msg()->openPort(QStringLiteral("ttySIM0")), 0);
        m_tab->onConnectionStatusChanged(true);
        QTRY_VERIFY_WITH_TIMEOUT(!m_tab->config().value(QStringLiteral("profile")).toByteArray().isEmpty(), 10000);
    }
    void cleanup()
    {
        m_tab->msg()->closePort();
        m_tab.reset();
        m_sim.reset();
    }

    void startupFillsConfigAndInjectedBytesArrive()
    {
        QStringList values;
        for (const char* key : {"identity_addr", "identity_addr_type", "device_name", "appearance", "per_interval_min",
                                "per_interval_max", "per_conn_latency", "per_supervision_timeout"})
            values << m_tab->config().value(key).toString();
        // The name "Tarvine Sim 0" is kept as hex of its bytes last to first.
        QCOMPARE(values, (QStringList{"00005E005310", "0", "30206d695320656e6976726154", "80", "0018", "0028", "0000",
                                      "01f4"}));
        QCOMPARE(m_tab->config().value("profile").toByteArray(),
                 QByteArray("\x00\x10\x01" "Battery Service" "\x00\x0B\x02" "Heart Rate" "\x00\x13\x03" "Device Information",
                            3 + 15 + 3 + 10 + 3 + 18));

        QSignalSpy dongleLog(m_tab->msg(), &CMsg::sig_rcvDongleLog);
        // An Appearance Get answer split in two injections, the checksum in the second.
        QCOMPARE(m_sim->control("inject 0 DD 01 60 02 00"), QStringLiteral("ok"));
        QCOMPARE(m_sim->control("inject 0 34 12 7A"), QStringLiteral("ok"));
        QTRY_COMPARE(m_tab->config().value("appearance").toString(), QStringLiteral("1234"));
        QCOMPARE(m_sim->control("log 0 hello"), QStringLiteral("ok"));
        QTRY_VERIFY(!dongleLog.isEmpty());
        QCOMPARE(dongleLog.first().at(0).toByteArray(), QByteArray::fromHex("FF0000050068656C6C6F"));
        QCOMPARE(m_sim->control("inject 0 zz"), QStringLiteral("error: inject takes hex bytes"));
        QCOMPARE(m_sim->control("inject 7 00"), QStringLiteral("error: no dongle \"7\""));
    }

    void unplugAndPlug()
    {
        const QString link = m_sim->folder() + QStringLiteral("/ttySIM0");
        QCOMPARE(m_sim->control("unplug 0"), QStringLiteral("ok"));
        QVERIFY(!QFileInfo(link).isSymLink());
        QVERIFY(!PortRegistry::availablePorts().contains(QStringLiteral("ttySIM0")));
        QVERIFY(PortRegistry::availablePorts().contains(QStringLiteral("ttySIM1")));
        QCOMPARE(m_sim->control("unplug 0"), QStringLiteral("error: dongle 0 is unplugged already"));

        // The tool's descriptor points at a terminal whose other end is gone: its writes fail.
        QCOMPARE(m_tab->msg()->sendMsg(QByteArray::fromHex("AA01840000")), 0);
        QTRY_VERIFY_WITH_TIMEOUT(m_capture->contains(QStringLiteral("Send msg by serial port failed."), 1), 5000);
        m_tab->msg()->closePort();
        m_tab->onConnectionStatusChanged(false);

        QCOMPARE(m_sim->control("plug 0"), QStringLiteral("ok"));
        QVERIFY(QFileInfo(link).isSymLink());
        QSignalSpy common(m_tab->msg(), &CMsg::sig_rcvCommonMsg);
        QCOMPARE(m_tab->msg()->openPort(QStringLiteral("ttySIM0")), 0);
        m_tab->onConnectionStatusChanged(true);
        QTRY_VERIFY_WITH_TIMEOUT(common.contains({QVariant(QByteArray::fromHex("CC0002010000"))}), 5000);
    }

private:
    std::unique_ptr<SimProcess> m_sim;
    std::unique_ptr<MainDongleWidget> m_tab;
    QSharedPointer<CaptureLogger> m_capture;
};

QTEST_MAIN(tst_E2eStartup)
#include "tst_e2e_startup.moc"
