#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTextBrowser>
#include <QTreeWidget>
#include <QtTest>

#include "app/flat/searchbox.h"
#include "capturelogger.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "whenmodal.h"

namespace {

QByteArray frame(quint8 opcode, const QByteArray& body)
{
    QByteArray f = QByteArray::fromHex("dd01");
    f += char(opcode);
    f += char(body.size() & 0xff);
    f += char(body.size() >> 8);
    return f + body;
}

// A DD@01@02 report of peer C6:5A:10:00:00:<peer>: tx 0x7f, rssi -60, primary PHY 1M,
// secondary 1M, sid 0xff, sync index 0xff, then the AD bytes behind their own LE16 length word.
QByteArray report(quint8 cls, quint8 advType, const char* adHex, quint16 period = 0,
                  quint8 addrType = 1, quint8 peer = 1)
{
    const QByteArray ad = QByteArray::fromHex(adHex);
    QByteArray body;
    body += char(peer);
    body += QByteArray::fromHex("0000105ac6");
    body += char(addrType);
    body += QByteArray::fromHex("7fc4");
    body += char(advType);
    body += char(cls);
    body += QByteArray::fromHex("0101ff");
    body += char(period & 0xff);
    body += char(period >> 8);
    body += char(0xff);
    body += char(ad.size() & 0xff);
    body += char(ad.size() >> 8);
    return frame(0x02, body + ad);
}

const char* const kTarvine = "080954617276696e65"; // Complete Local Name "Tarvine"
const char* const kTarv = "050854617276";         // Shortened Local Name "Tarv"
const char* const kTarvineHex = "08:09:54:61:72:76:69:6e:65";

// Column 0 and 1 of every item, indented by depth, so a tree compares as one list.
void dump(QTreeWidgetItem* item, int depth, QStringList& out)
{
    out << QString(depth, ' ') + item->text(0) + '|' + item->text(1);
    for (int i = 0; i < item->childCount(); ++i)
        dump(item->child(i), depth + 1, out);
}

} // namespace

class TestCConnectionWidget : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void reportToRow_data();
    void reportToRow();
    void reportKeepsConnectionOfConnectedRow();
    void advertisingTree_data();
    void advertisingTree();
    void searchWalksCellsWithoutWrapping();
    void screenshot();

private:
    QString cell(int row, int column) const { return m_page->model()->data(m_page->model()->index(row, column)).toString(); }
    template <typename T> T* child(const char* name) const { return m_page->findChild<T*>(name); }
    bool internalError() const;
    void press(int row);

    LogManager* m_logger = nullptr;
    CaptureLogger* m_log = nullptr;
    CMsg* m_msg = nullptr;
    FieldValueMap m_config;
    QString m_name = "dongle0";
    CConnectionWidget* m_page = nullptr;
};

void TestCConnectionWidget::init()
{
    m_logger = new LogManager("ConnectionWidgetTest");
    m_log = new CaptureLogger;
    m_logger->addLogger(m_log);
    m_msg = new CMsg(m_logger); // never opened: every send fails and is only logged
    m_page = new CConnectionWidget(m_msg, m_logger, &m_config, &m_name);
    m_log->clear();
}

void TestCConnectionWidget::cleanup()
{
    delete m_page;
    delete m_msg;
    delete m_logger;
}

bool TestCConnectionWidget::internalError() const
{
    for (const auto& line : m_log->lines) {
        if (line.first == 1 && line.second.endsWith("FUNCTION:CConnectionWidget::startScanProc Internal error."))
            return true;
    }
    return false;
}

void TestCConnectionWidget::press(int row)
{
    QTableView* table = child<QTableView>("tableView_devices");
    table->setCurrentIndex(m_page->model()->index(row, 0));
    emit table->pressed(table->currentIndex());
}

