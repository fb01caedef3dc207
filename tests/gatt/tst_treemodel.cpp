#include <QtTest>

#include "capturelogger.h"
#include "gatt/treemodel.h"
#include "gatttables.h"
#include "log/logmanager.h"

using namespace GattTables;

namespace {

// Every row below `parent`, its five cells joined by '|', indented by depth.
QStringList dump(const QAbstractItemModel& model, const QModelIndex& parent = QModelIndex(), const QString& indent = "")
{
    QStringList rows;
    for (int r = 0; r < model.rowCount(parent); ++r) {
        QStringList cells;
        for (int c = 0; c < model.columnCount(); ++c)
            cells << model.index(r, c, parent).data().toString();
        rows << indent + cells.join('|') << dump(model, model.index(r, 0, parent), indent + ' ');
    }
    return rows;
}

const QByteArray kUuid128 = QByteArray::fromHex("9ecadc240ee5a9e093f3a3b50100406e"); // 6E400001-...

} // namespace

class TestTreeModel : public QObject
{
    Q_OBJECT

    LogManager m_logger{"tst_treemodel"};
    CaptureLogger* m_log = new CaptureLogger; // owned by m_logger

private slots:
    void initTestCase() { m_logger.addLogger(m_log); }
    void init() { m_log->clear(); }

    void build_data()
    {
        QTest::addColumn<QVector<GattAttribute>>("table");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QString>("logged"); // "level text", or empty
        const QStringList heartRateRows{
            "0X0001|0X2800|Primary Service Declaration|0D:18|",
            " 0X0002|0X2803|Characteristic Declaration|10:03:00:37:2A|",
            "  0X0003|0X2A37|Heart Rate Measurement||0x10",
            "  0X0004|0X2902|Client Characteristic Configuration||",
            " 0X0005|0X2803|Characteristic Declaration|02:06:00:38:2A|",
            "  0X0006|0X2A38|Body Sensor Location||0x02"};
        QTest::newRow("empty table") << QVector<GattAttribute>() << QStringList() << QString();
        QTest::newRow("characteristics with their value rows and a descriptor") << heartRate() << heartRateRows << QString();

        QVector<GattAttribute> open = heartRate();
        open[1].value = le16(1) + le16(0xFFFF) + le16(0x180D);
        QTest::newRow("end handle FFFF closes at the last slot") << open << heartRateRows << QString();

        QVector<GattAttribute> tooFar = heartRate();
        tooFar[1].value = le16(1) + le16(9) + le16(0x180D);
        QTest::newRow("end handle past the last used slot") << tooFar << heartRateRows
                                                            << "3 The service end handle is not correct";

        QVector<GattAttribute> custom;
        service(custom, 1, 3, kUuid128);
        characteristic(custom, 2, 0x0A, 3, kUuid128);
        QTest::newRow("128-bit UUIDs have no description")
            << custom
            << QStringList{"0X0001|0X2800|Primary Service Declaration|9E:CA:DC:24:0E:E5:A9:E0:93:F3:A3:B5:01:00:40:6E|",
                           " 0X0002|0X2803|Characteristic Declaration|0A:03:00:9E:CA:DC:24:0E:E5:A9:E0:93:F3:A3:B5:01:00:40:6E|",
                           "  0X0003|0X6E400001B5A3F393E0A9E50E24DCCA9E|||0x0a"}
            << QString();

        QVector<GattAttribute> include;
        service(include, 1, 4, le16(0x1809));
        put(include, 2, le16(0x2802), le16(8) + le16(9) + le16(0x180F));
        characteristic(include, 3, 0x20, 4, le16(0x2A1C));
        QTest::newRow("an include beside a characteristic")
            << include
            << QStringList{"0X0001|0X2800|Primary Service Declaration|09:18|",
                           " 0X0002|0X2802|Include Declaration|08:00:09:00:0F:18|",
                           " 0X0003|0X2803|Characteristic Declaration|20:04:00:1C:2A|",
                           "  0X0004|0X2A1C|Temperature Measurement||0x20"}
            << QString();
        service(include, 8, 9, le16(0x180F));
        put(include, 9, le16(0x2A19), QByteArray());
        QTest::newRow("a service that opens with no declaration") << include << QStringList()
                                                                  << "4 GATT tree model data is wrong.";

        QVector<GattAttribute> gap = heartRate();
        gap[2].value = char(0x10) + le16(4) + le16(0x2A37); // the value is not the next handle
        QTest::newRow("value handle not the next handle") << gap << QStringList() << "4 GATT tree model data is wrong.";

        QVector<GattAttribute> bare;
        service(bare, 1, 1, le16(0x180F));
        put(bare, 2, le16(0x2801), le16(2) + le16(2) + le16(0x1800)); // secondary: not shown
        QTest::newRow("a service with nothing in it") << bare << QStringList{"0X0001|0X2800|Primary Service Declaration|0F:18|"}
                                                      << QString();
    }
    void build()
    {
        QFETCH(QVector<GattAttribute>, table);
        QFETCH(QStringList, rows);
        QFETCH(QString, logged);
        TreeModel model(&m_logger, &table);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        const int result = model.build();
        QCOMPARE(result, logged.startsWith('4') ? -1 : 0);
        if (result == 0)
            QCOMPARE(dump(model), rows);
        QCOMPARE(resets.count(), result == 0 ? 2 : 1); // the clear, and the end of a good build
        const QStringList lines = [&] {
            QStringList out;
            for (const auto& line : m_log->lines)
                out << QString::number(line.first) + ' ' + line.second;
            return out;
        }();
        QCOMPARE(lines, logged.isEmpty() ? QStringList() : QStringList{logged});
    }

    void cells()
    {
        QVector<GattAttribute> table = heartRate();
        TreeModel model(&m_logger, &table);
        QCOMPARE(model.build(), 0);
        const QModelIndex service = model.index(0, 0);
        const QModelIndex declaration = model.index(0, 0, service);
        const QModelIndex value = model.index(0, 4, declaration);
        QCOMPARE(value.data(Qt::ToolTipRole).toString(), QString("Notify"));
        QCOMPARE(service.data(Qt::BackgroundRole).value<QColor>(), QColor("#e4e4e4"));
        QCOMPARE(declaration.data(Qt::BackgroundRole).value<QColor>(), QColor("#f7f7f7"));
        QVERIFY(!value.data(Qt::BackgroundRole).isValid());
        QVERIFY(!model.index(0, 4, service).data(Qt::ToolTipRole).isValid());
        QCOMPARE(model.headerData(3, Qt::Horizontal).toString(), QString("Value"));
        QVERIFY(!model.headerData(3, Qt::Vertical).isValid());

        // A value that arrives shows at once, in the arrival colour; a missing handle changes nothing.
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QCOMPARE(model.updateValue(3, QByteArray::fromHex("0048")), 0);
        QCOMPARE(changed.count(), 1);
        const QModelIndex cell = model.index(0, 3, declaration);
        QCOMPARE(cell.data().toString(), QString("00:48"));
        QCOMPARE(cell.data(Qt::ForegroundRole).value<QColor>(), QColor("#189ede"));
        QCOMPARE(model.updateValue(0x99, "x"), -1);
        GattAttribute attribute;
        QCOMPARE(model.getAttribute(cell, attribute), 0);
        QCOMPARE(attribute.properties, quint8(0x10));
        QCOMPARE(model.getAttribute(QModelIndex(), attribute), -1);
    }
};

QTEST_MAIN(TestTreeModel)
#include "tst_treemodel.moc"
