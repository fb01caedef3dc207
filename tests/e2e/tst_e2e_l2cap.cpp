#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>
#include <QTextEdit>
#include <QToolButton>
#include <QtTest>

#include "../adv/advpage.h"
#include "capturelogger.h"
#include "adv/advertisingwidget.h"
#include "adv/cadvbasewidget.h"
#include "l2cap/ccreatecocreqdlg.h"
#include "l2cap/cl2capwidget.h"
#include "l2cap/cregisterpsmdialog.h"
#include "l2cap/csduwidget.h"
#include "log/logmanager.h"
#include "masterbench.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "schema/cvalidatelineedit.h"
#include "whenmodal.h"

namespace {

// The heart-rate sensor of the default world: an echo on PSM 128, a sink on 129, an echo that
// asks for authentication on 130; two channels at a time.
const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
// The simulator's first dongle, when it advertises.
const QString kPeripheral = QStringLiteral("00:00:5e:00:53:10");

struct CocRequest
{
    int psm;
    int localId;
    int credits;
    int mtu;
    int mps;
};

// The K-frames an SDU of `size` bytes takes at this MPS: the first carries the SDU's length too.
int kFrames(int size, int mps)
{
    return (size + 2 + mps - 1) / mps;
}

QStringList counters(const ChannelSide& side)
{
    return {side.value(ChannelInfo::InitialCredits), side.value(ChannelInfo::ConsumedCredits),
            side.value(ChannelInfo::RemainingCredits)};
}

} // namespace

// Credit-based channels against tarvine-sim: a file through the sensor's echo service and back,
// and two dongles of one tool at the two ends of a channel.
class TestE2eL2cap : public QObject
{
    Q_OBJECT

private slots:
    // The file dialogs as widgets of this process, whatever the desktop offers, so the test can answer them.
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void cleanup() { m_bench.reset(); }
    void echoReturnsAFileWhole();
    void twoDonglesBothWays();

private:
    // Asks for a channel from the tab's "Create COC" form.
    void requestChannel(CL2capWidget* tab, const CocRequest& request);
    // Sends the typed hex from the channel's page and dismisses the box that says it is done.
    void sendTyped(CSduWidget* page, const QString& hex);
    CL2capWidget* l2capTabOf(CLayerWidget* layer) const
    {
        layer->pages()->setCurrentWidget(layer->l2capPage());
        return layer->l2capPage();
    }

    std::unique_ptr<MasterBench> m_bench;
};

void TestE2eL2cap::requestChannel(CL2capWidget* tab, const CocRequest& request)
{
    tab->findChild<QToolButton*>("toolButtonAdd")->click();
    auto* form = tab->findChild<CStandardMsgDlg*>();
    QVERIFY(form);
    form->form()->setEditorTexts({{"le_psm", QString::number(request.psm)},
                                  {"local_cid", QString::number(request.localId)},
                                  {"local_credits", QString::number(request.credits)},
                                  {"mtu", QString::number(request.mtu)},
                                  {"mps", QString::number(request.mps)}});
    form->findChild<QPushButton*>("pushButtonOK")->click();
    QTRY_VERIFY(!tab->findChild<CStandardMsgDlg*>());
}

void TestE2eL2cap::sendTyped(CSduWidget* page, const QString& hex)
{
    bool finished = false;
    whenModal([&](QWidget* box) {
        finished = box->windowTitle().endsWith(": Info");
        box->close();
    }, 1000);
    page->findChild<QTextEdit*>("textEditTX")->setPlainText(hex);
    page->findChild<QPushButton*>("pushButtonSend")->click();
    QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
}