void TestCConnectionWidget::reportToRow_data()
{
    QTest::addColumn<QByteArrayList>("frames");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("advType");
    QTest::addColumn<QString>("secondary");
    QTest::addColumn<QString>("adv");
    QTest::addColumn<QString>("rsp");
    QTest::addColumn<bool>("error");

    const QString complete = "Report Is Complete | Connectable";
    QTest::newRow("legacy report without a name") << QByteArrayList{report(1, 0x03, "020106")} << 1
        << "Peer Device" << complete << "N/A" << "02:01:06" << "" << false;
    QTest::newRow("extended report keeps its secondary phy") << QByteArrayList{report(0, 0x03, "020106")} << 1
        << "Peer Device" << complete << "1M" << "02:01:06" << "" << false;
    QTest::newRow("shortened then complete name") << QByteArrayList{report(1, 0x03, "050854617276080954617276696e65")}
        << 1 << "Tarvine" << complete << "N/A" << "05:08:54:61:72:76:" + QString(kTarvineHex) << "" << false;
    QTest::newRow("complete then shortened name") << QByteArrayList{report(1, 0x03, "080954617276696e65050854617276")}
        << 1 << "Tarvine" << complete << "N/A" << QString(kTarvineHex) + ":05:08:54:61:72:76" << "" << false;
    QTest::newRow("two shortened names, the first stands") << QByteArrayList{report(1, 0x03, "0508547172760308414a")}
        << 1 << "Tqrv" << complete << "N/A" << "05:08:54:71:72:76:03:08:41:4a" << "" << false;
    QTest::newRow("empty complete name is no name") << QByteArrayList{report(1, 0x03, "0109")} << 1
        << "Peer Device" << complete << "N/A" << "01:09" << "" << false;
    QTest::newRow("a name renames a peer device row")
        << QByteArrayList{report(1, 0x03, "020106"), report(1, 0x03, kTarvine)} << 1
        << "Tarvine" << complete << "N/A" << QString(kTarvineHex) << "" << false;
    QTest::newRow("a report without a name keeps the name")
        << QByteArrayList{report(1, 0x03, kTarv), report(1, 0x03, "020106")} << 1
        << "Tarv" << complete << "N/A" << "02:01:06" << "" << false;
    QTest::newRow("same address, other type, two rows")
        << QByteArrayList{report(1, 0x03, "020106", 0, 0), report(1, 0x03, "020106", 0, 1)} << 2
        << "Peer Device" << complete << "N/A" << "02:01:06" << "" << false;

    const QByteArray rsp1 = report(3, 0x05, kTarvine);
    const QByteArray adv = report(1, 0x03, "020106");
    const QByteArray rsp2 = report(3, 0x07, "03ff3412");
    QTest::newRow("scan response before any report") << QByteArrayList{rsp1} << 1 << "Tarvine"
        << "Report Is Complete | Scannable" << "N/A" << "" << QString(kTarvineHex) << false;
    QTest::newRow("then the report fills type and data") << QByteArrayList{rsp1, adv} << 1 << "Tarvine"
        << complete << "N/A" << "02:01:06" << QString(kTarvineHex) << false;
    QTest::newRow("a later scan response keeps the type") << QByteArrayList{rsp1, adv, rsp2} << 1 << "Tarvine"
        << complete << "N/A" << "02:01:06" << "03:ff:34:12" << false;

    QTest::newRow("periodic report makes no row") << QByteArrayList{report(4, 0x00, "020106", 0x0100)} << 0
        << "" << "" << "" << "" << "" << false;
    QTest::newRow("syncable 0x13 carries into 0x23") << QByteArrayList{report(0, 0x13, "020106", 0x0100)} << 1
        << "Peer Device" << complete << "1M" << "02:01:06" << "" << false;
    QTest::newRow("syncable 0x12 carries into 0x22") << QByteArrayList{report(0, 0x12, "020106", 0x0001)} << 1
        << "Peer Device" << "Connectable" << "1M" << "02:01:06" << "" << false;
    QTest::newRow("0x02 with a period becomes syncable") << QByteArrayList{report(0, 0x02, "020106", 0x0001)} << 1
        << "Peer Device" << "Connectable | Syncable" << "1M" << "02:01:06" << "" << false;
    QTest::newRow("known row adds to the report's type, not its own")
        << QByteArrayList{report(0, 0x02, "020106", 0x0001), report(0, 0x02, "020106", 0x0001)} << 1
        << "Peer Device" << "Connectable | Syncable" << "1M" << "02:01:06" << "" << false;
    QTest::newRow("no period, type as sent") << QByteArrayList{report(0, 0x13, "020106")} << 1
        << "Peer Device" << complete + " | Syncable" << "1M" << "02:01:06" << "" << false;

    QTest::newRow("overrun structure keeps the earlier name") << QByteArrayList{report(1, 0x03, "080954617276696e6505ff0102")}
        << 1 << "Tarvine" << complete << "N/A" << QString(kTarvineHex) + ":05:ff:01:02" << "" << true;
    QTest::newRow("zero length structure is skipped") << QByteArrayList{report(1, 0x03, "00020106000508547172760000")}
        << 1 << "Tqrv" << complete << "N/A" << "00:02:01:06:00:05:08:54:71:72:76:00:00" << "" << false;
}

