#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>
#include <QtTest>

#include <memory>

#include "cigcisflow.h"
#include "frames.h"
#include "iso/ccigciswidget.h"
#include "iso/cigdatatablemodel.h"
#include "iso/cisdatatablemodel.h"
#include "iso/cisoparameterdialog.h"
#include "iso/manageciswidget.h"
#include "iso/receivedatatablemodel.h"
#include "linkbench.h"
#include "schema/cmsgfield.h"
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

QByteArray cigSet(quint8 status, quint8 cigId, quint8 count, const QByteArray& handles)
{
    return iso(0xDD, 0x02, QByteArray(1, char(status)) + char(cigId) + char(count) + handles);
}

QByteArray cisCreated(quint16 handle, quint8 status = 0)
{
    return iso(0xDD, 0x03, QByteArray(1, char(status)) + le16(handle) + QByteArray(16, '\0') + "\x02\x02");
}

// The stream of the group as the form's defaults make it: 100-byte SDUs, the PHY at the
// form's third place (LE Coded), one retransmission.
const QByteArray kDefaultStream = QByteArray::fromHex("6400640004040101");

} // namespace

// The CIG/CIS page fed the uplinks a dongle sends; the frames it sends are read back from the
// port, the dialogs answered as a user does.
class TestCCigCisWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_bench;
    QByteArray m_masterCondixes{"\x01\x03", 2};
    QString m_dongle = QStringLiteral("Bench");
    std::unique_ptr<CCigCisWidget> m_page;

    template <class T>
    T* child(const char* name) const { return m_page->findChild<T*>(name); }
    void click(const char* button) { cigcis::click(m_page.get(), button); }
    void expectSent(const QByteArray& expected)
    {
        QCOMPARE(m_bench->pty.read(expected.size()).toHex(' '), expected.toHex(' '));
    }
    void addThrough(const char* button, const QMap<QString, QString>& values = {})
    {
        cigcis::addThroughDialog(m_page.get(), button, values);
    }
    void press(const char* table, int row)
    {
        auto* view = child<QTableView>(table);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(view->model()->index(row, 1)).center());
    }
    QString cell(QAbstractItemModel* model, int row, int column) const
    {
        return model->index(row, column).data().toString();
    }
    // A group (id 0) of two streams (ids 0 and 1) that the dongle took, with handles 256 and 257.
    void configuredGroup()
    {
        addThrough("toolButton_AddCIG");
        addThrough("toolButton_AddCIS");
        addThrough("toolButton_AddCIS");
        m_page->onRcvMsg(cigSet(0, 0, 2, le16(256) + le16(257)));
        m_bench->log->clear();
    }

