#include <QtTest>

#include "virtualair.h"

// World files of the simulator: what a JSON file turns into.
class tst_VirtualAir : public QObject
{
    Q_OBJECT

private slots:
    void defaultWorldIsFixed();
    void refusedWorlds_data();
    void refusedWorlds();
    void repeatMakesNumberedCopies();
    void shippedWorldsLoad_data();
    void shippedWorldsLoad();
};

void tst_VirtualAir::defaultWorldIsFixed()
{
    VirtualAir air;
    const auto& all = air.advertisers();
    QCOMPARE(all.size(), 6);
    QCOMPARE(all.at(0).name, QStringLiteral("Tarvine HR"));
    QCOMPARE(all.at(0).address, QByteArray::fromHex("010000105AC6"));
    QCOMPARE(all.at(0).scanResponse, QByteArray::fromHex("0B095461727669 6E65204852 020A00"));
    QCOMPARE(all.at(3).name, QStringLiteral("Tarvine Beacon"));
    QVERIFY(!all.at(3).connectable);
    QCOMPARE(all.at(3).advData.left(7), QByteArray::fromHex("0201041AFFFFFF"));
    QCOMPARE(all.at(4).kind, VirtualAdvertiser::Extended);
    QVERIFY(all.at(4).advData.size() > 255);
    QCOMPARE(all.at(5).periodicIntervalMs, 100);
}

void tst_VirtualAir::refusedWorlds_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    QTest::newRow("not JSON") << QByteArray("{devices") << QString();
    QTest::newRow("address of five bytes") << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:01"}]})")
                                           << QStringLiteral("device 0: \"address\" must be six bytes like C6:5A:12:34:56:01");
    QTest::newRow("advData not hex") << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:00:01", "advData": "0G"}]})")
                                     << QStringLiteral("device 0: \"advData\" is not hex");
    QTest::newRow("odd number of digits")
        << QByteArray(R"({"devices": [{"address": "C6:5A:10:00:00:01", "scanResponse": "020"}]})")
        << QStringLiteral("device 0: \"scanResponse\" is not hex");
}

void tst_VirtualAir::refusedWorlds()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, error);
    VirtualAir air;
    QString reported;
    QVERIFY(!air.loadWorldJson(json, &reported));
    if (!error.isEmpty())
        QCOMPARE(reported, error);
    QCOMPARE(air.advertisers().size(), 6); // the world stays as it was
}

void tst_VirtualAir::repeatMakesNumberedCopies()
{
    VirtualAir air;
    QVERIFY(air.loadWorldJson(R"({"devices": [{"name": "Tag %n", "address": "C6:5A:21:00:00:FF",
        "connectable": false, "repeat": 3}]})", nullptr));
    const auto& all = air.advertisers();
    QCOMPARE(all.size(), 3);
    QCOMPARE(all.at(2).name, QStringLiteral("Tag 2"));
    // FF + 2 carries into the next byte.
    QCOMPARE(all.at(2).address, QByteArray::fromHex("010100215AC6"));
    QCOMPARE(all.at(1).advData, QByteArray::fromHex("020104 060954616720 31"));
}

void tst_VirtualAir::shippedWorldsLoad_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("devices");
    QTest::newRow("example.json") << "example.json" << 8;
    QTest::newRow("crowd-1000.json") << "crowd-1000.json" << 1000;
}

void tst_VirtualAir::shippedWorldsLoad()
{
    QFETCH(QString, file);
    QFETCH(int, devices);
    VirtualAir air;
    QString error;
    QVERIFY2(air.loadWorld(QStringLiteral(SRCDIR "../../sim/worlds/") + file, &error), qPrintable(error));
    QCOMPARE(air.advertisers().size(), devices);
}

QTEST_GUILESS_MAIN(tst_VirtualAir)
#include "tst_virtualair.moc"