void TestCConnectionWidget::reportToRow()
{
    QFETCH(QByteArrayList, frames);
    QFETCH(int, rows);
    for (const QByteArray& f : frames)
        m_page->onRcvMsg(f);
    QFETCH(bool, error);
    QCOMPARE(internalError(), error);
    QCOMPARE(m_page->model()->rowCount(), rows);
    if (rows == 0)
        return;

    QFETCH(QString, device);
    QFETCH(QString, advType);
    QFETCH(QString, secondary);
    QFETCH(QString, adv);
    QFETCH(QString, rsp);
    QCOMPARE(cell(0, 0), device);
    QCOMPARE(cell(0, 1), QString("c6:5a:10:00:00:01"));
    QCOMPARE(cell(0, 3), QString("-60"));
    QCOMPARE(cell(0, 4), advType);
    QCOMPARE(cell(0, 6), secondary);
    press(0);
    QCOMPARE(child<QTextBrowser>("rawData_advertising")->toPlainText(), adv);
    QCOMPARE(child<QTextBrowser>("rawData_scanRsp")->toPlainText(), rsp);
}

// connected and condix come only from the connect flow; a report must not wipe them.
void TestCConnectionWidget::reportKeepsConnectionOfConnectedRow()
{
    qRegisterMetaType<uint8_t>("uint8_t");
    qRegisterMetaType<CLayerWidget*>();
    QSignalSpy success(m_page, &CConnectionWidget::connectSuccess);
    QSignalSpy gone(m_page, &CConnectionWidget::disConnectRequest);
    m_page->onRcvMsg(report(1, 0x03, kTarvine));
    press(0);
    m_page->on_buttonConnect_clicked();
    // DD@01@06: status 0, connected, condix 5, 24/0/500, accuracy 0, addr type 1, addr, role master
    m_page->onRcvMsg(frame(0x06, QByteArray::fromHex("000105" "1800" "0000" "f401" "00" "01" "010000105ac6" "00")));
    QCOMPARE(success.count(), 1);
    QScopedPointer<CLayerWidget> layer(success.at(0).at(2).value<CLayerWidget*>());
    QCOMPARE(layer->condix(), uint8_t(5));
    const QModelIndex connected = m_page->model()->index(0, 8);
    QVERIFY(!m_page->model()->data(connected, Qt::DecorationRole).value<QIcon>().isNull());

    m_page->onRcvMsg(report(1, 0x03, "020106"));
    QVERIFY(!m_page->model()->data(connected, Qt::DecorationRole).value<QIcon>().isNull());
    QCOMPARE(cell(0, 0), QString("Tarvine"));

    m_page->onRcvMsg(frame(0x08, QByteArray::fromHex("001305"))); // disconnect of condix 5
    QCOMPARE(gone.count(), 1);
    QCOMPARE(gone.at(0).at(0).value<uint8_t>(), uint8_t(5));
    QVERIFY(m_page->model()->data(connected, Qt::DecorationRole).value<QIcon>().isNull());
}

void TestCConnectionWidget::advertisingTree_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<bool>("expanded");
    QTest::addColumn<bool>("complaint");

    QTest::newRow("flags 0x06") << QByteArray::fromHex("020106")
        << QStringList{"Data 0:<<Flags>>|", " Lenth of this data|0x02", " <<Flags>>|0x01", "  Flag Data:0x06|0x06",
                       "   LE Limited Discoverable Mode|OFF", "   LE General Discoverable Mode|ON",
                       "   BR/EDR Not Supported|ON",
                       "   Simultaneous LE and BR/EDR to Same Device Capable (Controller)|OFF",
                       "   Simultaneous LE and BR/EDR to Same Device Capable (Host)|OFF",
                       "   Reserved|OFF", "   Reserved|OFF", "   Reserved|OFF"}
        << true << false;
    QTest::newRow("name as characters, then other types") << QByteArray::fromHex("0409546172031934120213ab")
        << QStringList{"Data 0:<<Complete Local Name>>|", " Lenth of this data|0x04", " <<Complete Local Name>>|0x09",
                       "  T|0x54", "  a|0x61", "  r|0x72",
                       "Data 1:<<Appearance>>|", " Lenth of this data|0x03", " <<Appearance>>|0x19", "  |0x34", "  |0x12",
                       "Data 2:|", " Lenth of this data|0x02", " |0x13", "  |0xab"}
        << true << false;
    QTest::newRow("flags of length 3 end the tree silently") << QByteArray::fromHex("030106000409546172")
        << QStringList{"Data 0:<<Flags>>|", " Lenth of this data|0x03", " <<Flags>>|0x01"} << false << false;
    QTest::newRow("empty payload") << QByteArray() << QStringList() << false << false;
    QTest::newRow("zero length ends the tree") << QByteArray::fromHex("02084100020106") << QStringList{
        "Data 0:<<Shortened Local Name>>|", " Lenth of this data|0x02", " <<Shortened Local Name>>|0x08", "  A|0x41"}
        << false << true;
    QTest::newRow("overrun ends the tree") << QByteArray::fromHex("0208410409") << QStringList{
        "Data 0:<<Shortened Local Name>>|", " Lenth of this data|0x02", " <<Shortened Local Name>>|0x08", "  A|0x41"}
        << false << true;
}

