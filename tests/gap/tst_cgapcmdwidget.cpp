#include <QLabel>
#include <QLineEdit>
#include <QHeaderView>
#include <QPushButton>
#include <QTableView>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

#include "formcontrol.h"
#include "frames.h"
#include "gap/cgapcmdwidget.h"
#include "gap/cupdateconnparams.h"
#include "gap/diagramwidget.h"
#include "linkbench.h"
#include "schema/ccommanduiwidget.h"
#include "schema/cvalidatelineedit.h"
#include "whenmodal.h"

namespace {

QByteArray frame(const char* hex)
{
    const QByteArray body = QByteArray::fromHex(hex);
    return QByteArray::fromHex("dd01") + body.left(1) + char(body.size() - 1) + '\0' + body.mid(1);
}

QString text(const QWidget* parent, const char* name)
{
    return parent->findChild<QLabel*>(name)->text();
}

} // namespace

// The GAP tab of a connection: forms, the diagram, the peer's request, all by the link's condix.
class TestCGapCmdWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_link;
    FieldValueMap m_config{{"device_name", "636261"}, {"identity_addr", "C01122334455"}};
    QString m_dongle = "Bench";

    std::unique_ptr<CGapCmdWidget> page(uint8_t condix)
    {
        // 30 ms interval, no latency, 720 ms supervision timeout.
        return std::make_unique<CGapCmdWidget>(&m_link->msg, &m_link->logger, &m_config, &m_dongle, condix, 24, 0, 72,
                                               "Tarvine HR", "c6:5a:10:00:00:01");
    }

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init() { m_link = std::make_unique<LinkBench>(); }
    void cleanup() { m_link.reset(); }

    // The diagram shows the dongle and the link as configured. Opened, the bit tables show every
    // row, and those alone on their row take the width of the field beside them too: the tab
    // scrolls, not the tables.
    void diagramAndBitTablesAtTheStart()
    {
        const auto gap = page(3);
        const DiagramWidget* diagram = gap->diagramWidget();
        QCOMPARE(text(diagram, "m_lbDongle"), QString("abc"));
        QCOMPARE(text(diagram, "m_lbDongleAddr"), QString("C0:11:22:33:44:55"));
        QCOMPARE(text(diagram, "m_lbMin") + ' ' + text(diagram, "m_lbMax") + ' ' + text(diagram, "m_lbLatency") + ' '
                     + text(diagram, "m_lbTimeout"),
                 QString("30ms 30ms 0 720ms"));
        QCOMPARE(diagram->state(), int(DiagramWidget::Linked));

        gap->resize(1200, 800);
        gap->show();
        for (CCommandUiWidget* form : gap->forms())
            if (!form->isExpanded())
                form->onWidgetPressed();
        const QList<QTableView*> tables = gap->findChildren<QTableView*>();
        QCOMPARE(tables.size(), 4); // features, two PHY directions, channel map
        for (const QTableView* table : tables) {
            QTRY_VERIFY(table->viewport()->height() >= table->verticalHeader()->length());
            if (table->model()->columnCount() == 4)
                QVERIFY(table->width() > table->parentWidget()->width() / 2);
        }
    }

    // Uplinks of this link and of another; a page logs only its own.
    void uplinksGoByCondix_data()
    {
        QTest::addColumn<QByteArray>("uplink");
        QTest::addColumn<bool>("logged");
        QTest::addColumn<QString>("rssi");     // what the RSSI form shows after
        QTest::addColumn<QString>("interval"); // what the diagram shows after
        QTest::addColumn<QString>("complaint"); // a level-4 line
        // Get Connection RSSI: status, rssi, condix.
        QTest::newRow("own result shown") << frame("5200c403") << true << "-60" << "30ms" << QString();
        QTest::newRow("another link's result dropped unlogged") << frame("5200c404") << false << "" << "30ms" << QString();
        QTest::newRow("failed result logs its status") << frame("5202c403") << true << "" << "30ms"
            << "Uplink Command Name:Get Connection RSSI Result:BLE ATT ERR READ NOT PERMITTED";
        // Update Connection Parameter Complete Event: status, interval, latency, timeout, condix.
        QTest::newRow("new parameters") << frame("3800" "2800" "0200" "6400" "03") << true << "" << "50ms" << QString();
        QTest::newRow("another link's new parameters") << frame("3800" "2800" "0200" "6400" "05") << false << ""
                                                       << "30ms" << QString();
        // Data Length Update completion names its link by `index`.
        QTest::newRow("own data length refused") << frame("441203" "fb004808fb004808") << true << "" << "30ms"
            << "Uplink Command Name:Data Length Update Result:BLE ATT ERR DB OUT OF SYNC";
    }
    void uplinksGoByCondix()
    {
        QFETCH(QByteArray, uplink);
        QFETCH(QString, complaint);
        const auto gap = page(3);
        emit m_link->msg.sig_rcvGapMsg(uplink);
        const bool anyLine = std::any_of(m_link->log->lines.cbegin(), m_link->log->lines.cend(), [](const auto& line) {
            return line.second.contains("Uplink Command Name");
        });
        QTEST(anyLine, "logged");
        QTEST(formNamed(gap->forms(), "Get Connection RSSI")->findChild<CValidateLineEdit*>()->text(), "rssi");
        QTEST(text(gap->diagramWidget(), "m_lbMin"), "interval");
        if (!complaint.isEmpty())
            QVERIFY2(m_link->log->contains(complaint, 4), qPrintable(m_link->log->texts().join('\n')));
    }

    void responsesOnlyAfterTheyWereAskedFor()
    {
        const auto gap = page(3);
        const QByteArray refused = QByteArray::fromHex("bb014d010002");
        emit m_link->msg.sig_rcvGapMsg(refused);
        QVERIFY(m_link->log->lines.isEmpty());
        formNamed(gap->forms(), "Get Peer Version")->findChild<QPushButton*>("btn_command")->click();
        emit m_link->msg.sig_rcvGapMsg(refused);
        QVERIFY(m_link->log->texts().join('\n').contains("[SDK Result] Uplink Command Name:Get Peer Version"));
    }

    // The peer asks for new parameters: only its link's page asks the user, who answers. The
    // dongle's refusal of an accepting reply, which shows the link lost, is checked in tst_e2e_gap.
    void peerRequest_data()
    {
        QTest::addColumn<QString>("answer"); // the button pressed
        QTest::addColumn<int>("accept");
        QTest::addColumn<int>("state");
        QTest::newRow("accepted") << "pushButtonAccept" << 1 << int(DiagramWidget::Updating);
        QTest::newRow("rejected") << "pushButtonReject" << 0 << int(DiagramWidget::Linked);
        QTest::newRow("closed") << "m_tbClose" << 0 << int(DiagramWidget::Linked);
    }
    void peerRequest()
    {
        QFETCH(QString, answer);
        QFETCH(int, accept);
        QFETCH(int, state);
        const auto first = page(1);
        const auto second = page(2);
        QSignalSpy front(second.get(), &CGapCmdWidget::sig_showDongleTab);
        // 30 to 50 ms, latency 4, 4 s, for condix 2.
        emit m_link->msg.sig_rcvGapMsg(frame("3c" "1800" "2800" "0400" "9001" "02"));
        QVERIFY(first->findChildren<CUpdateConnParams*>().isEmpty());
        const auto dialogs = second->findChildren<CUpdateConnParams*>();
        QCOMPARE(dialogs.size(), 1);
        CUpdateConnParams* dialog = dialogs.first();
        QCOMPARE(front.takeFirst().at(0).toString(), m_dongle);
        QCOMPARE(dialog->windowTitle(), QString("c6:5a:10:00:00:01: Update Connection Parameters"));
        QStringList values;
        for (const QLineEdit* value : dialog->findChildren<QLineEdit*>())
            values << value->text();
        QCOMPARE(values, (QStringList{"c6:5a:10:00:00:01", "30", "50", "4", "4000"}));
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        if (accept)
            QVERIFY(dialog->grab().save(SCREENSHOT_DIR "cupdateconnparams.png"));

        QPointer<CUpdateConnParams> alive(dialog);
        QTest::mouseClick(dialog->findChild<QAbstractButton*>(answer), Qt::LeftButton);
        QTRY_VERIFY(!alive);
        // Update Connection Parameters Reply: accept, condix.
        QCOMPARE(m_link->pty.read(7).toHex(), withChecksum(QByteArray::fromHex("aa01390200") + char(accept) + '\x02').toHex());
        QCOMPARE(second->diagramWidget()->state(), state);
        QCOMPARE(first->diagramWidget()->state(), int(DiagramWidget::Linked));
    }

};

QTEST_MAIN(TestCGapCmdWidget)
#include "tst_cgapcmdwidget.moc"