void TestE2eL2cap::echoReturnsAFileWhole()
{
    m_bench = std::make_unique<MasterBench>();
    m_bench->start();
    CL2capWidget* tab = m_bench->connectTo(kSensor, &CLayerWidget::l2capPage);
    QVERIFY(tab);
    const CocRequest request{128, 64, 255, 512, 100};
    requestChannel(tab, request);
    QTRY_VERIFY_WITH_TIMEOUT(tab->sduPage("64"), 10000);
    QCOMPARE(tab->channels().value("64").remote, ChannelInfo::openingSide("128", "512", "247", "10"));

    QByteArray sent(10240, '\0');
    for (int i = 0; i < sent.size(); ++i)
        sent[i] = char(i * 7 % 251);
    QFile file(m_bench->workDir.filePath("sent.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(sent);
    file.close();

    CSduWidget* page = tab->sduPage("64");
    QString finished;
    whenModal([&](QWidget* dialog) {
        auto* picker = qobject_cast<QFileDialog*>(dialog);
        picker->selectFile(file.fileName());
        static_cast<QDialog*>(picker)->accept();
        whenModal([&](QWidget* box) {
            finished = box->windowTitle();
            box->close();
        }, 3000);
    });
    page->findChild<QPushButton*>("pushButtonSendFile")->click();
    QTRY_COMPARE_WITH_TIMEOUT(finished, QString("Bench: Info"), 30000);
    QCOMPARE(page->findChild<QLabel*>("labelSendedCount")->text(), QString("10240"));
    QTRY_COMPARE_WITH_TIMEOUT(page->findChild<QLabel*>("labelRxLength")->text(), QString("10240"), 10000);

    // Twenty SDUs of the peer's MTU went out and came back in K-frames of the dongle's MPS; the
    // echo hands back what each SDU cost once it has echoed it.
    const int sdus = sent.size() / request.mtu;
    const int echoFrames = sdus * kFrames(request.mtu, request.mps);
    QCOMPARE(page->findChild<QLabel*>("labelRxCredits")->text(), QString::number(echoFrames));
    QTRY_COMPARE_WITH_TIMEOUT(counters(tab->channels().value("64").remote), (QStringList{"10", "0", "10"}), 10000);
    QCOMPARE(counters(tab->channels().value("64").local),
             (QStringList{"255", QString::number(echoFrames), QString::number(255 - echoFrames)}));

    const QString saved = m_bench->workDir.filePath("saved.bin");
    whenModal([&](QWidget* dialog) {
        auto* picker = qobject_cast<QFileDialog*>(dialog);
        picker->selectFile(saved);
        static_cast<QDialog*>(picker)->accept();
    });
    page->findChild<QPushButton*>("pushButtonSave")->click();
    QFile echoed(saved);
    QVERIFY(echoed.open(QIODevice::ReadOnly));
    QCOMPARE(echoed.readAll(), sent);

    // Credits handed back by hand.
    page->findChild<CValidateLineEdit*>("lineEditCredit")->setText("50");
    page->findChild<QPushButton*>("pushButtonSendCredit")->click();
    QTRY_COMPARE_WITH_TIMEOUT(counters(tab->channels().value("64").local),
                              (QStringList{"255", QString::number(echoFrames - 50), QString::number(255 - echoFrames + 50)}),
                              10000);
    QVERIFY(m_bench->window->grab().save(SCREENSHOT_DIR "e2e-l2cap-channel.png"));

    tab->findChild<QToolButton*>("toolButtonRemove")->click();
    QTRY_VERIFY_WITH_TIMEOUT(tab->channels().isEmpty(), 10000);
    QVERIFY(!tab->sduPage("64"));
}

void TestE2eL2cap::twoDonglesBothWays()
{
    m_bench = std::make_unique<MasterBench>();
    m_bench->start({"Peripheral", "Central"});
    MainDongleWidget* peripheral = m_bench->dongle("Peripheral");
    CRegisterPSMDialog* psms = peripheral->registerPsmDialog();
    psms->findChild<CValidateLineEdit*>("lineEditPsm")->setText("128");
    psms->findChild<QPushButton*>("pushButtonRegister")->click();
    QTRY_COMPARE_WITH_TIMEOUT(psms->registered(), QStringList{"128"}, 10000);

    advertisingWidget* slave = peripheral->advertisingPage();
    slave->on_addAdvertisingItem(0, QLatin1String(CAdvBaseWidget::LegacyKind));
    applySettings(slave->findChildren<CAdvBaseWidget*>(QString(), Qt::FindDirectChildrenOnly).last(),
                  {"adv:Complete Local Name=Tarvine L2CAP"});
    {
        ModalCatcher boxes;
        slave->findChild<QPushButton*>("btnStartAdv")->click();
        QTRY_VERIFY2_WITH_TIMEOUT(slave->hasRunningSet(), qPrintable(boxes.shown.join(" / ")), 10000);
    }
    m_bench->use(m_bench->dongle("Central"));
    CLayerWidget* central = m_bench->connectTo(kPeripheral);
    QVERIFY(central);
    QTabWidget* peripheralTabs = peripheral->pageTabs();
    QTRY_VERIFY_WITH_TIMEOUT(qobject_cast<CLayerWidget*>(peripheralTabs->widget(peripheralTabs->count() - 1)), 10000);
    auto* peripheralLayer = qobject_cast<CLayerWidget*>(peripheralTabs->widget(peripheralTabs->count() - 1));
    CL2capWidget* centralTab = l2capTabOf(central);
    CL2capWidget* peripheralTab = l2capTabOf(peripheralLayer);

    // The peripheral's user is asked, and accepts with settings of their own.
    requestChannel(centralTab, {128, 64, 20, 200, 100});
    QTRY_VERIFY_WITH_TIMEOUT(peripheralTab->findChild<CCreateCOCReqDlg*>(), 10000);
    auto* asked = peripheralTab->findChild<CCreateCOCReqDlg*>();
    asked->findChild<CValidateLineEdit*>("lineEditLocalId")->setText("70");
    asked->findChild<CValidateLineEdit*>("lineEditMtu")->setText("300");
    asked->findChild<CValidateLineEdit*>("lineEditMps")->setText("150");
    asked->findChild<QPushButton*>("pushButtonAccept")->click();
    QTRY_VERIFY_WITH_TIMEOUT(centralTab->sduPage("64"), 10000);
    QVERIFY(peripheralTab->sduPage("70"));
    QCOMPARE(centralTab->channels().value("64").remote, ChannelInfo::openingSide("128", "300", "150", "255"));

    sendTyped(centralTab->sduPage("64"), "C0FFEE");
    QTRY_COMPARE_WITH_TIMEOUT(peripheralTab->sduPage("70")->findChild<QTextEdit*>("textEditRX")->toPlainText(),
                              QString("C0:FF:EE").toLower(), 10000);
    sendTyped(peripheralTab->sduPage("70"), "0102030405");
    QTRY_COMPARE_WITH_TIMEOUT(centralTab->sduPage("64")->findChild<QTextEdit*>("textEditRX")->toPlainText(),
                              QString("01:02:03:04:05"), 10000);
    QCOMPARE(counters(centralTab->channels().value("64").local), (QStringList{"20", "1", "19"}));

    // A refused request leaves no channel on either side.
    auto* log = new CaptureLogger;
    m_bench->tab->logger()->addLogger(log);
    requestChannel(centralTab, {128, 65, 20, 200, 100});
    QTRY_VERIFY_WITH_TIMEOUT(peripheralTab->findChild<CCreateCOCReqDlg*>(), 10000);
    peripheralTab->findChild<CCreateCOCReqDlg*>()->findChild<QPushButton*>("pushButtonReject")->click();
    QTRY_VERIFY_WITH_TIMEOUT(log->texts().contains("Uplink Command Name:Creating COC Result:BLE L2C ERR INSUFF AUTHOR"),
                             10000);
    QCOMPARE(centralTab->channels().keys(), QStringList{"64"});
    QCOMPARE(peripheralTab->channels().keys(), QStringList{"70"});

    // Closed from the peripheral's side, the channel goes on both.
    peripheralTab->findChild<QToolButton*>("toolButtonRemove")->click();
    QTRY_VERIFY_WITH_TIMEOUT(centralTab->channels().isEmpty() && peripheralTab->channels().isEmpty(), 10000);
}

QTEST_MAIN(TestE2eL2cap)
#include "tst_e2e_l2cap.moc"
