#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTextBrowser>
#include <QTreeWidget>
#include <QtTest>

#include "app/flat/searchbox.h"
#include "frames.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"
#include "gap/devicestablemodel.h"
#include "linkbench.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"
#include "whenmodal.h"

namespace {

QByteArray frame(quint8 opcode, const QByteArray& body)
{
    return uplink(0xDD, 0x01, opcode, body);
}

// A DD@01@02 report of peer C6:5A:10:00:00:<peer>: tx 0x7f, rssi -60, PHYs 1M/1M, sid 0xff,
// sync index 0xff, then the AD bytes behind their own LE16 length word.
QByteArray report(quint8 cls, quint8 advType, const char* adHex, quint16 period = 0,
                  quint8 addrType = 1, quint8 peer = 1)
{
    const QByteArray ad = QByteArray::fromHex(adHex);
    return frame(0x02, char(peer) + QByteArray::fromHex("0000105ac6") + char(addrType) + QByteArray::fromHex("7fc4")
                           + char(advType) + char(cls) + QByteArray::fromHex("0101ff") + le16(period) + '\xff'
                           + le16(ad.size()) + ad);
}

const char* const kTarvine = "080954617276696e65"; // Complete Local Name "Tarvine"
const QString kTarvineHex = "08:09:54:61:72:76:69:6e:65";

// Column 0 and 1 of every item below the given one, indented by depth, so a tree compares as one list.
QStringList dump(QTreeWidgetItem* item, const QString& indent = "")
{
    QStringList out;
    for (int i = 0; i < item->childCount(); ++i)
        out << indent + item->child(i)->text(0) + '|' + item->child(i)->text(1) << dump(item->child(i), indent + ' ');
    return out;
}

} // namespace

// The Master page: scan reports into the device table and the advertising tree, the table's
// model on its own, and the search through the rows.
class TestCConnectionWidget : public QObject
{
    Q_OBJECT

    QString cell(int row, int column) const { return m_page->model()->index(row, column).data().toString(); }
    bool connectedIcon() const { return !m_page->model()->index(0, 8).data(Qt::DecorationRole).value<QIcon>().isNull(); }
    void press(int row)
    {
        auto* table = m_page->findChild<QTableView*>("tableView_devices");
        table->setCurrentIndex(m_page->model()->index(row, 0));
        emit table->pressed(table->currentIndex());
    }

    std::unique_ptr<LinkBench> m_link;
    CaptureLogger* m_log = nullptr;
    FieldValueMap m_config;
    QString m_name = "dongle0";
    std::unique_ptr<CConnectionWidget> m_page;

