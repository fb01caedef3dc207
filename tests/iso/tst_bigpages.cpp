#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>
#include <QtTest>

#include <memory>

#include "cigcisflow.h"
#include "frames.h"
#include "iso/bigdatatablemodel.h"
#include "iso/bisdatatablemodel.h"
#include "iso/manageciswidget.h"
#include "iso/masterbigwidget.h"
#include "iso/receivecisslavepara.h"
#include "iso/slavebigdatatablemodel.h"
#include "iso/slavebigwidget.h"
#include "iso/slaveciswidget.h"
#include "linkbench.h"
#include "whenmodal.h"

namespace {

QByteArray iso(quint8 head, quint8 opcode, const QByteArray& body)
{
    return uplink(head, 0x06, opcode, body);
}

QByteArray downlink(quint8 opcode, const QByteArray& body)
{
    return withChecksum(QByteArray(1, char(0xAA)) + char(0x06) + char(opcode) + le16(body.size()) + body);
}

QByteArray handles(std::initializer_list<int> values)
{
    QByteArray bytes;
    for (int value : values)
        bytes += le16(value);
    return bytes;
}

// DD@06@07, the receiver's BIG Create Sync answer.
QByteArray syncCreated(quint8 status, quint8 bigId, quint8 count, const QByteArray& bisHandles)
{
    return iso(0xDD, 0x07, QByteArray(1, char(status)) + char(bigId) + QByteArray(4, '\0') + char(count) + bisHandles);
}

// DD@06@05, the broadcaster's Create BIG answer.
QByteArray bigCreated(quint8 status, quint8 bigId, quint8 count, const QByteArray& bisHandles)
{
    return iso(0xDD, 0x05, QByteArray(1, char(status)) + char(bigId) + QByteArray(8, '\0') + char(count) + bisHandles);
}

const QString kCode = QStringLiteral("01:02:03:04:05:06:07:08:09:0a:0b:0c:0d:0e:0f:10");

} // namespace

// The broadcast pages and the peripheral's CIS pages, fed the uplinks a dongle sends; the
// frames they send are read back from the port, the dialogs answered as a user does.
class TestBigPages : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_bench;

    void expectSent(const QByteArray& expected)
    {
        QCOMPARE(m_bench->pty.read(expected.size()).toHex(' '), expected.toHex(' '));
    }
    static QString cell(const QAbstractItemModel* model, int row, int column)
    {
        return model->index(row, column).data().toString();
    }
    static bool sendsData(const manageCISWidget* stream)
    {
        return !stream->findChild<QWidget*>("groupBox_send")->isHidden();
    }
    static bool receivesData(const manageCISWidget* stream)
    {
        return !stream->findChild<QWidget*>("groupBox_receive")->isHidden();
    }
    // A receiver page on sync handle 1 with BIG 0 of `bises` BISes, its Create BIG Sync read
    // off the port.
    std::unique_ptr<MasterBIGWidget> receiver(int bises)
    {
        auto page = std::make_unique<MasterBIGWidget>(&m_bench->msg, &m_bench->logger, nullptr);
        page->setSyncValue(1);
        page->resize(1200, 600);
        page->show();
        cigcis::addThroughDialog(page.get(), "toolButton_addBIG");
        for (int i = 0; i < bises; ++i)
            cigcis::addThroughDialog(page.get(), "toolButton_addBIS");
        cigcis::click(page.get(), "toolButton_createBIG");
        m_bench->pty.read(5 + 24 + bises + 1);
        m_bench->log->clear();
        return page;
    }

