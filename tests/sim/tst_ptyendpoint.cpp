#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <QTemporaryDir>
#include <QtTest>

#include "host/baudpace.h"
#include "host/ptyendpoint.h"

// The simulator's end of a port, and the pace of the baud rate it keeps.
class tst_PtyEndpoint : public QObject
{
    Q_OBJECT

private slots:
    // The bytes a paced line lets through in one second, taking all it may each time it asks.
    void oneSecond_data()
    {
        QTest::addColumn<qint64>("stepNs");
        QTest::addColumn<qint64>("bytes");
        QTest::newRow("asked every 0.25 ms") << qint64(250000) << qint64(46080);
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
    // Three hundred frames nobody reads, then a tool comes, flushes its port and probes: it hears
    // at most a second of the line's old words before the answer, and no frame cut in two.
    void unreadLine_data()
    {
        QTest::addColumn<bool>("paced");
        QTest::newRow("at the pace of the baud rate") << true;
        QTest::newRow("as fast as the terminal takes it") << false;
    }
    void unreadLine()
    {
        QFETCH(bool, paced);
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        PtyEndpoint endpoint(folder.path(), "ttySIM0");
        QString error;
        QVERIFY2(endpoint.open(&error), qPrintable(error));
        endpoint.setBaudPace(paced);
        for (int i = 0; i < 300; ++i)
            endpoint.write(QByteArray(1000, char('a' + i % 26)));

        const int fd = ::open(QFile::encodeName(endpoint.linkPath()).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY(fd >= 0);
        termios tio{};
        ::tcgetattr(fd, &tio);
        ::cfmakeraw(&tio);
        ::tcsetattr(fd, TCSANOW, &tio);
        ::tcflush(fd, TCIOFLUSH);
        endpoint.write("answer");
        QByteArray heard;
        const auto read = [fd, &heard] {
            char buffer[65536];
            for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
                heard.append(buffer, int(n));
            return heard;
        };
        QTRY_VERIFY_WITH_TIMEOUT(read().endsWith("answer"), 10000);
        ::close(fd);
        heard.chop(6);
        QVERIFY2(heard.size() <= 46080, qPrintable(QString::number(heard.size())));
        // Frames one letter each; the first may be the rest of one that went out in part before the flush.
        QList<int> runs;
        for (int i = 0; i < heard.size(); ++i) {
            if (i == 0 || heard.at(i) != heard.at(i - 1))
                runs.append(0);
            ++runs.last();
        }
        for (int i = 1; i < runs.size(); ++i)
            QCOMPARE(runs.at(i), 1000);
    }
};

QTEST_GUILESS_MAIN(tst_PtyEndpoint)
#include "tst_ptyendpoint.moc"
