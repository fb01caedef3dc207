#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include "formcontrol.h"
#include "gap/cgapcmdwidget.h"
#include "gap/clayerwidget.h"
#include "gap/cupdateconnparams.h"
#include "gap/diagramwidget.h"
#include "masterbench.h"
#include "schema/ccommanduiwidget.h"
#include "schema/cvalidatelineedit.h"
#include "schema/uplinkmsgtablemodel.h"
#include "whenmodal.h"

namespace {

// The heart-rate sensor and the thermometer of the simulator's default world.
const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
const QString kThermometer = QStringLiteral("c6:5a:10:00:00:03");

QString shown(const QWidget* diagram, const char* label)
{
    return diagram->findChild<QLabel*>(label)->text();
}

// Minimum, maximum, latency and timeout as the diagram shows them.
QString parameters(const DiagramWidget* diagram)
{
    return QStringList{shown(diagram, "m_lbMin"), shown(diagram, "m_lbMax"), shown(diagram, "m_lbLatency"),
                       shown(diagram, "m_lbTimeout")}
        .join(' ');
}

} // namespace

// A connection's GAP tab against tarvine-sim: the peer's version and features, a change of the
// connection's parameters, and the peer's own request for new ones, answered three ways.
class TestE2eGap : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void getsAndParameterUpdate();
    void peerAsksForParameters();

private:
    // Connects to the device of that address from the Master page and shows its GAP tab.
    void connectTo(const QString& address, CGapCmdWidget** gap);
    CCommandUiWidget* form(CGapCmdWidget* gap, const QString& name) const;
    // Opens the form and presses its button.
    void press(CCommandUiWidget* form);
    // The peer of the link asks for new parameters (wire counts); its page shows the dialog.
    CUpdateConnParams* peerAsks(CGapCmdWidget* gap, const QString& values);
    // How many Update Connection Parameters Reply frames with this answer went to the dongle.
    int replies(CGapCmdWidget* gap, bool accept) const;

    QTemporaryDir m_workDir;
    std::unique_ptr<MasterBench> m_bench;
    QMap<CGapCmdWidget*, int> m_condixes;
};

void TestE2eGap::initTestCase()
{
    QDir::setCurrent(m_workDir.path());
    QDir().mkpath(SCREENSHOT_DIR);
    applyFlatStyle();
}

void TestE2eGap::init()
{
    m_bench = std::make_unique<MasterBench>();
    m_bench->start();
}

void TestE2eGap::cleanup()
{
    m_condixes.clear();
    m_bench.reset();
}

void TestE2eGap::connectTo(const QString& address, CGapCmdWidget** gap)
{
    m_bench->tabs()->setCurrentIndex(0);
    if (m_bench->button("buttonScan")->text() == "Start Scan") {
        m_bench->scanUntilHeard({address});
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->rowOf(address) >= 0, 10000);
        m_bench->press(address);
    }
    QToolButton* connect = m_bench->button("buttonConnect");
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    const int index = m_bench->tabIndex("Peer Address: " + address);
    auto* layer = qobject_cast<CLayerWidget*>(m_bench->tabs()->widget(index));
    QVERIFY(layer);
    m_bench->tabs()->setCurrentIndex(index);
    layer->pages()->setCurrentWidget(layer->gapPage());
    m_condixes.insert(layer->gapPage(), layer->condix());
    *gap = layer->gapPage();
}

CCommandUiWidget* TestE2eGap::form(CGapCmdWidget* gap, const QString& name) const
{
    for (CCommandUiWidget* form : gap->forms())
        if (form->name() == name)
            return form;
    return nullptr;
}

void TestE2eGap::press(CCommandUiWidget* form)
{
    if (!form->isExpanded())
        QTest::mouseClick(form->findChild<QWidget*>("sigWidget"), Qt::LeftButton);
    form->findChild<QPushButton*>("btn_command")->click();
}

CUpdateConnParams* TestE2eGap::peerAsks(CGapCmdWidget* gap, const QString& values)
{
    const QString line = QStringLiteral("request 0 %1 %2").arg(m_condixes.value(gap)).arg(values);
    if (m_bench->sim->control(line) != "ok")
        return nullptr;
    if (!QTest::qWaitFor([gap] { return gap->findChildren<CUpdateConnParams*>().size() == 1; }, 10000))
        return nullptr;
    CUpdateConnParams* dialog = gap->findChild<CUpdateConnParams*>();
    return QTest::qWaitForWindowExposed(dialog) ? dialog : nullptr;
}

int TestE2eGap::replies(CGapCmdWidget* gap, bool accept) const
{
    return m_bench->sim->traced("down", QByteArray::fromHex("aa01390200") + char(accept) + char(m_condixes.value(gap)));
}

