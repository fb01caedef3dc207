#include <QLabel>
#include <QPushButton>
#include <QTabBar>
#include <QtTest>

#include "../adv/advpage.h"
#include "adv/advertisingwidget.h"
#include "adv/cadvbasewidget.h"
#include "capturelogger.h"
#include "cigcisflow.h"
#include "iso/cigdatatablemodel.h"
#include "iso/manageciswidget.h"
#include "iso/receivecisslavepara.h"
#include "iso/receivedatatablemodel.h"
#include "iso/slaveciswidget.h"
#include "log/logmanager.h"
#include "masterbench.h"
#include "schema/cvalidatetextedit.h"
#include "settingsui.h"

namespace {

// The identity address of the first simulated dongle.
const QString kPeripheral = QStringLiteral("00:00:5e:00:53:10");

// Answers the next CIS request of a peripheral's dongle with this button; queued once no other
// dialog is to come.
void answerCisRequest(const char* button)
{
    whenModal([button](QWidget* dialog) {
        if (qobject_cast<ReceiveCISSlavePara*>(dialog))
            dialog->findChild<QPushButton*>(button)->click();
    });
}

} // namespace

// LE Audio between two simulated dongles in one tool: the peripheral's side of a connected
// stream that the other dongle's CIG/CIS page asks for.
class TestE2eLeAudio : public QObject
{
    Q_OBJECT

    MasterBench m_bench;
    CaptureLogger* m_peripheralLog = nullptr;
    CaptureLogger* m_centralLog = nullptr;
    MainDongleWidget* m_peripheral = nullptr;
    CCigCisWidget* m_cigCis = nullptr;

    SlaveCISWidget* peripheralStream() const
    {
        QTabWidget* tabs = m_peripheral->pageTabs();
        for (int index = 0; index < tabs->count(); ++index) {
            if (auto* page = qobject_cast<SlaveCISWidget*>(tabs->widget(index)))
                return page;
        }
        return nullptr;
    }
    // Creates the stream of this row of the central's group.
    void createStream(int row)
    {
        CisDataTableModel* streams = m_cigCis->cisModel();
        for (int at = 0; at < streams->rowCount(); ++at)
            streams->setData(streams->index(at, 0), at == row ? Qt::Checked : Qt::Unchecked, Qt::CheckStateRole);
        whenModal([](QWidget* dialog) { dialog->findChild<QPushButton*>("pushButtonOK")->click(); });
        cigcis::click(m_cigCis, "toolButton_createCIS");
    }

private slots:
    void initTestCase()
    {
        m_bench.start({"Peripheral", "Central"});
        m_peripheral = m_bench.dongle("Peripheral");
        m_peripheral->logger()->addLogger(m_peripheralLog = new CaptureLogger);
        m_bench.dongle("Central")->logger()->addLogger(m_centralLog = new CaptureLogger);

        advertisingWidget* slave = m_peripheral->advertisingPage();
        slave->on_addAdvertisingItem(0, QLatin1String(CAdvBaseWidget::LegacyKind));
        applySettings(slave->findChildren<CAdvBaseWidget*>(QString(), Qt::FindDirectChildrenOnly).last(),
                      {"adv:Complete Local Name=Tarvine Audio"});
        slave->findChild<QPushButton*>("btnStartAdv")->click();
        QTRY_VERIFY_WITH_TIMEOUT(slave->hasRunningSet(), 10000);

        m_bench.use(m_bench.dongle("Central"));
        QVERIFY(m_bench.connectTo(kPeripheral));
        m_bench.tabs()->setCurrentIndex(0);
        m_bench.button("buttonCIGCIS")->click();
        m_cigCis = qobject_cast<CCigCisWidget*>(m_bench.tabs()->currentWidget());
        QVERIFY(m_cigCis);
        cigcis::defineAndSetGroup(m_cigCis, 2, {}, {});
        QTRY_VERIFY(!m_cigCis->cigModel()->index(0, 8).data(Qt::DecorationRole).isNull());
    }