void TestCConnectionWidget::advertisingTree()
{
    QFETCH(QByteArray, data);
    QFETCH(QStringList, items);
    QFETCH(bool, expanded);
    QFETCH(bool, complaint);
    QTreeWidget tree;
    new QTreeWidgetItem(&tree, {"left over"});
    m_page->showAdvertisingTree(&tree, data);
    QStringList got;
    for (int i = 0; i < tree.topLevelItemCount(); ++i)
        dump(tree.topLevelItem(i), 0, got);
    QCOMPARE(got, items);
    QCOMPARE(tree.headerItem()->text(0), QString("Description"));
    QCOMPARE(tree.headerItem()->text(1), QString("Value"));
    if (!items.isEmpty())
        QCOMPARE(tree.topLevelItem(0)->isExpanded(), expanded);
    QCOMPARE(m_log->contains("The format of advertisng data is wrong.", 1), complaint);
    QCOMPARE(m_log->lines.size(), complaint ? 1 : 0);
}

void TestCConnectionWidget::searchWalksCellsWithoutWrapping()
{
    // Alpha, Beta, Alpaca, Gamma: no other cell of these rows holds "alp".
    const QByteArrayList ads{"0609416c706861", "050942657461", "0709416c70616361", "060947616d6d61"};
    for (int i = 0; i < ads.size(); ++i)
        m_page->onRcvMsg(report(1, 0x03, ads.at(i).constData(), 0, 1, quint8(i + 1)));
    QCOMPARE(cell(2, 0), QString("Alpaca"));

    QTest::mouseClick(child<QToolButton>("buttonSearch"), Qt::LeftButton);
    SearchBox* box = m_page->findChild<SearchBox*>();
    QVERIFY(box && box->isVisible());
    box->findChild<QLineEdit*>("lineEdit")->setText("ALP");
    QPushButton* next = box->findChild<QPushButton*>("buttonNext");
    QPushButton* previous = box->findChild<QPushButton*>("buttonPrevious");
    DevicesTableModel* model = m_page->model();
    const auto hit = [&] { return qMakePair(model->highlightIndex().row(), model->highlightIndex().column()); };

    QTest::mouseClick(next, Qt::LeftButton);
    QCOMPARE(hit(), qMakePair(0, 0));
    QCOMPARE(model->data(model->highlightIndex(), Qt::BackgroundRole).value<QColor>(), QColor(0, 255, 0));
    QVERIFY(!model->data(model->index(2, 0), Qt::BackgroundRole).isValid());
    QTest::mouseClick(next, Qt::LeftButton);
    QCOMPARE(hit(), qMakePair(2, 0));
    QTest::mouseClick(next, Qt::LeftButton); // no wrap: the last hit stays
    QCOMPARE(hit(), qMakePair(2, 0));
    QTest::mouseClick(previous, Qt::LeftButton);
    QCOMPARE(hit(), qMakePair(0, 0));

    box->findChild<QLineEdit*>("lineEdit")->setText("alpa"); // a new text forgets the hit
    QTest::mouseClick(previous, Qt::LeftButton);
    QVERIFY(!model->highlightIndex().isValid());
    QCOMPARE(box->foundRow(), -1);
    QTest::mouseClick(next, Qt::LeftButton);
    QCOMPARE(hit(), qMakePair(2, 0));
    press(1); // pressing a row clears the hit
    QVERIFY(!model->highlightIndex().isValid());
}

void TestCConnectionWidget::screenshot()
{
    applyFlatStyle();
    const char* ads[] = {"0201060e0948656172742052617465203031", "0201060c094261747465727920546167",
                         "0201060909546865726d6f203303020918", "02010606ff4c00021501", "020106", "02010603ff3412"};
    for (int i = 0; i < 6; ++i)
        m_page->onRcvMsg(report(i == 4 ? 0 : 1, i == 3 ? 0x01 : 0x03, ads[i], i == 5 ? 0x0050 : 0, i % 2, quint8(i + 1)));
    m_page->onRcvMsg(report(3, 0x05, "0aff341201020304050607", 0, 0, 1));
    m_page->resize(1400, 700);
    m_page->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_page));
    press(0);
    QCOMPARE(child<QLabel>("labelAdv")->text(), QString("raw data(18)"));
    QCOMPARE(child<QLabel>("labelScan")->text(), QString("raw data(11)"));
    QVERIFY(QDir().mkpath(SCREENSHOT_DIR));
    QVERIFY(m_page->grab().save(SCREENSHOT_DIR "master-table.png"));
}

QTEST_MAIN(TestCConnectionWidget)
#include "tst_cconnectionwidget.moc"
