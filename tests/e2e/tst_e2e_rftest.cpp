#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

#include "capturelogger.h"
#include "log/logmanager.h"
#include "masterbench.h"
#include "rftest/cidtwidget.h"
#include "rftest/clcpwidget.h"
#include "rftest/rfrxtablemodel.h"

namespace {

using Texts = QMap<QString, QString>;

// Sixteen bytes that count up, as a user would type them.
const QString kPayload = QStringLiteral("000102030405060708090A0B0C0D0E0F");

} // namespace

// Two simulated dongles in one tool, one tab each: the first transmits in a test mode, the
// second receives on the same tuning.
class TestE2eRfTest : public QObject
{
    Q_OBJECT

    MasterBench m_bench;
    CLCPwidget* m_lcpTx = nullptr;
    CLCPwidget* m_lcpRx = nullptr;

    template <class Page>
    Page* openPage(const QString& dongle, const char* toolButton)
    {
        MainDongleWidget* tab = m_bench.dongle(dongle);
        tab->findChild<QToolButton*>(toolButton)->click();
        return qobject_cast<Page*>(tab->pageTabs()->currentWidget());
    }
    static QLineEdit* editor(CRfTestWidget* page, const QString& key)
    {
        return page->findChild<QLineEdit*>("lineEdit_" + QString(key).remove(' '));
    }
    static QPushButton* button(CRfTestWidget* page, const char* name) { return page->findChild<QPushButton*>(name); }
    static void fill(CRfTestWidget* page, const Texts& texts)
    {
        for (auto it = texts.cbegin(); it != texts.cend(); ++it)
            editor(page, it.key())->setText(it.value());
    }
    // Starts the mode and sets the parameters.
    bool tune(CRfTestWidget* page, const char* modeButton, const Texts& parameters)
    {
        button(page, modeButton)->click();
        fill(page, parameters);
        button(page, "btn_set")->click();
        return page->isModeOn();
    }
    // The rows of the receive table whose length and payload are these.
    static int rowsCarrying(CRfTestWidget* page, const QString& length, const QString& payload)
    {
        const RfRxTableModel* model = page->rxModel();
        const int last = model->columnCount() - 1;
        int rows = 0;
        for (int row = 0; row < model->rowCount(); ++row)
            rows += model->index(row, last - 1).data() == length && model->index(row, last).data() == payload;
        return rows;
    }
    // A hundred packets at 20 ms from the first dongle, all heard by the second, which is shown
    // mid-run.
    void hundredPackets(CRfTestWidget* tx, CRfTestWidget* rx, const Texts& packet, const QString& screenshot)
    {
        // The receiver listens before the first packet goes.
        const QByteArray receiving = rx->metaObject()->className() == QByteArray("CLCPwidget")
                                         ? QByteArray::fromHex("bb0905010000")
                                         : QByteArray::fromHex("bb0a05010000");
        const int before = m_bench.sim->traced("up", receiving);
        button(rx, "btn_startrx")->click();
        QTRY_VERIFY(m_bench.sim->traced("up", receiving) > before);
        fill(tx, packet);
        fill(tx, {{"Length", "10"}, {"Payload", kPayload}, {"Repeat Time", "100"}, {"Repeat Interval", "20"}});
        button(tx, "btn_send")->click();
        QCOMPARE(button(tx, "btn_send")->text(), QString("Stop Tx"));

        m_bench.window->on_showThisDongleTab("RX");
        QTRY_VERIFY_WITH_TIMEOUT(rx->rxModel()->rowCount() >= 30, 10000);
        QVERIFY(m_bench.window->grab().save(SCREENSHOT_DIR + screenshot));

        QTRY_COMPARE_WITH_TIMEOUT(editor(tx, "txNum")->text(), QString("100"), 15000);
        QCOMPARE(button(tx, "btn_send")->text(), QString("Send"));
        QTRY_COMPARE_WITH_TIMEOUT(rx->rxModel()->rowCount(), 100, 5000);
        QCOMPARE(rowsCarrying(rx, "10", kPayload), 100);
        QCOMPARE(editor(rx, "rxNum")->text(), QString("100"));
    }

private slots:
    void initTestCase() { m_bench.start({"TX", "RX"}); }