    // The request is shown to the peripheral's user; accepted, the stream gets a tab of its own
    // there, and what the central sends arrives in it.
    void acceptedStreamOpensItsTab()
    {
        createStream(0);
        answerCisRequest("pushButton_accept");
        QTRY_VERIFY_WITH_TIMEOUT(peripheralStream(), 10000);
        SlaveCISWidget* stream = peripheralStream();
        QTabWidget* tabs = m_peripheral->pageTabs();
        QCOMPARE(tabs->tabText(tabs->indexOf(stream)), QString("Slave CIG and CIS"));
        QCOMPARE(tabs->currentWidget(), stream);
        QCOMPARE(tabs->tabBar()->tabButton(tabs->indexOf(stream), QTabBar::RightSide)->toolTip(), QString("Disconnect"));
        QTRY_COMPARE(m_cigCis->cisModel()->at(0).connected, quint8(1));
        QCOMPARE(stream->findChild<QLabel*>("label")->text(),
                 "CIS Connection Handle: " + QString::number(stream->handle()));

        manageCISWidget* receiving = stream->shownManageCis();
        cigcis::openDataPaths(receiving);
        QTRY_VERIFY(m_peripheralLog->contains("Set ISO data path succeed.", 2));
        auto* table = m_cigCis->findChild<QTableView*>("tableView_CIS");
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(table->model()->index(0, 1)).center());
        manageCISWidget* sending = m_cigCis->shownManageCis();
        cigcis::openDataPaths(sending);
        QTRY_VERIFY(m_centralLog->contains("Set ISO data path succeed.", 2));
        sending->findChild<CValidateTextEdit*>("textEdit_sendData")->setPlainText("a1b2c3");
        sending->findChild<QPushButton*>("pushButton_send")->click();
        QTRY_VERIFY_WITH_TIMEOUT(receiving->receiveModel()->rowCount() > 0, 10000);
        // The table shows the SDU's bytes as the stream pages always have, last first.
        QCOMPARE(receiving->receiveModel()->index(0, 4).data().toString(), QString("c3b2a1"));
        QVERIFY(m_peripheral->window()->grab().save(SCREENSHOT_DIR "e2e-cis-peripheral.png"));
    }

    // Reject cannot be sent: the dongle's controller refuses for its host when the time to
    // answer has passed, and both sides log the refusal.
    void rejectedStreamOpensNoTab()
    {
        m_peripheralLog->clear();
        createStream(1);
        answerCisRequest("pushButton_reject");
        QTRY_VERIFY_WITH_TIMEOUT(m_peripheralLog->contains("Send msg:Reject CIS Established assemble failed.", 4), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(
            m_peripheralLog->texts().join("\n").contains("[Complete Result] Uplink Command Name:Accept CIS Established"),
            15000);
        QTRY_VERIFY(m_centralLog->texts().join("\n").contains("[Complete Result] Uplink Command Name:"));
        QCOMPARE(m_cigCis->cisModel()->at(1).connected, quint8(0));
        int streams = 0;
        for (int index = 0; index < m_peripheral->pageTabs()->count(); ++index)
            streams += qobject_cast<SlaveCISWidget*>(m_peripheral->pageTabs()->widget(index)) != nullptr;
        QCOMPARE(streams, 1);
    }

    // The tab's close button ends the stream at both ends.
    void peripheralEndsTheStream()
    {
        SlaveCISWidget* stream = peripheralStream();
        QVERIFY(stream);
        QTabWidget* tabs = m_peripheral->pageTabs();
        qobject_cast<QAbstractButton*>(tabs->tabBar()->tabButton(tabs->indexOf(stream), QTabBar::RightSide))->click();
        QTRY_VERIFY_WITH_TIMEOUT(!peripheralStream(), 10000);
        QCOMPARE(tabs->tabText(tabs->currentIndex()), QString("Slave"));
        QTRY_COMPARE(m_cigCis->cisModel()->at(0).connected, quint8(0));
    }
};

QTEST_MAIN(TestE2eLeAudio)
#include "tst_e2e_leaudio.moc"