private slots:
    void init()
    {
        m_bench = std::make_unique<LinkBench>();
        m_page = std::make_unique<CCigCisWidget>(&m_bench->msg, &m_bench->logger, nullptr, &m_dongle,
                                                 &m_masterCondixes);
        m_page->resize(1200, 600);
        m_page->show();
    }
    void cleanup()
    {
        m_page.reset();
        m_bench.reset();
    }

    void captions_data()
    {
        QTest::addColumn<bool>("cig");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("shown");
        const char* const sca[] = {"251 ppm to 500 ppm", "151 ppm to 250 ppm", "101 ppm to 150 ppm", "76 ppm to 100 ppm",
                                   "51 ppm to 75 ppm",   "31 ppm to 50 ppm",   "21 ppm to 30 ppm",   "0 ppm to 20 ppm"};
        for (int value = 0; value < 8; ++value)
            QTest::addRow("sca %d", value) << true << 5 << QString::number(value) << sca[value];
        QTest::newRow("sca 8") << true << 5 << "8" << "";
        QTest::newRow("interleaved") << true << 6 << "1" << "Interleaved";
        QTest::newRow("framed") << true << 7 << "1" << "Framed";
        QTest::newRow("phy 1") << false << 4 << "1" << "LE 1M";
        QTest::newRow("phy 2") << false << 5 << "2" << "LE 2M";
        QTest::newRow("phy 4") << false << 4 << "4" << "LE Coded";
        QTest::newRow("phy 3") << false << 5 << "3" << "";
    }
    void captions()
    {
        QFETCH(bool, cig);
        QFETCH(int, column);
        QFETCH(QString, value);
        QFETCH(QString, shown);
        CigDataTableModel groups;
        CisDataTableModel streams;
        cigParameter group;
        group.sca = group.packing = group.framing = value;
        groups.append(group);
        cisParameter stream;
        stream.phy_m2s = stream.phy_s2m = value;
        streams.append(stream);
        QAbstractItemModel* model = cig ? static_cast<QAbstractItemModel*>(&groups) : &streams;
        QCOMPARE(cell(model, 0, column), shown);
        QCOMPARE(model->index(0, column).data(Qt::TextAlignmentRole).toInt(), 0x81);
    }

    // Ids count up from 0 across edits, which keep the row's own.
    void runningIds()
    {
        for (int i = 0; i < 3; ++i)
            addThrough("toolButton_AddCIG");
        press("tableView_CIG", 1);
        addThrough("toolButton_editCIG", {{"sdu_interval_m2s", "7500"}});
        addThrough("toolButton_AddCIG");
        QStringList ids;
        for (int row = 0; row < m_page->cigModel()->rowCount(); ++row)
            ids.append(cell(m_page->cigModel(), row, 0));
        QCOMPARE(ids, QStringList({"0", "1", "2", "3"}));
        QCOMPARE(cell(m_page->cigModel(), 1, 1), QString("7500"));
        QVERIFY(m_page->cisModel()->rowCount() == 0);
    }

    void setCigSendsTheGroup_data()
    {
        QTest::addColumn<int>("streams");
        QTest::newRow("no stream") << 0;
        QTest::newRow("two streams") << 2;
    }
    void setCigSendsTheGroup()
    {
        QFETCH(int, streams);
        addThrough("toolButton_AddCIG", {{"sca", "5"}, {"transport_latency_s2m", "4000"}});
        for (int i = 0; i < streams; ++i)
            addThrough("toolButton_AddCIS");
        click("toolButton_setCIG");
        QByteArray body = QByteArray::fromHex("00" "10270000" "10270000" "050000" "0a00" "a00f") + char(streams);
        for (int i = 0; i < streams; ++i)
            body += char(i) + kDefaultStream;
        expectSent(downlink(0x02, body));
    }

    void setCigAnswer_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("logged");
        QTest::addColumn<QStringList>("handles");
        QTest::newRow("another group") << cigSet(0, 7, 2, {}) << "ERROR: The returned cig ID is wrong in set CIG command."
                                       << "CIG ID sended is not equal to the response CIG ID." << QStringList{"", ""};
        QTest::newRow("another count") << cigSet(0, 0, 1, {}) << "ERROR: The returned cis count is wrong in set CIG command."
                                       << "CIS Count sended is not equal to the response CIS Count." << QStringList{"", ""};
        QTest::newRow("refused") << cigSet(156, 0, 2, {}) << ""
                                 << "[Complete Result] Uplink Command Name:CIG Parameter Set Result:BLE LL ERR COMMAND DISALLOWED"
                                 << QStringList{"", ""};
        QTest::newRow("taken") << cigSet(0, 0, 2, le16(256) + le16(0x0EFF)) << "" << "" << QStringList{"256", "3839"};
        QTest::newRow("fewer handles") << cigSet(0, 0, 2, le16(256)) << "" << "" << QStringList{"256", ""};
    }
    void setCigAnswer()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, box);
        QFETCH(QString, logged);
        QFETCH(QStringList, handles);
        addThrough("toolButton_AddCIG");
        addThrough("toolButton_AddCIS");
        addThrough("toolButton_AddCIS");
        ModalCatcher boxes;
        m_page->onRcvMsg(answer);
        QCOMPARE(boxes.shown, box.isEmpty() ? QStringList() : QStringList{box});
        if (!logged.isEmpty())
            QVERIFY2(m_bench->log->contains(logged, 4), qPrintable(m_bench->log->texts().join('\n')));
        const bool taken = handles.first() != "";
        QCOMPARE(m_page->cigModel()->index(0, 8).data(Qt::DecorationRole).isNull(), !taken);
        QCOMPARE(child<QToolButton>("toolButton_createCIS")->isEnabled(), taken);
        QCOMPARE(QStringList({cell(m_page->cisModel(), 0, 8), cell(m_page->cisModel(), 1, 8)}), handles);
    }

    // Only ticked streams are offered, each with the connections the dongle is central in.
    void createCis()
    {
        configuredGroup();
        {
            ModalCatcher boxes;
            click("toolButton_createCIS");
            QCOMPARE(boxes.shown, QStringList{"ERROR: Please check having selected Item."});
        }

        m_page->cisModel()->setData(m_page->cisModel()->index(1, 0), Qt::Checked, Qt::CheckStateRole);
        QStringList offered;
        whenModal([&offered](QWidget* dialog) {
            for (const QLabel* label : dialog->findChildren<QLabel*>())
                offered.append(label->text());
            auto* condix = dialog->findChildren<QComboBox*>().first();
            offered.append(QString::number(condix->count()));
            condix->setCurrentIndex(1);
            dialog->findChild<QPushButton*>("pushButtonOK")->click();
        });
        click("toolButton_createCIS");
        QVERIFY(offered.contains("257") && !offered.contains("256"));
        QVERIFY(offered.endsWith("2"));
        expectSent(downlink(0x03, QByteArray(1, '\1') + le16(257) + char(3)));
    }

    // From the dongle's report of the stream to its end, and the group's removal.
    void streamLifecycle()
    {
        configuredGroup();
        m_page->onRcvMsg(cisCreated(257));
        QCOMPARE(m_page->manageCisPages().keys(), QList<quint16>({257, 0xFFF}));
        QVERIFY(!m_page->cisModel()->index(1, 9).data(Qt::DecorationRole).isNull());
        QVERIFY(!m_page->manageCisPages().value(257)->isVisible());

        press("tableView_CIS", 1);
        manageCISWidget* stream = m_page->manageCisPages().value(257);
        QCOMPARE(m_page->shownManageCis(), stream);
        QVERIFY(stream->isVisible() && stream->isEnabled());
        QCOMPARE(child<QLabel>("label_connection")->text(), QString("CIS Connection Handle: 257"));
        QVERIFY(child<QToolButton>("toolButton_disconnect")->isEnabled());
        QVERIFY(!child<QToolButton>("toolButton_editCIS")->isEnabled());
        QCOMPARE(stream->findChild<QLineEdit*>("lineEdit_interval")->text(), QString("10000"));
        QVERIFY(!stream->findChild<QLineEdit*>("lineEdit_interval")->isEnabled());
        QVERIFY(m_page->grab().save(SCREENSHOT_DIR "cig-cis-stream.png"));

        // Data of this stream reaches its page; data of another stream, nobody.
        const QByteArray sdu = QByteArray::fromHex("00000000" "0100" "00" "0200" "aabb");
        m_page->onRcvMsg(iso(0xDD, 0x0F, le16(257) + sdu));
        m_page->onRcvMsg(iso(0xDD, 0x0F, le16(0xFFF) + sdu));
        m_page->onRcvMsg(iso(0xDD, 0x0F, le16(300) + sdu));
        QCOMPARE(stream->receiveModel()->rowCount(), 1);
        QCOMPARE(m_page->manageCisPages().value(0xFFF)->receiveModel()->rowCount(), 0);

        click("toolButton_disconnect");
        expectSent(downlink(0x0D, le16(257)));
        QPointer<manageCISWidget> ended = stream;
        m_page->onRcvMsg(iso(0xDD, 0x0B, le16(257) + char(0x16)));
        QTRY_VERIFY(!ended);
        QVERIFY(m_bench->log->contains("Disconnect CIS succeed.", 2));
        QCOMPARE(child<QLabel>("label_connection")->text(), QString("CIS Connection Handle: "));
        QVERIFY(!m_page->shownManageCis()->isEnabled());

        click("toolButton_removeCIG");
        expectSent(downlink(0x04, QByteArray(1, '\0')));
        ModalCatcher boxes;
        m_page->onRcvMsg(iso(0xDD, 0x04, QByteArray::fromHex("0001")));
        QCOMPARE(boxes.shown.last(), QString("ERROR: The returned cig ID is wrong in remove CIG command."));
        // The removal stands whatever its status.
        m_page->onRcvMsg(iso(0xDD, 0x04, QByteArray::fromHex("9c00")));
        QVERIFY(m_bench->log->contains("Remove CIG succeed.", 2));
        QVERIFY(!m_page->hasCig());
        QCOMPARE(m_page->cisModel()->rowCount(), 0);
    }

    // The stream may end while its page waits in a file dialog: the page goes, and the dialog's
    // return finds nothing to answer.
    void streamEndsUnderAFileDialog()
    {
        configuredGroup();
        m_page->onRcvMsg(cisCreated(257));
        QPointer<manageCISWidget> stream = m_page->manageCisPages().value(257);
        std::unique_ptr<ModalCatcher> boxes;
        whenModal([this, &stream, &boxes](QWidget* picker) {
            m_page->onRcvMsg(iso(0xDD, 0x0B, le16(257) + char(0x13)));
            // The user closes the dialog later, once its own loop has run the deletion; a box
            // that came after it would be caught.
            auto* later = new QTimer(picker);
            connect(later, &QTimer::timeout, picker, [picker, &stream, &boxes] {
                if (stream)
                    return;
                boxes = std::make_unique<ModalCatcher>();
                picker->close();
            });
            later->start(5);
        });
        stream->findChild<QPushButton*>("pushButton_sendFile")->click();
        QVERIFY(!stream && boxes);
        QCOMPARE(boxes->shown, QStringList());
        QVERIFY(m_bench->log->contains("Disconnect CIS succeed.", 2));
    }
};

QTEST_MAIN(TestCCigCisWidget)
#include "tst_ccigciswidget.moc"
