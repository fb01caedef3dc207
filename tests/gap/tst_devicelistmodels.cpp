#include <QtTest>

#include "capturelogger.h"
#include "gap/devicelistmodel.h"
#include "gap/deviceperiodiclistmodel.h"
#include "gap/devicerpalistmodel.h"
#include "log/logmanager.h"

// The three list models of the Device List panel: what they show of an entry, what they refuse,
// and how they take a list content uplink.
class TestDeviceListModels : public QObject
{
    Q_OBJECT

    LogManager m_log{"tst_devicelistmodels"};
    CaptureLogger* m_capture = new CaptureLogger; // owned by m_log

    // A model of each kind: 0 white or bond list, 1 periodic, 2 resolving.
    std::unique_ptr<DeviceEntryModel> model(int kind)
    {
        if (kind == 1)
            return std::make_unique<DevicePeriodicListModel>(&m_log);
        if (kind == 2)
            return std::make_unique<DeviceRpaListModel>(&m_log);
        return std::make_unique<DeviceListModel>(&m_log);
    }

private slots:
    void initTestCase()
    {
        m_log.removeLogger("mainConsole");
        m_log.removeLogger("file_logger");
        m_log.addLogger(m_capture);
    }
    void cleanupTestCase() { QDir(m_log.logFolder()).removeRecursively(); }
    void init() { m_capture->clear(); }

    void display_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("row");
        QTest::newRow("white list, public")
            << 0 << QByteArray::fromHex("210000105ac600") << QStringList{"c6:5a:10:00:00:21", "Public"};
        QTest::newRow("white list, random")
            << 0 << QByteArray::fromHex("ffeeddccbbaa01") << QStringList{"aa:bb:cc:dd:ee:ff", "Random"};
        QTest::newRow("periodic list: lower-case type, SID in decimal")
            << 1 << QByteArray::fromHex("090000105ac6010c") << QStringList{"c6:5a:10:00:00:09", "random", "12"};
        QTest::newRow("resolving list: privacy mode, keys most significant byte first")
            << 2
            << QByteArray::fromHex("090000105ac60001" "9b7d390aa610103405adc857a33402ec" "00112233445566778899aabbccddee00")
            << QStringList{"c6:5a:10:00:00:09", "public", "device", "ec0234a357c8ad05341010a60a397d9b",
                           "00eeddccbbaa99887766554433221100"};
    }
    void display()
    {
        QFETCH(int, kind);
        QFETCH(QByteArray, content);
        QFETCH(QStringList, row);
        auto list = model(kind);
        QVERIFY(list->setContent(content));
        QCOMPARE(list->rowCount(), 1);
        QStringList shown;
        for (int column = 0; column < list->columnCount(); ++column)
            shown.append(list->index(0, column).data().toString());
        QCOMPARE(shown, row);
        QCOMPARE(list->headerData(0, Qt::Vertical).toInt(), 1);
        QVERIFY(m_capture->texts().isEmpty());
    }

    // A content that is not whole entries leaves the list as it was; none at all empties it.
    void content_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("bytes");
        QTest::addColumn<bool>("taken");
        QTest::addColumn<int>("rows");
        QTest::newRow("white list of 0 bytes") << 0 << 0 << true << 0;
        QTest::newRow("white list of two entries") << 0 << 14 << true << 2;
        QTest::newRow("white list of 8 bytes") << 0 << 8 << false << 1;
        QTest::newRow("periodic list of 7 bytes") << 1 << 7 << false << 1;
        QTest::newRow("resolving list of 80 bytes") << 2 << 80 << true << 2;
        QTest::newRow("resolving list of 41 bytes") << 2 << 41 << false << 1;
    }
    void content()
    {
        QFETCH(int, kind);
        QFETCH(int, bytes);
        auto list = model(kind);
        QVERIFY(list->setContent(QByteArray(list->entrySize(), '\1')));
        QTEST(list->setContent(QByteArray(bytes, '\2')), "taken");
        QTEST(list->rowCount(), "rows");
    }

    // An entry with a field of the wrong length is refused; one equal to a kept entry is removed.
    void addAndRemove_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<int>("added");
        QTest::newRow("whole") << QByteArray(6, '\1') << QByteArray(1, '\0') << 0;
        QTest::newRow("address of 5 bytes") << QByteArray(5, '\1') << QByteArray(1, '\0') << -1;
        QTest::newRow("type of 2 bytes") << QByteArray(6, '\1') << QByteArray(2, '\0') << -1;
        QTest::newRow("no type") << QByteArray(6, '\1') << QByteArray() << -1;
    }
    void addAndRemove()
    {
        QFETCH(QByteArray, address);
        QFETCH(QByteArray, type);
        QFETCH(int, added);
        DeviceListModel list(&m_log);
        const UplinkFieldMap entry = {{"addr", address}, {"addr_type", type}};
        QCOMPARE(list.addItem(entry), added);
        QCOMPARE(list.rowCount(), added == 0 ? 1 : 0);
        QCOMPARE(list.removeItem(entry), added == 0);
        QCOMPARE(list.rowCount(), 0);
    }

    void badHeaderSection()
    {
        DeviceListModel list(&m_log);
        QCOMPARE(list.headerData(0, Qt::Horizontal).toString(), QString("Device Address"));
        QVERIFY(!list.headerData(2, Qt::Horizontal).isValid());
        QVERIFY(m_capture->contains("Device list error.", 1));
    }
};

QTEST_GUILESS_MAIN(TestDeviceListModels)
#include "tst_devicelistmodels.moc"