    void lcpTransmitsAndReceives()
    {
        auto* tx = openPage<CLCPwidget>("TX", "toolButton_lcp");
        auto* rx = openPage<CLCPwidget>("RX", "toolButton_lcp");
        QVERIFY(tx && rx);
        m_lcpTx = tx;
        m_lcpRx = rx;
        const Texts tuning{{"Frequency", "2402"}, {"Channel Index", "37"}, {"Tx Power", "-20"}};
        QVERIFY(tune(tx, "btn_startlcp", tuning));
        QVERIFY(tune(rx, "btn_startlcp", tuning));
        hundredPackets(tx, rx, {{"Header", "4C"}}, "e2e-lcp-receiving.png");
        QCOMPARE(rx->rxModel()->index(99, CLCPwidget::RX_HEADER).data().toString(), QString("4C"));
    }

    // Acknowledgements that stop coming end the transmission after 25 s with the time-out box;
    // the LCP pages go off for the IDT ones.
    void lcpTimeOut()
    {
        MainDongleWidget* tab = m_bench.dongle("TX");
        CLCPwidget* tx = m_lcpTx;
        QVERIFY(tx && tx->isModeOn());
        auto* log = new CaptureLogger;
        tab->logger()->addLogger(log);
        QCOMPARE(m_bench.sim->control("mute 0 09 on"), QString("ok"));
        fill(tx, {{"Repeat Time", "5"}, {"Repeat Interval", "10"}});
        ModalCatcher boxes;
        button(tx, "btn_send")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!boxes.shown.isEmpty(), 40000);
        QCOMPARE(boxes.shown, QStringList("ERROR: LCP mode: it's time out when transmitting."));
        QVERIFY(log->contains("LCP send data time out send cnt:0,repeat:5", 1));
        QCOMPARE(button(tx, "btn_send")->text(), QString("Send"));
        QVERIFY(!tx->isTransmitting());

        // Closing the tab stops the mode on the dongle.
        const int stopsBefore = m_bench.sim->traced("down", QByteArray::fromHex("aa0902"));
        tab->onCloseLCP();
        QCOMPARE(tab->pageTabs()->indexOf(tx), -1);
        QTRY_COMPARE(m_bench.sim->traced("down", QByteArray::fromHex("aa0902")), stopsBefore + 1);
        // A dongle is in one test mode at a time.
        button(m_lcpRx, "btn_startlcp")->click();
        QTRY_COMPARE(m_bench.sim->traced("down", QByteArray::fromHex("aa0902")), stopsBefore + 2);
    }

    void idtTransmitsAndReceives()
    {
        auto* tx = openPage<CIDTwidget>("TX", "toolButton_idt");
        auto* rx = openPage<CIDTwidget>("RX", "toolButton_idt");
        QVERIFY(tx && rx);
        const Texts tuning{{"Channel Num", "159"}, {"Tx Power", "7"}};
        QVERIFY(tune(tx, "btn_startidt", tuning));
        QVERIFY(tune(rx, "btn_startidt", tuning));
        hundredPackets(tx, rx, {}, "e2e-idt-receiving.png");

        // The dongle's reset ends its test mode; the page stays, ready to start again.
        m_bench.dongle("RX")->findChild<QToolButton*>("toolButton_reset")->click();
        QTRY_VERIFY(!rx->isModeOn());
        QCOMPARE(button(rx, "btn_startidt")->text(), QString("Start IDT Mode"));
        QCOMPARE(rx->rxModel()->rowCount(), 100);
    }
};

QTEST_MAIN(TestE2eRfTest)
#include "tst_e2e_rftest.moc"
