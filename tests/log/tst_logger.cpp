#include "log/logger.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>

#include <time.h>

namespace {

// Stands where a text pane would: the two slots a TextBrowserLogger connects to.
class PaneProbe : public QObject
{
    Q_OBJECT
public:
    QStringList lines;
    int clears = 0;
public slots:
    void append(const QString& html) { lines << html; }
    void clear() { ++clears; }
};

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestLogger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void timeStampIsLocalTime();
    void paneHtml_data();
    void paneHtml();
    void fileLine_data();
    void fileLine();
    void emptyTextIsDropped();
    void bufferFlushesAt2048Bytes_data();
    void bufferFlushesAt2048Bytes();
    void clearOnlyFlushes();
    void destructorLosesTheTail();
    void writesFromAnotherThreadArrive();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString path() const { return m_dir->filePath(QStringLiteral("UI_log.txt")); }
};

void TestLogger::initTestCase()
{
    // Half-hour offset from UTC, so that a stamp in the wrong zone shows in hours and minutes.
    qputenv("TZ", "XST-5:30");
    tzset();
}

void TestLogger::timeStampIsLocalTime()
{
    for (int i = 0; i < 3; ++i) {
        const QTime before = QTime::currentTime();
        const QString stamp = logTimeStamp();
        const QTime after = QTime::currentTime();
        if (after < before)
            continue; // midnight passed
        QVERIFY2(QRegularExpression(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d$")).match(stamp).hasMatch(),
                 qPrintable(stamp));
        const QTime parsed = QTime::fromString(stamp, QStringLiteral("hh:mm:ss:zzz"));
        QVERIFY2(before <= parsed && parsed <= after,
                 qPrintable(before.toString(QStringLiteral("hh:mm:ss:zzz")) + QLatin1Char(' ') + stamp));
    }
}

void TestLogger::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestLogger::paneHtml_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("html");

    QTest::newRow("error") << "port closed" << 4
        << "<img src=\":/icons/error\"/><span style=\"color:#ff0000;\"> 09:05:07:042 - [ERROR] - port closed </span><br>";
    QTest::newRow("warning") << "no answer" << 3
        << "<img src=\":/icons/warning\"/><span style=\"color:#ff9900;\"> 09:05:07:042 - [WARN] - no answer </span><br>";
    QTest::newRow("information") << "scan started" << 2
        << "<img src=\":/icons/info\"/><span style=\"color:#000000;\"> 09:05:07:042 - [INFO] - scan started </span><br>";
    QTest::newRow("debug is plain") << "frame AA 01" << 1
        << "<span>09:05:07:042 - frame AA 01</span>";
    QTest::newRow("dongle text is plain") << "boot ok" << 0
        << "<span>09:05:07:042 - boot ok</span>";
    QTest::newRow("unknown level is plain") << "odd" << 7
        << "<span>09:05:07:042 - odd</span>";
    QTest::newRow("CRLF becomes a break") << "first\r\nsecond\r\n" << 0
        << "<span>09:05:07:042 - first<br>second<br></span>";
    QTest::newRow("CRLF in an error") << "a\r\nb" << 4
        << "<img src=\":/icons/error\"/><span style=\"color:#ff0000;\"> 09:05:07:042 - [ERROR] - a<br>b </span><br>";
    QTest::newRow("lone LF is kept") << "a\nb" << 0
        << "<span>09:05:07:042 - a\nb</span>";
}

void TestLogger::paneHtml()
{
    QFETCH(QString, text);
    QFETCH(int, level);
    QFETCH(QString, html);
    QCOMPARE(TextBrowserLogger::formatLine(QStringLiteral("09:05:07:042"), text, level), html);
}

void TestLogger::fileLine_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("tail");

    QTest::newRow("error") << 4 << "bad" << QByteArray(": [ERROR]bad\r\n");
    QTest::newRow("warning") << 3 << "hmm" << QByteArray(": [WARN]hmm\r\n");
    QTest::newRow("information") << 2 << "ok" << QByteArray(": [INFO]ok\r\n");
    QTest::newRow("debug") << 1 << "AA 01 3D" << QByteArray(": [DEBUG]AA 01 3D\r\n");
    QTest::newRow("dongle") << 0 << "boot" << QByteArray(": [DONGLE]boot\r\n");
    QTest::newRow("negative level counts as dongle") << -1 << "x" << QByteArray(": [DONGLE]x\r\n");
    QTest::newRow("CRLF stays raw") << 0 << "a\r\nb" << QByteArray(": [DONGLE]a\r\nb\r\n");
    QTest::newRow("non-ASCII as UTF-8") << 2 << QString::fromUtf8("\xC2\xB5s") << QByteArray(": [INFO]\xC2\xB5s\r\n");
}

