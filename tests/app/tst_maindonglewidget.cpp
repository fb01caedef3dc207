#include <QSettings>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include "app/maindonglewidget.h"
#include "capturelogger.h"
#include "gap/clayerwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"

class TestMainDongleWidget : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_widget = new MainDongleWidget(nullptr, "DongleTest");
        m_log = new CaptureLogger;
        m_widget->logger()->addLogger(m_log);
    }
    void cleanup()
    {
        delete m_widget;
        m_widget = nullptr;
    }

    void startupSequenceFollowsResetCompletion_data()
    {
        QTest::addColumn<QByteArray>("completion");
        QTest::addColumn<QStringList>("names");

        QTest::newRow("status 0 runs the seven queries")
            << QByteArray::fromHex("cc0002010000")
            << QStringList{"Device Type Get", "Device BD_Address Get", "Device Name Get",
                           "Appearance Get", "Peripheral Preferred Connection Parameters Get",
                           "Get Profile ID", "Get Whitelist"};
        QTest::newRow("a failed reset sends nothing") << QByteArray::fromHex("cc0002010045")
                                                      << QStringList{};
        QTest::newRow("a completion without status sends nothing")
            << QByteArray::fromHex("cc00020000") << QStringList{};
    }
    void startupSequenceFollowsResetCompletion()
    {
        QFETCH(QByteArray, completion);
        QFETCH(QStringList, names);

        receive(completion);
        QCOMPARE(sent(), names);
    }
    void answersFillSettingsMap_data()
    {
        QTest::addColumn<QByteArrayList>("frames");
        QTest::addColumn<QVariantMap>("expected");

        QTest::newRow("identity address, reversed into display order")
            << QByteArrayList{QByteArray::fromHex("dd01480700ffeeddccbbaa01")}
            << QVariantMap{{"identity_addr", "AABBCCDDEEFF"}, {"identity_addr_type", 1}};
        QTest::newRow("a later address answer is ignored")
            << QByteArrayList{QByteArray::fromHex("dd0148070066554433221100"),
                              QByteArray::fromHex("dd01480700ffeeddccbbaa01")}
            << QVariantMap{{"identity_addr", "112233445566"}, {"identity_addr_type", 0}};
        QTest::newRow("device name, kept as hex of the reversed bytes")
            << QByteArrayList{QByteArray::fromHex("dd015c040003616263")}
            << QVariantMap{{"device_name", "636261"}};
        QTest::newRow("appearance, unpadded lower-case hex")
            << QByteArrayList{QByteArray::fromHex("dd016002004103")} << QVariantMap{{"appearance", "341"}};
        QTest::newRow("preferred parameters, four hex digits each")
            << QByteArrayList{QByteArray::fromHex("dd0164080006000c000000c800")}
            << QVariantMap{{"per_interval_min", "0006"},
                           {"per_interval_max", "000c"},
                           {"per_conn_latency", "0000"},
                           {"per_supervision_timeout", "00c8"}};
        QTest::newRow("profiles get a cleared selection flag each")
            << QByteArrayList{QByteArray::fromHex("dd0502050002112201ff")}
            << QVariantMap{{"profile", QByteArray::fromHex("0002112200" "01ff")}};
    }
    void answersFillSettingsMap()
    {
        QFETCH(QByteArrayList, frames);
        QFETCH(QVariantMap, expected);

        receive(QByteArray::fromHex("cc0002010000"));
        for (const QByteArray& frame : frames)
            receive(frame);
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QCOMPARE(m_widget->config().value(it.key()), it.value());
    }
    void malformedDeviceNameIsReported_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QString>("message");

        QTest::newRow("empty payload") << QByteArray::fromHex("dd015c0000")
                                       << "Uplink Command: DD@01@5C is wrong.";
        QTest::newRow("length byte too large") << QByteArray::fromHex("dd015c0300056162")
                                               << "uplink msg: DD@01@5C is wrong.";
    }
    void malformedDeviceNameIsReported()
    {
        QFETCH(QByteArray, frame);
        QFETCH(QString, message);

        const QVariant before = m_widget->config().value("device_name");
        receive(frame);
        QVERIFY2(m_log->contains(message, 4), qPrintable(m_log->texts().join('\n')));
        QCOMPARE(m_widget->config().value("device_name"), before);
    }
    void downloadNeedsKnownDeviceType_data()
    {
        QTest::addColumn<QByteArray>("typeAnswer");
        QTest::addColumn<bool>("refused");

        QTest::newRow("never answered") << QByteArray() << true;
        QTest::newRow("type 1") << QByteArray::fromHex("dd0003010001") << false;
        QTest::newRow("type 2") << QByteArray::fromHex("dd0003010002") << true;
    }
    void downloadNeedsKnownDeviceType()
    {
        QFETCH(QByteArray, typeAnswer);
        QFETCH(bool, refused);

        if (!typeAnswer.isEmpty())
            receive(typeAnswer);
        m_widget->onConnectionStatusChanged(true);
        auto* download = m_widget->findChild<QToolButton*>("toolButton_download");
        QVERIFY(download);
        download->click();
        QCOMPARE(m_log->contains("this firmware do not support downloading.", 4), refused);
    }
    void connectionStateDrivesTools()
    {
        const auto buttons = m_widget->findChildren<QToolButton*>(QRegularExpression("^toolButton_"));
        QCOMPARE(buttons.size(), 11);

        for (bool connected : {true, false}) {
            m_widget->onConnectionStatusChanged(connected);
            for (QToolButton* button : buttons) {
                const bool alwaysOn = button->objectName() == "toolButton_selectDongle";
                QCOMPARE(button->isEnabled(), alwaysOn || connected);
            }
        }
        QVERIFY(sent().contains("Reset"));
    }
    void staticConfigurationFrames()
    {
        PtyPair pty;
        QVERIFY(pty.isValid());
        QCOMPARE(m_widget->msg()->openPort(pty.portName()), 0);

        QTemporaryDir dir;
        QSettings settings(dir.filePath("seed.ini"), QSettings::IniFormat);
        settings.beginGroup("seed");
        // device_name holds the name's bytes last to first; profile items are flag, length, data.
        settings.setValue("device_name", "636261");
        settings.setValue("profile", QByteArray::fromHex("010111" "000122" "01023344"));
        settings.endGroup();
        m_widget->loadConfig(settings, "seed");

        m_widget->on_staticConfigSet();
        // AA 01 59, body length 4, "abc"; only the flagged profile items go out.
        const QString frames = sent(false).join('|');
        QVERIFY2(frames.contains(QRegularExpression("Name: Device Name Set\r\n[^|]*Raw Data: aa0159040003616263")),
                 qPrintable(frames));
        QVERIFY(frames.contains(QRegularExpression("Name: Set Profile ID\r\n[^|]*Raw Data: aa050302001133")));
        m_widget->msg()->closePort();
    }
    void pageTabsArePlacedAndClosed()
    {
        m_widget->buildPages();
        QTabWidget* tabs = m_widget->pageTabs();
        tabs->setEnabled(true); // as when a dongle is connected
        const auto layer = [](uint8_t role, uint8_t condix) {
            return new CLayerWidget(nullptr, nullptr, nullptr, nullptr, role, 0, 0, 0, "Peer Device",
                                    "c6:5a:10:00:00:01", condix);
        };
        // A master link goes before "Slave", an incoming one at the end.
        m_widget->on_connectSuccess(0, "c6:5a:10:00:00:01", layer(0, 0));
        m_widget->on_connectSuccess(1, "c6:5a:10:00:00:02", layer(1, 1));
        QCOMPARE(tabs->tabText(1), QStringLiteral("Peer Address: c6:5a:10:00:00:01"));
        QCOMPARE(tabs->tabText(2), QStringLiteral("Slave"));
        QCOMPARE(tabs->tabText(3), QStringLiteral("Peer Address: c6:5a:10:00:00:02"));
        QCOMPARE(tabs->tabBar()->tabButton(1, QTabBar::RightSide)->toolTip(), QStringLiteral("Disconnect"));

        m_widget->on_disConnectRequest(1);
        QCOMPARE(tabs->count(), 3);
        QCOMPARE(tabs->currentIndex(), 2); // the "Slave" tab, as the link was incoming

        // One LCP tab at most, at the end, gone with its close button.
        auto* lcp = m_widget->findChild<QToolButton*>("toolButton_lcp");
        lcp->setEnabled(true);
        lcp->click();
        lcp->click();
        QCOMPARE(tabs->count(), 4);
        QCOMPARE(tabs->tabText(3), QStringLiteral("LCP       "));
        qobject_cast<QToolButton*>(tabs->tabBar()->tabButton(3, QTabBar::RightSide))->click();
        QCOMPARE(tabs->count(), 3);

        // A reset completion clears the connection pages.
        receive(QByteArray::fromHex("cc0002010000"));
        QCOMPARE(tabs->count(), 2);
    }

private:
    // Hands a frame to the controller as the port would: on the signal of its module.
    void receive(const QByteArray& frame)
    {
        CMsg* msg = m_widget->msg();
        if (frame.at(1) == 0)
            emit msg->sig_rcvCommonMsg(frame);
        else if (frame.at(1) == 1)
            emit msg->sig_rcvGapMsg(frame);
        else
            emit msg->sig_rcvRfuMsg(frame);
    }
    // Each downlink frame is logged as "Downlink Command Name: <name>\r\n...Raw Data: <hex>...".
    QStringList sent(bool namesOnly = true) const
    {
        QStringList lines;
        for (const QString& text : m_log->texts()) {
            if (text.startsWith("Downlink Command Name: "))
                lines.append(namesOnly ? text.section("\r\n", 0, 0).mid(23) : text);
        }
        return lines;
    }

    MainDongleWidget* m_widget = nullptr;
    CaptureLogger* m_log = nullptr;
};

QTEST_MAIN(TestMainDongleWidget)
#include "tst_maindonglewidget.moc"
