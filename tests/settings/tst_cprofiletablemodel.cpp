#include <QtTest>

#include "settings/cprofiletablemodel.h"

class TestCProfileTableModel : public QObject
{
    Q_OBJECT

private slots:
    void recordsRoundTrip_data();
    void recordsRoundTrip();
    void tickingChangesTheFlag();
};

void TestCProfileTableModel::recordsRoundTrip_data()
{
    QTest::addColumn<QByteArray>("records");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QByteArray>("back");

    const QByteArray two = QByteArray::fromHex("010403414243" "00020741");
    QTest::newRow("ticked ABC with id 3, then unticked A") << two << 2 << two;
    QTest::newRow("empty") << QByteArray() << 0 << QByteArray();
    QTest::newRow("record cut short is dropped")
        << QByteArray::fromHex("010403414243" "000907") << 1 << QByteArray::fromHex("010403414243");
    QTest::newRow("zero length byte stops the walk") << QByteArray::fromHex("000003") << 0 << QByteArray();
}

void TestCProfileTableModel::recordsRoundTrip()
{
    QFETCH(QByteArray, records);
    QFETCH(int, rows);
    QFETCH(QByteArray, back);

    CProfileTableModel model;
    model.setValue(records);
    QCOMPARE(model.rowCount(), rows);
    QCOMPARE(model.value(), back);
}

void TestCProfileTableModel::tickingChangesTheFlag()
{
    CProfileTableModel model;
    model.setValue(QByteArray::fromHex("00020741"));
    QCOMPARE(model.data(model.index(0, 1)).toInt(), 7);
    QCOMPARE(model.data(model.index(0, 2)).toString(), QStringLiteral("A"));
    QVERIFY(model.flags(model.index(0, 0)) & Qt::ItemIsUserCheckable);
    QVERIFY(model.setData(model.index(0, 0), Qt::Checked, Qt::CheckStateRole));
    QCOMPARE(model.value(), QByteArray::fromHex("01020741"));
}

QTEST_GUILESS_MAIN(TestCProfileTableModel)
#include "tst_cprofiletablemodel.moc"