void TestLogger::fileLine()
{
    QFETCH(int, level);
    QFETCH(QString, text);
    QFETCH(QByteArray, tail);

    FileLogger logger;
    logger.setFileName(path());
    QCOMPARE(logger.fileName(), path());
    logger.write(text, level);
    logger.clear();
    QTRY_VERIFY(!readAll(path()).isEmpty());

    const QByteArray line = readAll(path());
    QCOMPARE(line.mid(12), tail);
    QVERIFY2(QRegularExpression(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d$"))
                 .match(QString::fromLatin1(line.left(12))).hasMatch(),
             line.constData());
}

void TestLogger::emptyTextIsDropped()
{
    PaneProbe pane;
    TextBrowserLogger paneLogger(QStringLiteral("main_logger"), &pane);
    FileLogger fileLogger;
    fileLogger.setFileName(path());

    paneLogger.write(QString(), 4);
    fileLogger.write(QString(), 4);
    paneLogger.write(QStringLiteral("end"), 4);
    fileLogger.write(QStringLiteral("end"), 4);
    fileLogger.clear();

    QTRY_COMPARE(pane.lines.size(), 1);
    QTRY_VERIFY(!readAll(path()).isEmpty());
    QCOMPARE(readAll(path()).mid(12), QByteArray(": [ERROR]end\r\n"));
}

void TestLogger::bufferFlushesAt2048Bytes_data()
{
    // Each line is 12 (time) + 9 (": [DEBUG]") + text + 2 (CRLF) bytes.
    QTest::addColumn<QList<int>>("textSizes");
    QTest::addColumn<int>("fileSize");

    QList<int> thirtyOneOf64; // 31 lines of 64 bytes: 1984
    for (int i = 0; i < 31; ++i)
        thirtyOneOf64 << 41;
    QTest::newRow("one byte short stays in memory") << (thirtyOneOf64 + QList<int>{ 40 }) << 0;
    QTest::newRow("exactly 2048 goes out") << (thirtyOneOf64 + QList<int>{ 41 }) << 2048;
    QTest::newRow("the crossing line goes out whole") << (thirtyOneOf64 + QList<int>{ 141 }) << 2148;
    QTest::newRow("one long line") << QList<int>{ 3000 } << 3023;
    QTest::newRow("after a flush the next block starts empty")
        << (thirtyOneOf64 + QList<int>{ 41, 41 }) << 2048;
}

void TestLogger::bufferFlushesAt2048Bytes()
{
    QFETCH(QList<int>, textSizes);
    QFETCH(int, fileSize);

    FileLogger logger;
    logger.setFileName(path());
    int total = 0;
    for (int size : textSizes) {
        logger.write(QString(size, QLatin1Char('x')), 1);
        total += 23 + size;
    }
    QTRY_COMPARE(logger.pendingBytes() + int(QFileInfo(path()).size()), total);
    QCOMPARE(QFileInfo(path()).size(), qint64(fileSize));
}

void TestLogger::clearOnlyFlushes()
{
    {
        QFile old(path());
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("earlier run\r\n");
    }
    FileLogger logger;
    logger.setFileName(path());
    logger.write(QStringLiteral("new"), 2);
    logger.clear();
    logger.clear();
    QTRY_COMPARE(QFileInfo(path()).size(), qint64(13 + 25));
    QCOMPARE(logger.pendingBytes(), 0);
    const QByteArray content = readAll(path());
    QVERIFY(content.startsWith("earlier run\r\n"));
    QVERIFY(content.endsWith(": [INFO]new\r\n"));
}

void TestLogger::destructorLosesTheTail()
{
    auto logger = std::make_unique<FileLogger>();
    logger->setFileName(path());
    for (int i = 0; i < 10; ++i)
        logger->write(QStringLiteral("line"), 1);
    QTRY_COMPARE(logger->pendingBytes(), 10 * 27);
    logger.reset();
    QVERIFY(QFileInfo::exists(path()));
    QCOMPARE(QFileInfo(path()).size(), qint64(0));
}

void TestLogger::writesFromAnotherThreadArrive()
{
    FileLogger logger;
    logger.setFileName(path());
    std::unique_ptr<QThread> worker(QThread::create([&logger] {
        for (int i = 0; i < 100; ++i)
            logger.write(QStringLiteral("from worker %1").arg(i, 3, 10, QLatin1Char('0')), 2);
        logger.clear();
    }));
    worker->start();
    QVERIFY(worker->wait(10000));

    QTRY_COMPARE(QFileInfo(path()).size(), qint64(100 * (12 + 8 + 15 + 2)));
    const QList<QByteArray> lines = readAll(path()).split('\n');
    QCOMPARE(lines.at(0).mid(12), QByteArray(": [INFO]from worker 000\r"));
    QCOMPARE(lines.at(99).mid(12), QByteArray(": [INFO]from worker 099\r"));
}

QTEST_GUILESS_MAIN(TestLogger)
#include "tst_logger.moc"
