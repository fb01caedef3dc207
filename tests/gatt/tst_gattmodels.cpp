#include <QtTest>

#include "capturelogger.h"
#include "frames.h"
#include "gatt/gattattribute.h"
#include "gatt/gatttablemodel.h"
#include "gatt/treemodel.h"
#include "log/logmanager.h"

Q_DECLARE_METATYPE(GattAttribute)

namespace {

// Attribute tables as discovery fills them, written by hand.
void put(QVector<GattAttribute>& table, quint16 handle, const QByteArray& uuid, const QByteArray& value)
{
    if (table.size() <= handle)
        table.resize(handle + 1);
    GattAttribute& slot = table[handle];
    slot.used = 1;
    slot.handle = handle;
    slot.uuid = GattAttributes::paddedUuid(uuid);
    slot.uuidDescription = GattAttributes::uuidDescription(uuid, 4);
    slot.value = value;
}

void service(QVector<GattAttribute>& table, quint16 start, quint16 end, const QByteArray& uuid)
{
    put(table, start, le16(0x2800), le16(start) + le16(end) + uuid);
}

// The declaration and the placeholder slot that discovery writes behind it.
void characteristic(QVector<GattAttribute>& table, quint16 handle, quint8 properties, quint16 valueHandle,
                    const QByteArray& uuid)
{
    put(table, handle, le16(0x2803), char(properties) + le16(valueHandle) + uuid);
    if (table.size() <= handle + 1)
        table.resize(handle + 2);
    table[handle + 1].used = 1;
    table[handle + 1].handle = quint16(handle + 1);
}

// Heart Rate: a notifying measurement with its client configuration, and a readable location.
QVector<GattAttribute> heartRate()
{
    QVector<GattAttribute> table;
    service(table, 1, 6, le16(0x180D));
    characteristic(table, 2, 0x10, 3, le16(0x2A37));
    put(table, 4, le16(0x2902), QByteArray());
    characteristic(table, 5, 0x02, 6, le16(0x2A38));
    return table;
}

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

// The two views of a discovered attribute table: the tree of services, and the flat table.
class TestGattModels : public QObject
{
    Q_OBJECT

    LogManager m_logger{"tst_gattmodels"};
    CaptureLogger* m_log = new CaptureLogger; // owned by m_logger

    // What was logged, as "level text".
    QStringList logged() const
    {
        QStringList out;
        for (const auto& line : m_log->lines)
            out << QString::number(line.first) + ' ' + line.second;
        return out;
    }

private slots:
    void initTestCase() { m_logger.addLogger(m_log); }
    void init() { m_log->clear(); }

    void tree_data()
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
    void tree()
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
        QCOMPARE(this->logged(), logged.isEmpty() ? QStringList() : QStringList{logged});
    }

    // A value that arrives shows at once; a missing handle changes nothing.
    void treeValues()
    {
        QVector<GattAttribute> table = heartRate();
        TreeModel model(&m_logger, &table);
        QCOMPARE(model.build(), 0);
        const QModelIndex declaration = model.index(0, 0, model.index(0, 0));
        QCOMPARE(model.index(0, 4, declaration).data(Qt::ToolTipRole).toString(), QString("Notify"));
        QVERIFY(!model.index(0, 4, model.index(0, 0)).data(Qt::ToolTipRole).isValid());

        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QCOMPARE(model.updateValue(3, QByteArray::fromHex("0048")), 0);
        QCOMPARE(changed.count(), 1);
        const QModelIndex cell = model.index(0, 3, declaration);
        QCOMPARE(cell.data().toString(), QString("00:48"));
        QCOMPARE(model.updateValue(0x99, "x"), -1);
        GattAttribute attribute;
        QCOMPARE(model.getAttribute(cell, attribute), 0);
        QCOMPARE(attribute.properties, quint8(0x10));
        QCOMPARE(model.getAttribute(QModelIndex(), attribute), -1);
    }

    void table_data()
    {
        QTest::addColumn<bool>("withValueRows");
        QTest::addColumn<QStringList>("handles"); // handle and properties of each row
        QTest::newRow("value rows in place of their slots") << true
            << QStringList{"0X0001 ", "0X0002 ", "0X0003 0x10", "0X0004 ", "0X0005 ", "0X0006 0x02"};
        QTest::newRow("empty slots where the values would stand") << false
            << QStringList{"0X0001 ", "0X0002 ", "0X0003 ", "0X0004 ", "0X0005 ", "0X0006 "};
    }
    void table()
    {
        QFETCH(bool, withValueRows);
        QFETCH(QStringList, handles);
        QVector<GattAttribute> table = heartRate();
        GattTableModel model(&m_logger, &table);
        model.build(withValueRows);
        QStringList rows;
        for (int r = 0; r < model.rowCount(); ++r)
            rows << model.index(r, 0).data().toString() + ' ' + model.index(r, 4).data().toString();
        QCOMPARE(rows, handles);
        QCOMPARE(model.index(0, 3).data().toString(), QString("0D:18")); // the service keeps only its UUID
        QVERIFY(!model.index(0, 0, model.index(0, 0)).isValid());
        QVERIFY(m_log->lines.isEmpty());

        // Values arrive into the model's rows, never into the table itself.
        QCOMPARE(model.updateValue(6, QByteArray::fromHex("01")), 0);
        QCOMPARE(model.index(5, 3).data().toString(), QString("01"));
        QCOMPARE(model.updateValue(0x77, "x"), -1);
        QCOMPARE(model.attributes().at(5).value, QByteArray::fromHex("01"));
        QVERIFY(table.at(6).value.isEmpty());
    }

    void brokenDeclarationStopsTheTable()
    {
        QVector<GattAttribute> table = heartRate();
        table[5].value = QByteArray::fromHex("02"); // neither value handle nor UUID
        GattTableModel model(&m_logger, &table);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        model.build(true);
        QCOMPARE(logged(), QStringList{"4 Gatt table model data is wrong."});
        QCOMPARE(resets.count(), 1); // the clear only
        GattAttribute attribute;
        QCOMPARE(model.getAttribute(model.index(model.rowCount(), 0), attribute), -1);
    }
};

QTEST_MAIN(TestGattModels)
#include "tst_gattmodels.moc"
