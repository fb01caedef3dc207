#include <QtTest>

#include "host/baudpace.h"

class tst_BaudPace : public QObject
{
    Q_OBJECT

private slots:
    // The bytes a paced line lets through in one second, taking all it may each time it asks.
    void oneSecond_data()
    {
        QTest::addColumn<qint64>("stepNs");
        QTest::addColumn<qint64>("bytes");
        QTest::newRow("asked every 0.25 ms") << qint64(250000) << qint64(46080);
        QTest::newRow("asked every 0.5 ms") << qint64(500000) << qint64(46080);
        QTest::newRow("asked every 2 ms") << qint64(2000000) << qint64(46080);
        QTest::newRow("asked every 62.5 ms") << qint64(62500000) << qint64(46080);
        QTest::newRow("asked once: a burst, no more") << qint64(1000000000) << qint64(4096);
    }
    void oneSecond()
    {
        QFETCH(qint64, stepNs);
        BaudPace pace;
        pace.restart(0);
        qint64 sent = 0;
        for (qint64 now = stepNs; now <= 1000000000; now += stepNs) {
            const int bytes = pace.allowed(now);
            pace.spend(bytes);
            sent += bytes;
        }
        // Whole bytes only: a fraction of one may wait for the next second.
        QFETCH(qint64, bytes);
        QVERIFY2(sent == bytes || sent == bytes - 1, qPrintable(QString::number(sent)));
    }
};

QTEST_GUILESS_MAIN(tst_BaudPace)
#include "tst_baudpace.moc"
