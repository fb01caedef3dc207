#include <QIcon>
#include <QSignalSpy>
#include <QtTest>

#include "capturelogger.h"
#include "gap/devicestablemodel.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

class TestDevicesTableModel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void cellText_data();
    void cellText();
    void connectedIcon_data();
    void connectedIcon();
    void otherColumnTypes_data();
    void otherColumnTypes();
    void findRowKeepsTheFirstAndForgetsOnClear();
    void highlightPaintsOneCell();
    void updateItem();
    void headers();

private:
    int column(const QString& key) const;
    DeviceRow rowWith(const QString& key, const QByteArray& hex) const;

    LogManager* m_logger = nullptr;
    CaptureLogger* m_log = nullptr;
    QVector<DeviceRow> m_rows;
    DevicesTableModel* m_model = nullptr;
};

void TestDevicesTableModel::init()
{
    m_logger = new LogManager("DevicesTableTest");
    m_log = new CaptureLogger;
    m_logger->addLogger(m_log);
    m_rows.clear();
    UiNameToFields table;
    QCOMPARE(CUtil::findUiFields(CCfgFileParse::instance()->m_uplinkNameToUiVec, "DEVICES_TABLE", table), 0);
    m_model = new DevicesTableModel(m_logger, m_rows, table.fields);
}

void TestDevicesTableModel::cleanup()
{
    delete m_model;
    delete m_logger;
}

int TestDevicesTableModel::column(const QString& key) const
{
    for (int i = 0; i < m_model->columns().size(); ++i) {
        if (m_model->columns().at(i).key == key)
            return i;
    }
    return -1;
}

// An empty hex leaves the key out of the row.
DeviceRow TestDevicesTableModel::rowWith(const QString& key, const QByteArray& hex) const
{
    DeviceRow row;
    if (!hex.isEmpty())
        row.insert(key, QByteArray::fromHex(hex));
    return row;
}

void TestDevicesTableModel::cellText_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("log"); // a level 4 line, or none

    const QString badAddr = "Bluetooth Address's format is wrong.";
    QTest::newRow("name as text") << "device" << QByteArray("5065657220446576696365") << "Peer Device" << "";
    QTest::newRow("address last byte first") << "addr" << QByteArray("0100a0105ac6") << "c6:5a:10:a0:00:01" << "";
    QTest::newRow("address of five bytes") << "addr" << QByteArray("0100a0105a") << "" << badAddr;
    QTest::newRow("address of seven bytes") << "addr" << QByteArray("0100a0105ac600") << "" << badAddr;
    QTest::newRow("no address at all") << "addr" << QByteArray() << "" << "";
    QTest::newRow("address type") << "addr_type" << QByteArray("01") << "Random" << "";
    QTest::newRow("rssi is signed") << "rssi" << QByteArray("c4") << "-60" << "";
    QTest::newRow("rssi positive") << "rssi" << QByteArray("05") << "5" << "";
    QTest::newRow("type bits joined") << "adv_type" << QByteArray("13")
                                      << "Report Is Complete | Connectable | Syncable" << "";
    QTest::newRow("type carried past syncable") << "adv_type" << QByteArray("23") << "Report Is Complete | Connectable" << "";
    QTest::newRow("primary phy") << "phy_prim" << QByteArray("03") << "Coded" << "";
    QTest::newRow("value without description") << "phy_prim" << QByteArray("02") << "" << "";
    QTest::newRow("secondary phy of a legacy report") << "phy_second" << QByteArray("0c") << "N/A" << "";
    QTest::newRow("classification") << "adv_classification" << QByteArray("02") << "Extended" << "";
    QTest::newRow("connected has no text") << "connected" << QByteArray("01") << "" << "";
}

void TestDevicesTableModel::cellText()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, hex);
    QFETCH(QString, text);
    QFETCH(QString, log);
    m_model->appendRow(rowWith(key, hex));
    const QModelIndex cell = m_model->index(0, column(key));
    QCOMPARE(m_model->data(cell, Qt::DisplayRole).toString(), text);
    QCOMPARE(m_model->data(cell, Qt::ToolTipRole).toString(), text);
    QCOMPARE(m_model->data(cell, Qt::TextAlignmentRole).toInt(), int(Qt::AlignLeft | Qt::AlignVCenter));
    QCOMPARE(m_log->lines.isEmpty(), log.isEmpty());
    if (!log.isEmpty())
        QVERIFY(m_log->contains(log, 4));
}

void TestDevicesTableModel::connectedIcon_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<bool>("icon");
    QTest::addColumn<bool>("logged");

    QTest::newRow("idle") << QByteArray("00") << false << false;
    QTest::newRow("connecting") << QByteArray("01") << false << false;
    QTest::newRow("connected") << QByteArray("02") << true << false;
    QTest::newRow("two bytes") << QByteArray("0200") << false << true;
}

void TestDevicesTableModel::connectedIcon()
{
    QFETCH(QByteArray, hex);
    QFETCH(bool, icon);
    QFETCH(bool, logged);
    m_model->appendRow(rowWith("connected", hex));
    const QVariant decoration = m_model->data(m_model->index(0, column("connected")), Qt::DecorationRole);
    QCOMPARE(decoration.isValid(), icon);
    if (icon) {
        // The status icon is a green dot: proves the resource is there and is the one painted.
        const QColor disc = decoration.value<QIcon>().pixmap(16, 16).toImage().pixelColor(8, 4);
        QVERIFY2(disc.green() > 150 && disc.red() < 100, qPrintable(disc.name()));
    }
    QCOMPARE(m_log->contains("DevicesTableModel::data: connected field is wrong.", 1), logged);
    QCOMPARE(m_model->data(m_model->index(0, column("device")), Qt::DecorationRole), QVariant());
}

