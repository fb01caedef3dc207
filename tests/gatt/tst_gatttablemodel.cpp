#include <QtTest>

#include "capturelogger.h"
#include "gatt/gatttablemodel.h"
#include "gatttables.h"
#include "log/logmanager.h"

using namespace GattTables;

class TestGattTableModel : public QObject
{
    Q_OBJECT

    LogManager m_logger{"tst_gatttablemodel"};
    CaptureLogger* m_log = new CaptureLogger; // owned by m_logger

private slots:
    void initTestCase() { m_logger.addLogger(m_log); }
    void init() { m_log->clear(); }

    void build_data()
    {
        QTest::addColumn<bool>("withValueRows");
        QTest::addColumn<QStringList>("handles"); // handle and properties of each row
        QTest::newRow("value rows in place of their slots") << true
            << QStringList{"0X0001 ", "0X0002 ", "0X0003 0x10", "0X0004 ", "0X0005 ", "0X0006 0x02"};
        QTest::newRow("empty slots where the values would stand") << false
            << QStringList{"0X0001 ", "0X0002 ", "0X0003 ", "0X0004 ", "0X0005 ", "0X0006 "};
    }
    void build()
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
        QCOMPARE(model.index(0, 0).data(Qt::BackgroundRole).value<QColor>(), QColor(Qt::white));
        QCOMPARE(model.index(1, 0).data(Qt::BackgroundRole).value<QColor>(), QColor("#f7f7f7"));
        QVERIFY(!model.index(0, 0, model.index(0, 0)).isValid());
        QVERIFY(m_log->lines.isEmpty());
    }

    void brokenDeclarationStopsTheBuild()
    {
        QVector<GattAttribute> table = heartRate();
        table[5].value = QByteArray::fromHex("02"); // neither value handle nor UUID
        GattTableModel model(&m_logger, &table);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        model.build(true);
        QCOMPARE(m_log->lines, (decltype(m_log->lines){{4, "Gatt table model data is wrong."}}));
        QCOMPARE(resets.count(), 1); // the clear only
        GattAttribute attribute;
        QCOMPARE(model.getAttribute(model.index(model.rowCount(), 0), attribute), -1);
    }

    void valuesArrive()
    {
        QVector<GattAttribute> table = heartRate();
        GattTableModel model(&m_logger, &table);
        model.build(true);
        QCOMPARE(model.updateValue(6, QByteArray::fromHex("01")), 0);
        QCOMPARE(model.index(5, 3).data().toString(), QString("01"));
        QCOMPARE(model.index(5, 3).data(Qt::ForegroundRole).value<QColor>(), QColor("#189ede"));
        QCOMPARE(model.updateValue(0x77, "x"), -1);
        QCOMPARE(model.attributes().at(5).value, QByteArray::fromHex("01"));
        QVERIFY(table.at(6).value.isEmpty()); // the table itself never holds what was read
    }
};

QTEST_MAIN(TestGattTableModel)
#include "tst_gatttablemodel.moc"
