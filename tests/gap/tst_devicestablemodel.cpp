#include <QIcon>
#include <QtTest>

#include "capturelogger.h"
#include "gap/devicestablemodel.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

class TestDevicesTableModel : public QObject
{
    Q_OBJECT

    LogManager* m_logger = nullptr;
    CaptureLogger* m_log = nullptr;
    QVector<DeviceRow> m_rows;
    DevicesTableModel* m_model = nullptr;

private slots:
    void init()
    {
        m_logger = new LogManager("DevicesTableTest");
        m_log = new CaptureLogger;
        m_logger->addLogger(m_log);
        m_rows.clear();
        UiNameToFields table;
        QCOMPARE(CUtil::findUiFields(CCfgFileParse::instance()->m_uplinkNameToUiVec, "DEVICES_TABLE", table), 0);
        // The real table has no plain number column: one is added behind it.
        m_model = new DevicesTableModel(m_logger, m_rows, table.fields << UiField{"value", "Value", "number"});
    }

    void cleanup()
    {
        delete m_model;
        delete m_logger;
    }

    void cellText_data()
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

    void cellText()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, hex);
        QFETCH(bool, icon);
        QFETCH(QString, log);
        m_model->appendRow(hex.isEmpty() ? DeviceRow() : DeviceRow{{key, QByteArray::fromHex(hex)}});
        const auto& cols = m_model->columns();
        const auto column = std::find_if(cols.cbegin(), cols.cend(), [&](const UiField& f) { return f.key == key; });
        const QModelIndex cell = m_model->index(0, int(column - cols.cbegin()));
        QTEST(m_model->data(cell, Qt::DisplayRole).toString(), "text");
        const QVariant decoration = m_model->data(cell, Qt::DecorationRole);
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

    void findRowKeepsTheFirstAndForgetsOnClear()
    {
        const QByteArray addr = QByteArray::fromHex("0100a0105ac6"), pub("\x00", 1), rnd("\x01", 1);
        const auto device = [&](const QByteArray& t) { return DeviceRow{{"addr", addr}, {"addr_type", t}}; };
        m_model->appendRow(device(pub));
        m_model->appendRow(device(rnd));
        m_model->appendRow(device(pub));
        QCOMPARE(m_model->findRow(addr, pub), 0);
        QCOMPARE(m_model->findRow(addr, rnd), 1);
        QCOMPARE(m_model->findRow(addr.left(5), addr.right(1) + pub), -1); // same bytes, split elsewhere

        m_model->setHighlightIndex(m_model->index(1, 1));
        m_model->clear();
        QVERIFY(!m_model->highlightIndex().isValid());
        QCOMPARE(m_model->findRow(addr, rnd), -1);
        m_model->appendRow(device(rnd));
        QCOMPARE(m_model->findRow(addr, rnd), 0);
    }

    void highlightAndUpdatePaintOneRow()
    {
        m_model->appendRow({});
        m_model->appendRow({});
        QSignalSpy changed(m_model, &QAbstractItemModel::dataChanged);
        m_model->setHighlightIndex(m_model->index(1, 2));
        QCOMPARE(m_model->data(m_model->index(1, 2), Qt::BackgroundRole).value<QColor>(), QColor(0, 255, 0));
        m_model->setHighlightIndex(m_model->index(0, 0));
        QCOMPARE(m_model->data(m_model->index(1, 2), Qt::BackgroundRole), QVariant());
        QCOMPARE(changed.count(), 3); // new cell, then the old and the new one
        QCOMPARE(changed.at(1).at(0).toModelIndex(), m_model->index(1, 2));

        changed.clear();
        m_model->updateItem(1);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).toModelIndex(), m_model->index(1, 0));
        QCOMPARE(changed.at(0).at(1).toModelIndex(), m_model->index(1, m_model->columnCount() - 1));
        m_model->updateItem(2);
        QCOMPARE(changed.count(), 1);
        QVERIFY(m_log->contains("Update item failed.", 4));
    }
};

QTEST_MAIN(TestDevicesTableModel)
#include "tst_devicestablemodel.moc"
