#include <QPushButton>
#include <QSettings>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QToolButton>
#include <QtTest>

#include "app/maindonglewidget.h"
#include "capturelogger.h"
#include "gap/clayerwidget.h"
#include "iso/masterbigwidget.h"
#include "iso/slavebigwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"
#include "whenmodal.h"

class TestMainDongleWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_widget = new MainDongleWidget(nullptr, "DongleTest");
        m_widget->logger()->addLogger(m_log = new CaptureLogger);
    }
    void cleanup() { delete m_widget; }

    // Uplink frames (hex, space separated) in; downlink frames and the settings map after, and an
    // expected level-4 log line. A reset completion with status 0 runs the startup queries. The
    // forms of the other answers (appearance unpadded, parameters in four digits) are checked
    // against the simulator in tst_e2e_settings.
    void uplinkFrames_data()
    {
        QTest::addColumn<QString>("frames");
        QTest::addColumn<QStringList>("sentNames");
        QTest::addColumn<QVariantMap>("expected");
        QTest::addColumn<QString>("logged");
        const QStringList startup{"Device Type Get", "Device BD_Address Get", "Device Name Get", "Appearance Get",
                                  "Peripheral Preferred Connection Parameters Get", "Get Profile ID", "Get Whitelist"};
        const QVariantMap nameKept{{"device_name", "636261"}}; // "abc", hex of the reversed bytes
        QTest::newRow("a failed reset sends nothing") << "cc0002010045" << QStringList() << QVariantMap() << QString();
        QTest::newRow("a completion without status sends nothing")
            << "cc00020000" << QStringList() << QVariantMap() << QString();
        QTest::newRow("identity address, reversed; a later answer is ignored")
            << "cc0002010000 dd01480700ffeeddccbbaa01 dd0148070066554433221100" << startup
            << QVariantMap{{"identity_addr", "AABBCCDDEEFF"}, {"identity_addr_type", 1u}} << QString();
        QTest::newRow("device name with empty payload") << "cc0002010000 dd015c040003616263 dd015c0000" << startup
            << nameKept << "Uplink Command: DD@01@5C is wrong.";
        QTest::newRow("device name with length byte too large")
            << "cc0002010000 dd015c040003616263 dd015c0300056162" << startup << nameKept
            << "uplink msg: DD@01@5C is wrong.";
        QTest::newRow("profiles get a cleared selection flag each") << "cc0002010000 dd0502050002112201ff" << startup
            << QVariantMap{{"profile", QByteArray::fromHex("0002112200" "01ff")}} << QString();
    }
    void uplinkFrames()
    {
        QFETCH(QString, frames);
        QFETCH(QVariantMap, expected);
        QFETCH(QString, logged);
        for (const QString& frame : frames.split(' '))
            receive(QByteArray::fromHex(frame.toLatin1()));
        QTEST(sent(), "sentNames");
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            QCOMPARE(m_widget->config().value(it.key()), it.value());
            QCOMPARE(m_widget->config().value(it.key()).type(), it.value().type()); // config.ini keeps it
        }
        QVERIFY2(logged.isNull() || m_log->contains(logged, 4), qPrintable(m_log->texts().join('\n')));
    }

    void downloadNeedsKnownDeviceType_data()
    {
        QTest::addColumn<QByteArray>("typeAnswer");
        QTest::addColumn<bool>("refused");
        QTest::newRow("never answered") << QByteArray() << true;
        QTest::newRow("type 1") << QByteArray::fromHex("dd0003010001") << false;
        QTest::newRow("type 2") << QByteArray::fromHex("dd0003010002") << true;
    }
    // A known type opens the file dialog; cancelled, it leaves every tool as it was.
    void downloadNeedsKnownDeviceType()
    {
        QFETCH(QByteArray, typeAnswer);
        QFETCH(bool, refused);
        if (!typeAnswer.isEmpty())
            receive(typeAnswer);
        m_widget->onConnectionStatusChanged(true);
        bool asked = false;
        if (!refused)
            whenModal([&](QWidget* dialog) {
                asked = true;
                dialog->close();
            });
        auto* download = m_widget->findChild<QToolButton*>("toolButton_download");
        download->click();
        QCOMPARE(m_log->contains("this firmware do not support downloading.", 4), refused);
        QCOMPARE(asked, !refused);
        QVERIFY(download->isEnabled());
    }

    void connectionStateDrivesTools()
    {
        const auto buttons = m_widget->findChildren<QToolButton*>(QRegularExpression("^toolButton_"));
        QCOMPARE(buttons.size(), 11);
        for (bool connected : {true, false}) {
            m_widget->onConnectionStatusChanged(connected);
            for (QToolButton* button : buttons)
                QCOMPARE(button->isEnabled(), connected || button->objectName() == "toolButton_selectDongle");
        }
        QVERIFY(sent().contains("Reset"));
    }

    // The About dialog names the build's version, and its own Close button ends it.
    void about()
    {
        m_widget->onConnectionStatusChanged(true);
        QString shown;
        bool closedByButton = false;
        whenModal([&](QWidget* dialog) {
            shown = dialog->findChild<QTextBrowser*>("m_text")->toPlainText();
            dialog->grab().save(SCREENSHOT_DIR "caboutdialog.png");
            QTest::mouseClick(dialog->findChild<QPushButton*>("m_close"), Qt::LeftButton);
            closedByButton = !dialog->isVisible();
            dialog->close();
        });
        m_widget->findChild<QToolButton*>("toolButton_about")->click();
        QVERIFY2(shown.contains("Version " PROJECT_VERSION_TEXT), qPrintable(shown));
        QVERIFY(closedByButton);
    }

    void staticConfigurationFrames()
    {
        PtyPair pty;
        QVERIFY(pty.isValid());
        QCOMPARE(m_widget->msg()->openPort(pty.portName()), 0);
        QTemporaryDir dir;
        QSettings settings(dir.filePath("seed.ini"), QSettings::IniFormat);
        // Profile records are flag, length, data. An empty record has no id and is passed over; the
        // record behind it still goes. The other frames are checked end to end in tst_e2e_settings.
        settings.setValue("seed/profile", QByteArray::fromHex("010111" "000122" "01023344" "0000" "01025541"));
        m_widget->loadConfig(settings, "seed");

        m_widget->on_staticConfigSet();
        // Only the flagged profile items go out.
        const QString frames = sent(false).join('|');
        QVERIFY2(frames.contains(QRegularExpression("Name: Set Profile ID\r\n[^|]*Raw Data: aa05030300113355")),
                 qPrintable(frames));
        m_widget->msg()->closePort();
    }

    void pageTabsArePlacedAndClosed()
    {
        m_widget->buildPages();
        QTabWidget* tabs = m_widget->pageTabs();
        tabs->setEnabled(true); // as when a dongle is connected
        // A master link goes before "Slave", an incoming one at the end.
        for (uint8_t role : {0, 1}) {
            const QString address = QStringLiteral("c6:5a:10:00:00:0%1").arg(role + 1);
            m_widget->on_connectSuccess(role, address, new CLayerWidget(nullptr, nullptr, nullptr, nullptr, role,
                                                                         0, 0, 0, "Peer Device", address, role));
        }
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

    // The pages of the peripheral's streams and of a broadcast: where they stand, what opens
    // them again, what refuses to close them, and the reset that takes them all.
    void isochronousTabs()
    {
        m_widget->buildPages();
        QTabWidget* tabs = m_widget->pageTabs();
        tabs->setEnabled(true);
        m_widget->on_masterBIGSucceed(5);
        m_widget->on_slaveBIGSucceed(2);
        m_widget->on_masterBIGSucceed(7);
        QCOMPARE(tabs->tabText(1), QStringLiteral("BIG And BIS  "));
        QCOMPARE(tabs->tabText(3), QStringLiteral("BIG  "));
        QCOMPARE(tabs->currentIndex(), 1);
        auto* receiver = qobject_cast<MasterBIGWidget*>(tabs->widget(1));
        QCOMPARE(receiver->syncValue(), quint16(7));
        QCOMPARE(qobject_cast<SlaveBIGWidget*>(tabs->widget(3))->advertisingIndex(), QStringLiteral("2"));

        // A BIG that is followed keeps its page open.
        whenModal([](QWidget* dialog) { dialog->findChild<QPushButton*>("pushButtonOK")->click(); });
        receiver->findChild<QToolButton*>("toolButton_addBIG")->click();
        receive(QByteArray::fromHex("dd06070700" "00" "00" "00000000" "00"));
        ModalCatcher boxes;
        qobject_cast<QToolButton*>(tabs->tabBar()->tabButton(1, QTabBar::RightSide))->click();
        QCOMPARE(boxes.shown, QStringList{"ERROR: Please terminate BIG before close the BIG and BIS table."});
        QCOMPARE(tabs->count(), 4);

        // The stream asked for opens its page; another stream's report opens none.
        whenModal([](QWidget* dialog) { dialog->findChild<QPushButton*>("pushButton_reject")->click(); });
        receive(QByteArray::fromHex("dd0610" "0500" "01" "0101" "02" "03"));
        const QByteArray established = QByteArray(16, '\0') + QByteArray::fromHex("0202");
        receive(QByteArray::fromHex("dd06031500" "00" "0201") + established);
        QCOMPARE(tabs->count(), 4);
        receive(QByteArray::fromHex("dd06031500" "00" "0101") + established);
        QCOMPARE(tabs->count(), 5);
        QCOMPARE(tabs->tabText(4), QStringLiteral("Slave CIG and CIS"));
        QCOMPARE(tabs->currentIndex(), 4);
        receive(QByteArray::fromHex("dd060b03000101" "13"));
        QCOMPARE(tabs->count(), 4);
        QCOMPARE(tabs->tabText(tabs->currentIndex()), QStringLiteral("Slave"));

        receive(QByteArray::fromHex("cc0002010000"));
        QCOMPARE(tabs->count(), 2);
    }

private:
    // Hands a frame to the controller as the port would: on the signal of its module.
    void receive(const QByteArray& frame)
    {
        const auto signal = frame.at(1) == 0 ? &CMsg::sig_rcvCommonMsg
                            : frame.at(1) == 1 ? &CMsg::sig_rcvGapMsg : &CMsg::sig_rcvRfuMsg;
        emit (m_widget->msg()->*signal)(frame);
    }
    // Each downlink frame is logged as "Downlink Command Name: <name>\r\n...Raw Data: <hex>...".
    QStringList sent(bool namesOnly = true) const
    {
        QStringList lines;
        for (const QString& text : m_log->texts())
            if (text.startsWith("Downlink Command Name: "))
                lines.append(namesOnly ? text.section("\r\n", 0, 0).mid(23) : text);
        return lines;
    }

    MainDongleWidget* m_widget = nullptr;
    CaptureLogger* m_log = nullptr;
};

QTEST_MAIN(TestMainDongleWidget)
#include "tst_maindonglewidget.moc"