void TestDevicesTableModel::otherColumnTypes_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("logged");

    QTest::newRow("number is little-endian") << "number" << QByteArray("3412") << "4660" << false;
    QTest::newRow("number of nine bytes") << "number" << QByteArray("010203040506070809") << "" << true;
    QTest::newRow("bool false") << "bool" << QByteArray("00") << "false" << false;
    QTest::newRow("bool true") << "bool" << QByteArray("01") << "true" << false;
}

void TestDevicesTableModel::otherColumnTypes()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, hex);
    QFETCH(QString, text);
    QFETCH(bool, logged);
    UiField field;
    field.key = "value";
    field.type = type;
    QVector<DeviceRow> rows{rowWith("value", hex)};
    DevicesTableModel model(m_logger, rows, {field});
    QCOMPARE(model.data(model.index(0, 0), Qt::DisplayRole).toString(), text);
    QCOMPARE(m_log->contains("Number format is wrong", 4), logged);
}

void TestDevicesTableModel::findRowKeepsTheFirstAndForgetsOnClear()
{
    const QByteArray addr = QByteArray::fromHex("0100a0105ac6");
    const QByteArray pub("\x00", 1), rnd("\x01", 1);
    const auto device = [](const QByteArray& a, const QByteArray& t) {
        return DeviceRow{{"addr", a}, {"addr_type", t}};
    };
    m_model->appendRow(device(addr, pub));
    m_model->appendRow(device(addr, rnd));
    m_model->appendRow(device(addr, pub));
    QCOMPARE(m_rows.size(), 3);
    QCOMPARE(m_model->findRow(addr, pub), 0);
    QCOMPARE(m_model->findRow(addr, rnd), 1);
    QCOMPARE(m_model->findRow(addr.left(5), pub), -1);
    QCOMPARE(m_model->findRow(addr.left(5), addr.right(1) + pub), -1); // same bytes, split elsewhere

    m_model->setHighlightIndex(m_model->index(1, 1));
    QSignalSpy reset(m_model, &QAbstractItemModel::modelReset);
    m_model->clear();
    QCOMPARE(reset.count(), 1);
    QVERIFY(m_rows.isEmpty());
    QVERIFY(!m_model->highlightIndex().isValid());
    QCOMPARE(m_model->findRow(addr, rnd), -1);

    m_model->appendRow(device(addr, rnd));
    QCOMPARE(m_model->findRow(addr, rnd), 0);
    QCOMPARE(m_model->findRow(addr, pub), -1);
}

void TestDevicesTableModel::highlightPaintsOneCell()
{
    m_model->appendRow(rowWith("device", "41"));
    m_model->appendRow(rowWith("device", "42"));
    QSignalSpy changed(m_model, &QAbstractItemModel::dataChanged);

    m_model->setHighlightIndex(m_model->index(1, 2));
    QCOMPARE(m_model->data(m_model->index(1, 2), Qt::BackgroundRole).value<QColor>(), QColor(0, 255, 0));
    QCOMPARE(m_model->data(m_model->index(1, 1), Qt::BackgroundRole), QVariant());
    QCOMPARE(m_model->data(m_model->index(0, 2), Qt::BackgroundRole), QVariant());

    m_model->setHighlightIndex(m_model->index(0, 0));
    QCOMPARE(m_model->data(m_model->index(1, 2), Qt::BackgroundRole), QVariant());
    QCOMPARE(changed.count(), 3); // new cell, then the old and the new one
    QCOMPARE(changed.at(1).at(0).toModelIndex(), m_model->index(1, 2));
    QCOMPARE(changed.at(2).at(0).toModelIndex(), m_model->index(0, 0));
}

void TestDevicesTableModel::updateItem()
{
    m_model->appendRow(rowWith("device", "41"));
    QSignalSpy changed(m_model, &QAbstractItemModel::dataChanged);
    m_model->updateItem(0);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toModelIndex(), m_model->index(0, 0));
    QCOMPARE(changed.at(0).at(1).toModelIndex(), m_model->index(0, m_model->columnCount() - 1));

    m_model->updateItem(1);
    QCOMPARE(changed.count(), 1);
    QVERIFY(m_log->contains("Update item failed.", 4));
}

void TestDevicesTableModel::headers()
{
    QStringList titles;
    for (int i = 0; i < m_model->columnCount(); ++i)
        titles << m_model->headerData(i, Qt::Horizontal).toString();
    QCOMPARE(titles, QStringList({"Device", "Bluetooth Address", "Address Type", "RSSI(dBm)",
                                  "Advertisement Type", "Primary PHY Type", "Secondary PHY Type",
                                  "Adv Classification", "Connected"}));
    QCOMPARE(m_model->headerData(0, Qt::Vertical).toInt(), 1);
    QCOMPARE(m_model->headerData(4, Qt::Vertical).toInt(), 5);
}

QTEST_MAIN(TestDevicesTableModel)
#include "tst_devicestablemodel.moc"
