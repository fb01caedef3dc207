#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include "formcontrol.h"
#include "gap/cgapcmdwidget.h"
#include "gap/cupdateconnparams.h"
#include "gap/diagramwidget.h"
#include "masterbench.h"
#include "schema/ccommanduiwidget.h"
#include "schema/cvalidatelineedit.h"
#include "schema/uplinkmsgtablemodel.h"

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
// connection's parameters, and the peer's own request for new ones, accepted, or refused by the
// dongle. A refusal by the user is checked in tst_cgapcmdwidget.
class TestE2eGap : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_bench = std::make_unique<MasterBench>();
        m_bench->start();
    }
    void cleanup() { m_bench.reset(); }
    void getsAndParameterUpdate();
    void peerAsksForParameters();

private:
    // Opens the form and presses its button.
    void press(CCommandUiWidget* form)
    {
        typeIntoForm(form, {});
        form->findChild<QPushButton*>("btn_command")->click();
    }
    // The peer of the link asks for new parameters (wire counts); its page shows the dialog.
    CUpdateConnParams* peerAsks(const QString& address, const QString& values);
    // How many Update Connection Parameters Reply frames with this answer went to the dongle.
    int replies(const QString& address, bool accept) const
    {
        const char condix = char(m_bench->layerOf(address)->condix());
        return m_bench->sim->traced("down", QByteArray::fromHex("aa01390200") + char(accept) + condix);
    }

    std::unique_ptr<MasterBench> m_bench;
};

CUpdateConnParams* TestE2eGap::peerAsks(const QString& address, const QString& values)
{
    CGapCmdWidget* gap = m_bench->layerOf(address)->gapPage();
    const QString line = QStringLiteral("request 0 %1 %2").arg(m_bench->layerOf(address)->condix()).arg(values);
    if (m_bench->sim->control(line) != "ok")
        return nullptr;
    if (!QTest::qWaitFor([gap] { return gap->findChildren<CUpdateConnParams*>().size() == 1; }, 10000))
        return nullptr;
    CUpdateConnParams* dialog = gap->findChild<CUpdateConnParams*>();
    return QTest::qWaitForWindowExposed(dialog) ? dialog : nullptr;
}

void TestE2eGap::getsAndParameterUpdate()
{
    CGapCmdWidget* gap = m_bench->connectTo(kSensor, &CLayerWidget::gapPage);
    QVERIFY(gap);
    const DiagramWidget* diagram = gap->diagramWidget();
    // The settings' connection: 12.5 ms, latency 1, 1 s.
    QCOMPARE(parameters(diagram), QString("12.5ms 12.5ms 1 1000ms"));
    QCOMPARE(shown(diagram, "m_lbDevice") + ' ' + shown(diagram, "m_lbDeviceAddr"), "Tarvine HR " + kSensor);

    // The sensor is a 5.1 device with LE 2M and no LE Coded.
    CCommandUiWidget* version = formNamed(gap->forms(), "Get Peer Version");
    press(version);
    const auto text = [version](const char* title) {
        return qobject_cast<CValidateLineEdit*>(formControl(*version, title))->text();
    };
    QTRY_COMPARE_WITH_TIMEOUT(text("LMP version"), QString("10"), 10000);
    QCOMPARE(text("LMP subversion"), QString("4660"));
    QCOMPARE(text("Manufacturer name"), QString("65535"));
    CCommandUiWidget* features = formNamed(gap->forms(), "Get Peer Features");
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
    CCommandUiWidget* update = formNamed(gap->forms(), "Update Connection Parameters Request");
    typeIntoForm(update, {"Connection Interval Minimum(ms)=20", "Connection Interval Maximum(ms)=30",
                          "Connection Latency=0", "Supervision Timeout(ms)=2000"});
    press(update);
    QCOMPARE(diagram->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Linked), 10000);
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));
    QVERIFY(gap->grab().save(SCREENSHOT_DIR "gap-tab-updated.png"));
}

void TestE2eGap::peerAsksForParameters()
{
    CGapCmdWidget* sensor = m_bench->connectTo(kSensor, &CLayerWidget::gapPage);
    QVERIFY(sensor);
    CGapCmdWidget* thermometer = m_bench->connectTo(kThermometer, &CLayerWidget::gapPage);
    QVERIFY(thermometer);
    const DiagramWidget* diagram = sensor->diagramWidget();

    // The sensor asks for 20 to 30 ms, no latency, 2 s, and the user accepts.
    CUpdateConnParams* dialog = peerAsks(kSensor, "16 24 0 200");
    QVERIFY(dialog);
    QVERIFY(dialog->grab().save(SCREENSHOT_DIR "gap-peer-request.png"));
    dialog->findChild<QPushButton*>("pushButtonAccept")->click();
    QCOMPARE(diagram->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Linked), 10000);
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));
    QCOMPARE(replies(kSensor, true), 1);

    // The dongle refuses the accepting reply: no change comes, and after 5 s the link shows lost.
    QCOMPARE(m_bench->sim->control("status 0 01@39 12"), QString("ok"));
    dialog = peerAsks(kSensor, "16 32 0 300");
    QVERIFY(dialog);
    dialog->findChild<QPushButton*>("pushButtonAccept")->click();
    QCOMPARE(diagram->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Lost), 10000);
    QVERIFY(diagram->findChild<QLabel*>("m_line1")->styleSheet().contains("150, 150, 150"));
    QCOMPARE(parameters(diagram), QString("30ms 30ms 0 2000ms"));
    QVERIFY(sensor->grab().save(SCREENSHOT_DIR "gap-tab-lost.png"));

    // Asked again, the dongle takes the reply: the change completes and the link is shown again.
    QCOMPARE(m_bench->sim->control("status 0 01@39 0"), QString("ok"));
    dialog = peerAsks(kSensor, "16 32 0 300");
    QVERIFY(dialog);
    dialog->findChild<QPushButton*>("pushButtonAccept")->click();
    QTRY_COMPARE_WITH_TIMEOUT(diagram->state(), int(DiagramWidget::Linked), 10000);
    QCOMPARE(parameters(diagram), QString("40ms 40ms 0 3000ms"));
    QVERIFY(diagram->findChild<QLabel*>("m_line1")->styleSheet().contains("24, 158, 222"));
    QCOMPARE(replies(kSensor, true), 3);
    QCOMPARE(thermometer->diagramWidget()->state(), int(DiagramWidget::Linked));
    QCOMPARE(parameters(thermometer->diagramWidget()), QString("12.5ms 12.5ms 1 1000ms"));
}

QTEST_MAIN(TestE2eGap)
#include "tst_e2e_gap.moc"