    // The device table's model on rows of the test, with a plain number column behind the real ones.
    std::unique_ptr<DevicesTableModel> devices(QVector<DeviceRow>& rows)
    {
        UiNameToFields table;
        if (CUtil::findUiFields(CCfgFileParse::instance()->m_uplinkNameToUiVec, "DEVICES_TABLE", table) != 0)
            return nullptr;
        return std::make_unique<DevicesTableModel>(&m_link->logger, rows, table.fields << UiField{"value", "Value", "number"});
    }

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_link = std::make_unique<LinkBench>(false); // never opened: every send fails and is only logged
        m_log = m_link->log;
        m_page = std::make_unique<CConnectionWidget>(&m_link->msg, &m_link->logger, &m_config, &m_name);
    }
    void cleanup()
    {
        m_page.reset();
        m_link.reset();
    }

    // cells: Device, Advertisement Type, Secondary PHY, then the pressed row's raw advertising and scan response.
    void reportToRow_data()
    {
        QTest::addColumn<QByteArrayList>("frames");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QStringList>("cells");
        QTest::addColumn<bool>("error");
        const auto row = [](const char* name, const QByteArrayList& frames, const QStringList& cells, int rows = 1,
                            bool error = false) { QTest::newRow(name) << frames << rows << cells << error; };
        const QString complete = "Report Is Complete | Connectable";
        const QByteArray flags = report(1, 0x03, "020106");
        // A legacy, complete and connectable row without a scan response; an extended one of a nameless peer.
        const auto legacy = [&](const QString& device, const QString& adv) { return QStringList{device, complete, "N/A", adv, ""}; };
        const auto extended = [](const QString& type) { return QStringList{"Peer Device", type, "1M", "02:01:06", ""}; };

        // The first row, of the other address type, is a legacy report without a name.
        row("same address, other type, two rows", {report(1, 0x03, "020106", 0, 0), flags}, legacy("Peer Device", "02:01:06"), 2);
        row("complete name between shortened ones wins", {report(1, 0x03, "050854617276080954617276696e65050854617276")},
            legacy("Tarvine", "05:08:54:61:72:76:" + kTarvineHex + ":05:08:54:61:72:76"));
        row("zero length structures skipped, the first of two shortened names stands",
            {report(1, 0x03, "0002010600050854717276000308414a0000")},
            legacy("Tqrv", "00:02:01:06:00:05:08:54:71:72:76:00:03:08:41:4a:00:00"));
        row("a name renames a peer device row, a report without one keeps it", {flags, report(1, 0x03, kTarvine), flags},
            legacy("Tarvine", "02:01:06"));
        row("overrun structure keeps the earlier name", {report(1, 0x03, "080954617276696e6505ff0102")},
            legacy("Tarvine", kTarvineHex + ":05:ff:01:02"), 1, true);

        const QByteArray rsp = report(3, 0x05, kTarvine);
        row("scan response before any report", {rsp}, {"Tarvine", "Report Is Complete | Scannable", "N/A", "", kTarvineHex});
        row("a later report and scan response keep the report's type", {rsp, flags, report(3, 0x07, "03ff3412")},
            {"Tarvine", complete, "N/A", "02:01:06", "03:ff:34:12"});

        // The period is only looked at as zero or not: 0x0100 and 0x0001 both count.
        const QByteArray periodic02 = report(0, 0x02, "020106", 0x0001);
        row("periodic report makes no row", {report(4, 0x00, "020106", 0x0100)}, {}, 0);
        row("syncable 0x13 carries into 0x23", {report(0, 0x13, "020106", 0x0100)}, extended(complete));
        row("known row adds to the report's type, not its own", {periodic02, periodic02}, extended("Connectable | Syncable"));
        row("no period, type as sent", {report(0, 0x13, "020106")}, extended(complete + " | Syncable"));
    }

    void reportToRow()
    {
        QFETCH(QByteArrayList, frames);
        QFETCH(int, rows);
        QFETCH(bool, error);
        for (const QByteArray& f : frames)
            m_page->onRcvMsg(f);
        QCOMPARE(!m_log->texts().filter("FUNCTION:CConnectionWidget::startScanProc Internal error.").isEmpty(), error);
        QCOMPARE(m_page->model()->rowCount(), rows);
        if (rows == 0)
            return;
        press(0);
        QTEST(QStringList({cell(0, 0), cell(0, 4), cell(0, 6),
                           m_page->findChild<QTextBrowser*>("rawData_advertising")->toPlainText(),
                           m_page->findChild<QTextBrowser*>("rawData_scanRsp")->toPlainText()}), "cells");
    }

    // connected and condix come only from the connect flow; a report must not wipe them.
    void reportKeepsConnectionOfConnectedRow()
    {
        qRegisterMetaType<uint8_t>("uint8_t");
        qRegisterMetaType<CLayerWidget*>();
        QSignalSpy success(m_page.get(), &CConnectionWidget::connectSuccess);
        QSignalSpy gone(m_page.get(), &CConnectionWidget::disConnectRequest);
        m_page->onRcvMsg(report(1, 0x03, kTarvine));
        press(0);
        m_page->on_buttonConnect_clicked();
        // DD@01@06: status 0, connected, condix 5, 24/0/500, accuracy 0, addr type 1, addr, role master
        m_page->onRcvMsg(frame(0x06, QByteArray::fromHex("000105" "1800" "0000" "f401" "00" "01" "010000105ac6" "00")));
        QCOMPARE(success.count(), 1);
        QScopedPointer<CLayerWidget> layer(success.at(0).at(2).value<CLayerWidget*>());
        QCOMPARE(layer->condix(), uint8_t(5));
        QVERIFY(connectedIcon());

        m_page->onRcvMsg(report(1, 0x03, "020106"));
        QVERIFY(connectedIcon());

        m_page->onRcvMsg(frame(0x08, QByteArray::fromHex("001305"))); // disconnect of condix 5
        QCOMPARE(gone.value(0).value(0).value<uint8_t>(), uint8_t(5));
        QVERIFY(!connectedIcon());
    }

    // end: "expanded" when the whole payload was shown, "cut" when it stopped silently, else "complaint".
    void advertisingTree_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QString>("end");

        const QStringList nameA{"Data 0:<<Shortened Local Name>>|", " Lenth of this data|0x02", " <<Shortened Local Name>>|0x08", "  A|0x41"};
        const QString both = "   Simultaneous LE and BR/EDR to Same Device Capable ";
        QTest::newRow("flags 0x06") << QByteArray::fromHex("020106")
            << QStringList{"Data 0:<<Flags>>|", " Lenth of this data|0x02", " <<Flags>>|0x01", "  Flag Data:0x06|0x06",
                           "   LE Limited Discoverable Mode|OFF", "   LE General Discoverable Mode|ON", "   BR/EDR Not Supported|ON",
                           both + "(Controller)|OFF", both + "(Host)|OFF", "   Reserved|OFF", "   Reserved|OFF", "   Reserved|OFF"}
            << "expanded";
        QTest::newRow("name as characters, then other types") << QByteArray::fromHex("0409546172031934120213ab")
            << QStringList{"Data 0:<<Complete Local Name>>|", " Lenth of this data|0x04", " <<Complete Local Name>>|0x09", "  T|0x54",
                           "  a|0x61", "  r|0x72", "Data 1:<<Appearance>>|", " Lenth of this data|0x03", " <<Appearance>>|0x19",
                           "  |0x34", "  |0x12", "Data 2:|", " Lenth of this data|0x02", " |0x13", "  |0xab"} << "expanded";
        QTest::newRow("flags of length 3 end the tree silently") << QByteArray::fromHex("030106000409546172")
            << QStringList{"Data 0:<<Flags>>|", " Lenth of this data|0x03", " <<Flags>>|0x01"} << "cut";
        QTest::newRow("empty payload") << QByteArray() << QStringList() << "cut";
        QTest::newRow("zero length ends the tree") << QByteArray::fromHex("02084100020106") << nameA << "complaint";
        QTest::newRow("overrun ends the tree") << QByteArray::fromHex("0208410409") << nameA << "complaint";
    }

    void advertisingTree()
    {
        QFETCH(QByteArray, data);
        QFETCH(QStringList, items);
        QFETCH(QString, end);
        QTreeWidget tree;
        new QTreeWidgetItem(&tree, {"left over"});
        m_page->showAdvertisingTree(&tree, data);
        if (!items.isEmpty())
            QCOMPARE(tree.topLevelItem(0)->isExpanded(), end == "expanded");
        QCOMPARE(dump(tree.invisibleRootItem()), items);
        const decltype(m_log->lines) complaint{{1, "The format of advertisng data is wrong."}};
        QCOMPARE(m_log->lines, end == "complaint" ? complaint : decltype(complaint)());
    }

    void searchWalksCellsWithoutWrapping()
    {
        // Alpha, Beta, Alpaca, Gamma: no other cell of these rows holds "alp".
        const QByteArrayList ads{"0609416c706861", "050942657461", "0709416c70616361", "060947616d6d61"};
        for (int i = 0; i < ads.size(); ++i)
            m_page->onRcvMsg(report(1, 0x03, ads.at(i).constData(), 0, 1, quint8(i + 1)));

        QTest::mouseClick(m_page->findChild<QToolButton*>("buttonSearch"), Qt::LeftButton);
        SearchBox* box = m_page->findChild<SearchBox*>();
        QVERIFY(box && box->isVisible());
        auto* text = box->findChild<QLineEdit*>("lineEdit");
        DevicesTableModel* model = m_page->model();
        const auto walk = [&](const char* button) {
            QTest::mouseClick(box->findChild<QPushButton*>(button), Qt::LeftButton);
            return model->highlightIndex();
        };
        text->setText("ALP");
        QVERIFY(QTest::qWaitForWindowExposed(box));
        QVERIFY(box->grab().save(SCREENSHOT_DIR "searchbox.png"));
        QCOMPARE(walk("buttonNext"), model->index(0, 0));
        QCOMPARE(walk("buttonNext"), model->index(2, 0));
        QCOMPARE(walk("buttonNext"), model->index(2, 0)); // no wrap: the last hit stays
        QCOMPARE(walk("buttonPrevious"), model->index(0, 0));
        text->setText("alpa"); // a new text forgets the hit
        QVERIFY(!walk("buttonPrevious").isValid());
        QCOMPARE(walk("buttonNext"), model->index(2, 0));
        press(1); // pressing a row clears the hit
        QVERIFY(!model->highlightIndex().isValid());
    }

    void searchScrollsFarDownALongTable()
    {
        const int rows = 50000;
        for (int i = 0; i < rows; ++i) {
            QByteArray found = report(1, 0x03, i == rows - 1 ? "0709" "4e6565646c65" : "0509" "48617973");
            found[6] = char(i & 0xff); // the peer address's two low bytes make each row new
            found[7] = char(i >> 8);
            m_page->onRcvMsg(found);
        }
        m_page->resize(1200, 600);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_page.get()));
        QCOMPARE(m_page->model()->rowCount(), rows);

        QTest::mouseClick(m_page->findChild<QToolButton*>("buttonSearch"), Qt::LeftButton);
        SearchBox* box = m_page->findChild<SearchBox*>();
        box->findChild<QLineEdit*>("lineEdit")->setText("needle");
        QTest::mouseClick(box->findChild<QPushButton*>("buttonNext"), Qt::LeftButton);
        QCOMPARE(m_page->model()->highlightIndex(), m_page->model()->index(rows - 1, 0));
        const QScrollBar* bar = m_page->findChild<QTableView*>("tableView_devices")->verticalScrollBar();
        QVERIFY2(bar->value() > bar->maximum() * 0.99, qPrintable(QString::number(bar->value())));
    }
    // A cell of each kind of column, and what the log says of a value it can't show.
    void deviceCells_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("hex"); // empty: the key is left out of the row
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("icon");
        QTest::addColumn<QString>("log"); // "level:line", or none
        const auto row = [](const char* name, const char* key, const QByteArray& hex, const char* text,
                            const char* log = "", bool icon = false) {
            QTest::newRow(name) << QString(key) << hex << QString(text) << icon << QString(log);
        };
        row("name as text", "device", "5065657220446576696365", "Peer Device");
        row("address last byte first", "addr", "0100a0105ac6", "c6:5a:10:a0:00:01");
        row("address of five bytes", "addr", "0100a0105a", "", "4:Bluetooth Address's format is wrong.");
        row("no address at all", "addr", "", "");
        row("rssi is signed", "rssi", "c4", "-60");
        row("type bits joined", "adv_type", "13", "Report Is Complete | Connectable | Syncable");
        row("type carried past syncable", "adv_type", "23", "Report Is Complete | Connectable");
        row("primary phy", "phy_prim", "03", "Coded");
        row("value without description", "phy_prim", "02", "");
        row("secondary phy of a legacy report", "phy_second", "0c", "N/A");
        row("connecting, no text and no icon", "connected", "01", "");
        row("connected shows the icon", "connected", "02", "", "", true);
        row("connected of two bytes", "connected", "0200", "", "1:DevicesTableModel::data: connected field is wrong.");
        row("number is little-endian", "value", "3412", "4660");
        row("number of nine bytes", "value", "010203040506070809", "", "4:Number format is wrong");
    }
    void deviceCells()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, hex);
        QFETCH(bool, icon);
        QFETCH(QString, log);
        QVector<DeviceRow> rows;
        const auto model = devices(rows);
        QVERIFY(model);
        model->appendRow(hex.isEmpty() ? DeviceRow() : DeviceRow{{key, QByteArray::fromHex(hex)}});
        const auto& cols = model->columns();
        const auto column = std::find_if(cols.cbegin(), cols.cend(), [&](const UiField& f) { return f.key == key; });
        const QModelIndex cell = model->index(0, int(column - cols.cbegin()));
        QTEST(model->data(cell, Qt::DisplayRole).toString(), "text");
        const QVariant decoration = model->data(cell, Qt::DecorationRole);
        QCOMPARE(decoration.isValid(), icon);
        if (icon) {
            // The status icon is a green dot: proves the resource is there and is the one painted.
            const QColor disc = decoration.value<QIcon>().pixmap(16, 16).toImage().pixelColor(8, 4);
            QVERIFY2(disc.green() > 150 && disc.red() < 100, qPrintable(disc.name()));
        }
        QStringList logged;
        for (const auto& line : m_log->lines)
            logged << QString::number(line.first) + ':' + line.second;
        QCOMPARE(logged, log.split('\n', Qt::SkipEmptyParts));
    }

    // A device is found by address and type, its first row kept; a clear forgets rows and the hit.
    void findDeviceRow()
    {
        QVector<DeviceRow> rows;
        const auto model = devices(rows);
        const QByteArray addr = QByteArray::fromHex("0100a0105ac6"), pub("\x00", 1), rnd("\x01", 1);
        const auto device = [&](const QByteArray& t) { return DeviceRow{{"addr", addr}, {"addr_type", t}}; };
        model->appendRow(device(pub));
        model->appendRow(device(rnd));
        model->appendRow(device(pub));
        QCOMPARE(model->findRow(addr, pub), 0);
        QCOMPARE(model->findRow(addr, rnd), 1);
        QCOMPARE(model->findRow(addr.left(5), addr.right(1) + pub), -1); // same bytes, split elsewhere

        model->setHighlightIndex(model->index(1, 1));
        model->clear();
        QVERIFY(!model->highlightIndex().isValid());
        QCOMPARE(model->findRow(addr, rnd), -1);
        model->appendRow(device(rnd));
        QCOMPARE(model->findRow(addr, rnd), 0);
    }

    // Moving the highlight repaints the old and the new cell; an update repaints one whole row.
    void highlightAndUpdatePaintOneRow()
    {
        QVector<DeviceRow> rows;
        const auto model = devices(rows);
        model->appendRow({});
        model->appendRow({});
        QSignalSpy changed(model.get(), &QAbstractItemModel::dataChanged);
        model->setHighlightIndex(model->index(1, 2));
        QVERIFY(model->data(model->index(1, 2), Qt::BackgroundRole).isValid());
        model->setHighlightIndex(model->index(0, 0));
        QCOMPARE(model->data(model->index(1, 2), Qt::BackgroundRole), QVariant());
        QCOMPARE(changed.count(), 3); // new cell, then the old and the new one
        QCOMPARE(changed.at(1).at(0).toModelIndex(), model->index(1, 2));

        changed.clear();
        model->updateItem(1);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).toModelIndex(), model->index(1, 0));
        QCOMPARE(changed.at(0).at(1).toModelIndex(), model->index(1, model->columnCount() - 1));
        model->updateItem(2);
        QCOMPARE(changed.count(), 1);
        QVERIFY(m_log->contains("Update item failed.", 4));
    }
};

QTEST_MAIN(TestCConnectionWidget)
#include "tst_cconnectionwidget.moc"