private slots:
    void init()
    {
        applyFlatStyle();
        m_bench = std::make_unique<LinkBench>();
    }
    void cleanup() { m_bench.reset(); }

    // Both BIG tables, a value in a column of each: the receiver's and the broadcaster's.
    void captions_data()
    {
        QTest::addColumn<int>("receiverColumn");
        QTest::addColumn<int>("broadcasterColumn");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("receiver");
        QTest::addColumn<QString>("broadcaster");
        QTest::newRow("id") << 0 << 0 << "7" << "7" << "7";
        QTest::newRow("unencrypted") << 2 << 8 << "0" << "UnEncrypted" << "UnEncrypted";
        QTest::newRow("encrypted") << 2 << 8 << "1" << "Encrypted" << "Encrypted";
        QTest::newRow("no such encryption") << 2 << 8 << "2" << "" << "";
        QTest::newRow("unframed, interleaved") << 1 << 7 << "0" << "0" << "UnFramed";
        QTest::newRow("framed, sequential") << 1 << 6 << "1" << "1" << "Interleaved";
    }
    void captions()
    {
        QFETCH(int, receiverColumn);
        QFETCH(int, broadcasterColumn);
        QFETCH(QString, value);
        BigDataTableModel receiving;
        receiving.append(bigParameter{value, value, value, value, value, 0});
        SlaveBigDataTableModel broadcasting;
        broadcasting.append(slaveBigPara{value, value, value, value, value, value, value, value, value, value, value,
                                         value, 1});
        QTEST(cell(&receiving, 0, receiverColumn), "receiver");
        QTEST(cell(&broadcasting, 0, broadcasterColumn), "broadcaster");
        QVERIFY(receiving.index(0, 4).data(Qt::DecorationRole).isNull());
        QVERIFY(!broadcasting.index(0, 10).data(Qt::DecorationRole).isNull());
    }

    // What "Create BIG Sync" sends: the row's sync handle, the count as the codec reads decimal
    // text, the broadcast code in the order typed or zeros, a byte a BIS.
    void createSyncFrames_data()
    {
        QTest::addColumn<int>("bises");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QByteArray>("sent");
        const QByteArray tail = QByteArray::fromHex("03" "8813");
        QTest::newRow("no BIS") << 0 << "" << QByteArray::fromHex("00" "0100" "00" "00") + QByteArray(16, '\0') + tail;
        QTest::newRow("two BISes, a code typed")
            << 2 << kCode
            << QByteArray::fromHex("00" "0100" "02" "01" "0102030405060708090a0b0c0d0e0f10") + tail
                   + QByteArray::fromHex("0001");
        QTest::newRow("ten BISes go out as 0x10")
            << 10 << "" << QByteArray::fromHex("00" "0100" "10" "00") + QByteArray(16, '\0') + tail
                   + QByteArray::fromHex("00010203040506070809");
    }
    void createSyncFrames()
    {
        QFETCH(int, bises);
        QFETCH(QString, code);
        QFETCH(QByteArray, sent);
        MasterBIGWidget page(&m_bench->msg, &m_bench->logger, nullptr);
        page.setSyncValue(1);
        const QMap<QString, QString> values{{"encryption", code.isEmpty() ? "0" : "1"}, {"broadcastcode", code}};
        cigcis::addThroughDialog(&page, "toolButton_addBIG", values);
        for (int i = 0; i < bises; ++i)
            cigcis::addThroughDialog(&page, "toolButton_addBIS");
        cigcis::click(&page, "toolButton_createBIG");
        expectSent(downlink(0x09, sent));
    }

    void bigRowsKeepTheirTrain()
    {
        MasterBIGWidget page(&m_bench->msg, &m_bench->logger, nullptr);
        page.setSyncValue(3);
        cigcis::addThroughDialog(&page, "toolButton_addBIG");
        page.setSyncValue(9);
        cigcis::addThroughDialog(&page, "toolButton_addBIG");
        QCOMPARE(page.syncHandleOf("0"), quint16(3));
        QCOMPARE(page.syncHandleOf("1"), quint16(9));
        QCOMPARE(cell(page.bigModel(), 1, 0), QString("1"));
    }

    // The answer to Create BIG Sync: refused when it names another BIG or count, or failed; else
    // a receiving page per BIS, the first shown.
    void syncAnswer_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("logged");
        QTest::newRow("another BIG") << syncCreated(0, 5, 2, handles({0x110, 0x111}))
                                     << "ERROR: The returned big ID is wrong in BIG Create Sync command."
                                     << "BIG ID sended is not equal to the response BIG ID.";
        QTest::newRow("another count") << syncCreated(0, 0, 1, handles({0x110}))
                                       << "ERROR: The returned cis count is wrong in BIG Create Sync command."
                                       << "CIS Count sended is not equal to the response CIS Count.";
        QTest::newRow("a wrong code") << syncCreated(205, 0, 2, handles({0, 0})) << ""
                                      << "[Complete Result] Uplink Command Name:BIG Create Sync Result:";
        QTest::newRow("synchronised") << syncCreated(0, 0, 2, handles({0x110, 0x111})) << "" << "";
    }
    void syncAnswer()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, box);
        QFETCH(QString, logged);
        auto page = receiver(2);
        ModalCatcher boxes;
        page->onRcvMsg(answer);
        QCOMPARE(boxes.shown.join(""), box);
        const bool synced = logged.isEmpty();
        if (!synced)
            QVERIFY(m_bench->log->texts().join("\n").contains(logged));
        QCOMPARE(page->hasRunningBig(), synced);
        QCOMPARE(page->manageCisPages().size(), synced ? 3 : 1);
        if (!synced)
            return;
        QCOMPARE(cell(page->bisModel(), 1, 1), QString::number(0x111));
        manageCISWidget* shown = page->shownManageCis();
        QCOMPARE(shown->streamHandle(), QString::number(0x110));
        QVERIFY(receivesData(shown) && !sendsData(shown));
        QCOMPARE(page->findChild<QLabel*>("label_connection")->text(), QString("BIS Connection Handle: 272"));
        QVERIFY(page->grab().save(SCREENSHOT_DIR "big-receiver.png"));
    }

    void terminatedSyncTakesItsPages()
    {
        auto page = receiver(2);
        page->onRcvMsg(syncCreated(0, 0, 2, handles({0x110, 0x111})));
        QPointer<manageCISWidget> stream = page->manageCisPages().value(0x110);
        cigcis::click(page.get(), "toolButton_terminateBIG");
        expectSent(downlink(0x0A, QByteArray(1, '\0')));
        page->onRcvMsg(iso(0xDD, 0x12, QByteArray::fromHex("a300")));
        QVERIFY(page->hasRunningBig()); // a lost sync is only logged
        page->onRcvMsg(iso(0xDD, 0x12, QByteArray::fromHex("0000")));
        QVERIFY(!page->hasRunningBig());
        QCOMPARE(page->bigModel()->rowCount(), 0);
        QCOMPARE(page->manageCisPages().keys(), QList<quint16>{0xFFF});
        QTRY_VERIFY(stream.isNull());
        QVERIFY(!page->findChild<QToolButton*>("toolButton_createBIG")->isEnabled());
        QVERIFY(m_bench->log->contains("BIG Terminate Sync succeed.", 2));
    }

    void broadcasterListsItsBises()
    {
        SlaveBIGWidget page(&m_bench->msg, &m_bench->logger, nullptr);
        cigcis::addThroughDialog(&page, "toolButton_addBIG", {{"number_bis", "3"}});
        QVERIFY(m_bench->log->contains("Please set slave BIG Widget adv Index before set BIG.", 1));
        QCOMPARE(cell(page.bigModel(), 0, 1), QString());
        QCOMPARE(page.bisModel()->rowCount(), 3);
        QCOMPARE(cell(page.bisModel(), 2, 0), QString("2"));
    }

    void broadcasterCreatesAndEnds()
    {
        SlaveBIGWidget page(&m_bench->msg, &m_bench->logger, nullptr);
        page.resize(1200, 600);
        page.show();
        page.setAdvIndex("2");
        cigcis::addThroughDialog(&page, "toolButton_addBIG", {{"number_bis", "2"}});
        cigcis::click(&page, "toolButton_createBIG");
        expectSent(downlink(0x07, QByteArray::fromHex("00" "02" "02" "a0860100" "f000" "6400" "02" "02" "00" "00" "00")
                                      + QByteArray(16, '\0')));

        ModalCatcher boxes;
        page.onRcvMsg(bigCreated(0, 0, 3, handles({1, 2, 3})));
        QCOMPARE(boxes.shown, QStringList{"ERROR: The returned cis count is wrong in Create BIG command."});
        QVERIFY(!page.hasRunningBig());

        page.onRcvMsg(bigCreated(0, 0, 2, handles({0x120, 0x121})));
        QVERIFY(page.hasRunningBig());
        manageCISWidget* shown = page.shownManageCis();
        QCOMPARE(shown->streamHandle(), QString::number(0x120));
        QVERIFY(sendsData(shown) && !receivesData(shown));
        QVERIFY(!shown->findChild<QLineEdit*>("lineEdit_interval")->isEnabled());
        QVERIFY(page.grab().save(SCREENSHOT_DIR "big-broadcaster.png"));

        page.onRcvMsg(iso(0xDD, 0x06, QByteArray::fromHex("1605")));
        QCOMPARE(boxes.shown.last(), QString("ERROR: The returned big ID is wrong in Terminate BIG command."));
        page.onRcvMsg(iso(0xDD, 0x06, QByteArray::fromHex("1600")));
        QCOMPARE(page.bigModel()->rowCount(), 0);
        QCOMPARE(page.manageCisPages().size(), 1);
    }

    // The request's dialog: both buttons need the stream's handle; Accept sends it back, Reject
    // has never been able to.
    void cisRequestAnswers_data()
    {
        QTest::addColumn<bool>("withHandle");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QString>("logged");
        QTest::newRow("accept") << true << "pushButton_accept" << downlink(0x05, le16(0x101)) << "";
        QTest::newRow("reject") << true << "pushButton_reject" << QByteArray()
                                << "Send msg:Reject CIS Established assemble failed.";
        QTest::newRow("accept without a handle") << false << "pushButton_accept" << QByteArray()
                                                 << "The CIS Request data is wrong.";
        QTest::newRow("reject without a handle") << false << "pushButton_reject" << QByteArray()
                                                 << "The CIS Request data is wrong.";
    }
    void cisRequestAnswers()
    {
        QFETCH(bool, withHandle);
        QFETCH(QString, button);
        QFETCH(QByteArray, sent);
        QFETCH(QString, logged);
        UplinkFieldMap request{{"acl_connection_index", QByteArray(1, 1)}, {"cig_id", QByteArray(1, 2)},
                               {"cis_id", QByteArray(1, 3)}};
        if (withHandle)
            request.insert("cis_connection_handle", le16(0x101));
        ReceiveCISSlavePara dialog(&m_bench->msg, &m_bench->logger, request);
        dialog.show();
        QCOMPARE(dialog.findChild<QLineEdit*>("cis_id")->text(), QString("3"));
        if (withHandle && button == "pushButton_accept")
            QVERIFY(dialog.grab().save(SCREENSHOT_DIR "cis-request.png"));
        dialog.findChild<QPushButton*>(button)->click();
        QCOMPARE(dialog.isVisible(), !withHandle);
        if (!sent.isEmpty())
            expectSent(sent);
        if (!logged.isEmpty())
            QVERIFY(m_bench->log->contains(logged, 4));
        QCOMPARE(m_bench->pty.readAll(), QByteArray());
    }

    void peripheralStreamEndsOnlyWithItsHandle()
    {
        const UplinkFieldMap established{{"status", QByteArray(1, 0)}, {"cis_connection_handle", le16(0x101)},
                                         {"transport_latency_m2s", QByteArray::fromHex("102700")},
                                         {"phy_m2s", QByteArray(1, 2)}};
        SlaveCISWidget page(&m_bench->msg, &m_bench->logger, nullptr, established);
        page.resize(1200, 600);
        page.show();
        QCOMPARE(page.findChild<QLabel*>("label")->text(), QString("CIS Connection Handle: 257"));
        QCOMPARE(page.findChild<QLineEdit*>("transport_latency_m2s")->text(), QString("10000"));
        QCOMPARE(page.findChild<QLineEdit*>("phy_m2s")->text(), QString("LE 2M"));
        QVERIFY(sendsData(page.shownManageCis()) && receivesData(page.shownManageCis()));
        QVERIFY(page.grab().save(SCREENSHOT_DIR "cis-peripheral.png"));

        QList<uint64_t> ended;
        connect(&page, &SlaveCISWidget::disConnectSlaveCIS, this, [&ended](uint64_t handle) { ended.append(handle); });
        page.onRcvMsg(iso(0xDD, 0x0B, le16(0x102) + char(0x13)));
        QVERIFY(ended.isEmpty());
        page.onSlaveDisconnect();
        expectSent(downlink(0x0D, le16(0x101)));
        page.onRcvMsg(iso(0xDD, 0x0B, le16(0x101) + char(0x16)));
        QCOMPARE(ended, QList<uint64_t>{0x101});
    }
};

QTEST_MAIN(TestBigPages)
#include "tst_bigpages.moc"
