#include <QLabel>
#include <QTemporaryDir>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>

#include "app/cselectdongledlg.h"
#include "capturelogger.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"
#include "whenmodal.h"

namespace {

// A probe answer: BB 00 00, then six strings of a 16-bit little-endian length and the bytes.
QByteArray answerFrame(const QList<QByteArray>& strings, char module = 0)
{
    QByteArray answer = QByteArray::fromHex("bb") + module + '\0';
    for (const QByteArray& text : strings)
        answer += char(text.size()) + QByteArray(1, '\0') + text;
    return answer + '\x00';
}

const QList<QByteArray> kVirtualDongle = {"Tarvine Virtual Dongle", "Simulatec Instruments", "1.0.0-sim", "VD-1",
                                          "Simulated BLE dongle on a pseudo-terminal", "5.0.0"};

// Answers the probe on a pseudo-terminal as a dongle would, from the GUI thread's event loop.
class ProbeResponder
{
public:
    ProbeResponder(PtyPair& pty, const QByteArray& answer)
    {
        QObject::connect(&m_poll, &QTimer::timeout, [&pty, answer] {
            if (pty.readAll().contains(QByteArray::fromHex("aa0000000056")))
                pty.write(answer);
        });
        m_poll.start(5);
    }

private:
    QTimer m_poll;
};

} // namespace

class TestSelectDongleDialog : public QObject
{
    Q_OBJECT

private slots:
    // Every detail: name, product, manufacturer, firmware, hardware, description, SDK version.
    void probeAnswer_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("details");
        const QString virtualDongle = "Tarvine Virtual Dongle|" + kVirtualDongle.join('|');
        const QString unknown = "Unknown|Unknown|Unknown|Unknown|Unknown||Unknown";
        QTest::newRow("good answer") << answerFrame(kVirtualDongle) << virtualDongle;
        QTest::newRow("noise before the answer") << QByteArray::fromHex("0012ff") + answerFrame(kVirtualDongle)
                                                 << virtualDongle;
        QTest::newRow("module not 0") << answerFrame(kVirtualDongle, 1) << unknown;
        QTest::newRow("garbage") << QByteArray::fromHex("0102030405060708") << unknown;
        QTest::newRow("cut in the third string") << answerFrame(kVirtualDongle).left(56)
            << "Tarvine Virtual Dongle|Tarvine Virtual Dongle|Simulatec Instruments|Unknown|Unknown||Unknown";
        QTest::newRow("negative length") << QByteArray::fromHex("bb0000" "00ff") + "Virtual" << unknown;
        QTest::newRow("a dongle that calls itself Unknown")
            << answerFrame({"Unknown", "Maker", "1", "1", "", "1"}) << "Unknown|Unknown|Maker|1|1||1";
    }
    void probeAnswer()
    {
        QFETCH(QByteArray, data);
        const DongleInfo info = RefreshDongleThread::parseProbeAnswer(data);
        QTEST(QStringList({info.dongleName, info.product, info.manufacturer, info.firmwareVersion,
                           info.hardwareVersion, info.description, info.sdkVersion}).join('|'), "details");
    }
    void listsOnlyAnsweringFreeDongles()
    {
        PtyPair good("ttyTEST0");
        PtyPair garbage("ttyTEST1", &good);
        PtyPair held("ttyTEST2", &good);
        PtyPair silent("ttyTEST3", &good);
        ProbeResponder goodAnswer(good, answerFrame(kVirtualDongle));
        ProbeResponder garbageAnswer(garbage, QByteArray::fromHex("0a0b0c0d0e0f"));
        ProbeResponder heldAnswer(held, answerFrame(kVirtualDongle));

        // Another tab holds this one: the probe can't open it.
        CMsg otherTab(nullptr);
        QCOMPARE(otherTab.openPort("ttyTEST2"), 0);

        LogManager logger("SelectTest");
        CMsg msg(&logger);
        CSelectDongleDialog dialog(&msg, &logger);
        auto* tree = dialog.findChild<QTreeWidget*>("deviceTree");
        QVERIFY(tree);
        // Shown before the probe, as the user opens it: laid out for "Unknown".
        applyFlatStyle();
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        dialog.on_pb_Refresh_clicked();
        QTRY_VERIFY(dialog.findChild<QPushButton*>("pb_Refresh")->isEnabled());

        const QTreeWidgetItem* root = tree->topLevelItem(0);
        QCOMPARE(root->text(0), QString("Supported Targets"));
        QCOMPARE(root->childCount(), 1);
        QCOMPARE(root->child(0)->text(0), QString("Tarvine Virtual Dongle(ttyTEST0)"));
        QCOMPARE(dialog.findChild<QLabel*>("labelManufacturer")->text(), QString("Simulatec Instruments"));

        // Every detail shows whole once the dialog has been laid out again, one pass of the event
        // loop later: one line where it fits, wrapped where it is long.
        QCoreApplication::processEvents();
        for (const QLabel* label : dialog.findChildren<QLabel*>(QRegularExpression("^label(?!.*Caption$)"))) {
            const bool whole = label->wordWrap() ? label->heightForWidth(label->width()) <= label->height()
                                                 : label->sizeHint().width() <= label->width();
            QVERIFY2(whole, qPrintable(label->text()));
        }
        dialog.grab().save(SCREENSHOT_DIR "selectdongle.png");
        otherTab.closePort();
    }

    // A name the registry makes from a path outside the port folder (a by-id link: dashes
    // dropped) must survive the dialog's cut of "product(port)" and open the port. Ports that go
    // away are taken through the dialog in tst_e2e_dongle.
    void connectByPathName()
    {
        PtyPair dongle("ttyTEST0");
        ProbeResponder answer(dongle, answerFrame(kVirtualDongle));
        QTemporaryDir elsewhere;
        const QString path = elsewhere.filePath("usb-Maker_Dongle-if00-port0");
        QVERIFY(QFile::link(dongle.slavePath(), path));
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(elsewhere.filePath("none")));
        qputenv("TARVINE_EXTRA_PORTS", QFile::encodeName(path));

        LogManager logger("SelectTest");
        CMsg msg(&logger);
        CSelectDongleDialog dialog(&msg, &logger);
        QSignalSpy status(&dialog, &CSelectDongleDialog::sig_connectionStatusChanged);
        dialog.on_pb_Refresh_clicked();
        QTRY_VERIFY(dialog.findChild<QPushButton*>("pb_Refresh")->isEnabled());
        const QTreeWidgetItem* root = dialog.findChild<QTreeWidget*>("deviceTree")->topLevelItem(0);
        QCOMPARE(root->childCount(), 1);
        QCOMPARE(root->child(0)->text(0), QString("Tarvine Virtual Dongle(usbMaker_Dongleif00port0)"));
        auto* connectButton = dialog.findChild<QPushButton*>("PB_Connect");
        connectButton->click();
        QCOMPARE(msg.portName(), QString("usbMaker_Dongleif00port0"));
        QVERIFY(msg.isOpen());
        QCOMPARE(connectButton->text(), QString("Disconnect"));
        QCOMPARE(status.takeFirst().at(0).toBool(), true);
    }
};

QTEST_MAIN(TestSelectDongleDialog)
#include "tst_cselectdongledlg.moc"