void TestE2eGap::getsAndParameterUpdate()
{
    CGapCmdWidget* gap = nullptr;
    connectTo(kSensor, &gap);
    QVERIFY(gap);
    const DiagramWidget* diagram = gap->diagramWidget();
    // The settings' connection: 12.5 ms, latency 1, 1 s.
    QCOMPARE(parameters(diagram), QString("12.5ms 12.5ms 1 1000ms"));
    QCOMPARE(shown(diagram, "m_lbDevice") + ' ' + shown(diagram, "m_lbDeviceAddr"), "Tarvine HR " + kSensor);

    // The sensor is a 5.1 device with LE 2M and no LE Coded.
    CCommandUiWidget* version = form(gap, "Get Peer Version");
    press(version);
    const auto text = [version](const char* title) {
        return qobject_cast<CValidateLineEdit*>(formControl(*version, title))->text();
    };
    QTRY_COMPARE_WITH_TIMEOUT(text("LMP version"), QString("10"), 10000);
    QCOMPARE(text("LMP subversion"), QString("4660"));
    QCOMPARE(text("Manufacturer name"), QString("65535"));
    CCommandUiWidget* features = form(gap, "Get Peer Features");
    press(features);
    const auto* bits = qobject_cast<UplinkBitTableModel*>(
        qobject_cast<QTableView*>(formControl(*features, "Features"))->model());
    QTRY_VERIFY_WITH_TIMEOUT(bits->state(0), 10000);
    QString set;
    for (int bit = 0; bit < 17; ++bit)
        set += bits->state(bit) ? '1' : '0';
    QCOMPARE(set, QString("11111111100011100")); // to LE 2M, then extended and periodic advertising, #2
    QVERIFY(gap->grab().save(SCREENSHOT_DIR "gap-tab-results.png"));

    // 20 to 30 ms, no latency, 2 s: the link takes the longest interval.
    CCommandUiWidget* update = form(gap, "Update Connection Parameters Request");
    QTest::mouseClick(update->findChild<QWidget*>("sigWidget"), Qt::LeftButton);
    for (const QString& typed : {"Connection Interval Minimum(ms)=20", "Connection Interval Maximum(ms)=30",
                                 "Connection Latency=0", "Supervision Timeout(ms)=2000"}) {
        auto* edit = qobject_cast<CValidateLineEdit*>(formControl(*update, typed.section('=', 0, 0)));
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, typed.section('=', 1));
    }
    press(update);
    QCOMPARE(diagram->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Linked), 10000);
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));
    QVERIFY(gap->grab().save(SCREENSHOT_DIR "gap-tab-updated.png"));
}

void TestE2eGap::peerAsksForParameters()
{
    CGapCmdWidget* sensor = nullptr;
    CGapCmdWidget* thermometer = nullptr;
    connectTo(kSensor, &sensor);
    QVERIFY(sensor);
    connectTo(kThermometer, &thermometer);
    QVERIFY(thermometer);
    QVERIFY(m_condixes.value(sensor) != m_condixes.value(thermometer));
    const DiagramWidget* diagram = sensor->diagramWidget();

    // The sensor asks for 20 to 30 ms, no latency, 2 s: its page alone asks the user.
    CUpdateConnParams* dialog = peerAsks(sensor, "16 24 0 200");
    QVERIFY(dialog);
    QVERIFY(thermometer->findChildren<CUpdateConnParams*>().isEmpty());
    QCOMPARE(dialog->windowTitle(), kSensor + ": Update Connection Parameters");
    QStringList values;
    for (const QLineEdit* value : dialog->findChildren<QLineEdit*>())
        values << value->text();
    QCOMPARE(values, (QStringList{kSensor, "20", "30", "0", "2000"}));
    QVERIFY(dialog->grab().save(SCREENSHOT_DIR "gap-peer-request.png"));
    dialog->findChild<QPushButton*>("pushButtonAccept")->click();
    QCOMPARE(diagram->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Linked), 10000);
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));
    QCOMPARE(replies(sensor, true), 1);

    // Rejected, then closed by the title bar's button: each a refusal, and the link as it was.
    dialog = peerAsks(sensor, "16 32 0 300");
    QVERIFY(dialog);
    dialog->findChild<QPushButton*>("pushButtonReject")->click();
    QTRY_COMPARE_WITH_TIMEOUT(replies(sensor, false), 1, 10000);
    dialog = peerAsks(sensor, "16 32 0 300");
    QVERIFY(dialog);
    QTest::mouseClick(dialog->findChild<QAbstractButton*>("m_tbClose"), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(replies(sensor, false), 2, 10000);
    QTRY_VERIFY(sensor->findChildren<CUpdateConnParams*>().isEmpty());
    QCOMPARE(diagram->state(), int(DiagramWidget::Linked));
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));

    // The dongle refuses the accepting reply: no change comes, and after 5 s the link shows lost.
    QCOMPARE(m_bench->sim->control("status 0 01@39 12"), QString("ok"));
    dialog = peerAsks(sensor, "16 32 0 300");
    QVERIFY(dialog);
    dialog->findChild<QPushButton*>("pushButtonAccept")->click();
    QCOMPARE(diagram->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Lost), 10000);
    QVERIFY(diagram->findChild<QLabel*>("m_line1")->styleSheet().contains("150, 150, 150"));
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));
    QVERIFY(sensor->grab().save(SCREENSHOT_DIR "gap-tab-lost.png"));

    // Asked again, the dongle takes the reply: the change completes and the link is shown again.
    QCOMPARE(m_bench->sim->control("status 0 01@39 0"), QString("ok"));
    dialog = peerAsks(sensor, "16 32 0 300");
    QVERIFY(dialog);
    dialog->findChild<QPushButton*>("pushButtonAccept")->click();
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Linked), 10000);
    QCOMPARE(parameters(diagram), QString("40ms 40ms 0 3000ms"));
    QVERIFY(diagram->findChild<QLabel*>("m_line1")->styleSheet().contains("24, 158, 222"));
    QCOMPARE(thermometer->diagramWidget()->state(), int(DiagramWidget::Linked));
    QCOMPARE(parameters(thermometer->diagramWidget()), QString("12.5ms 12.5ms 1 1000ms"));
}

QTEST_MAIN(TestE2eGap)
#include "tst_e2e_gap.moc"
