#include "log/logger.h"
#include "log/logmanager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QtTest>

#include <memory>
#include <time.h>

namespace {

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A shown pane, as a dongle tab has; its lines as plain text, time stamps masked.
class Pane : public QTextBrowser
{
public:
    Pane() { show(); }
    QStringList lines() const
    {
        return toPlainText().replace(QRegularExpression("\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d"), "hh:mm:ss:zzz")
            .split('\n', Qt::SkipEmptyParts);
    }
};

} // namespace

class TestLogging : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Half an hour off UTC, so that a stamp in the wrong zone shows in hours and minutes.
        qputenv("TZ", "XST-5:30");
        tzset();
    }
    void init()
    {
        m_toolPane.clear();
        m_donglePane.clear();
        m_manager = std::make_unique<LogManager>("ttySIM0");
        m_manager->addLogger(new TextBrowserLogger("main_logger", &m_toolPane));
        m_manager->addDongleLogger(new TextBrowserLogger("dongle_text_browser_logger", &m_donglePane));
    }
    void cleanup()
    {
        const QString folder = m_manager->logFolder();
        m_manager.reset();
        QVERIFY(QDir(folder).removeRecursively());
    }

    void levelsReachTheirLoggers_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QByteArray>("fileLine"); // after the time stamp
        QTest::addColumn<QString>("paneHtml"); // empty: the pane does not take it

        QTest::newRow("error") << 4 << QByteArray(": [ERROR]the line\r\n")
            << "<img src=\":/icons/error\"/><span style=\"color:#ff0000;\"> hh:mm:ss:zzz - [ERROR] - the line </span><br>";
        QTest::newRow("warning") << 3 << QByteArray(": [WARN]the line\r\n")
            << "<img src=\":/icons/warning\"/><span style=\"color:#ff9900;\"> hh:mm:ss:zzz - [WARN] - the line </span><br>";
        QTest::newRow("information") << 2 << QByteArray(": [INFO]the line\r\n")
            << "<img src=\":/icons/info\"/><span style=\"color:#000000;\"> hh:mm:ss:zzz - [INFO] - the line </span><br>";
        QTest::newRow("debug only in the file") << 1 << QByteArray(": [DEBUG]the line\r\n") << "";
    }
    void levelsReachTheirLoggers()
    {
        QFETCH(int, level);
        QFETCH(QString, paneHtml);

        const QTime before = QTime::currentTime();
        m_manager->log("the line", level);
        settle();
        QCOMPARE(readAll(toolFile()).count("the line"), 1);
        const QByteArray line = readAll(toolFile()).split('\n').first();
        QTEST(line.mid(12) + '\n', "fileLine");
        const QTime stamp = QTime::fromString(line.left(12), "hh:mm:ss:zzz"), after = QTime::currentTime();
        QVERIFY2((before <= stamp && stamp <= after) || after < before, line.constData()); // local time, unless midnight
        QCOMPARE(m_toolPane.lines().filter("the line").size(), paneHtml.isEmpty() ? 0 : 1);
        if (!paneHtml.isEmpty())
            QCOMPARE(TextBrowserLogger::formatLine("hh:mm:ss:zzz", "the line", level), paneHtml);
    }
    void dongleTextKeepsCrlfInFileAndBreaksInPane()
    {
        m_manager->logDongle("stack up\r\nadv on");
        QCOMPARE(TextBrowserLogger::formatLine("hh:mm:ss:zzz", "stack up\r\nadv on", 0),
                 "<span>hh:mm:ss:zzz - stack up<br>adv on</span>");
        QTRY_COMPARE(m_donglePane.lines(), (QStringList{"hh:mm:ss:zzz - stack up", "adv on"}));

        // The dongle file writes in blocks too: fill one so the line reaches the disk.
        for (int i = 0; i < 40; ++i)
            m_manager->logDongle(QString(40, '.'));
        QTRY_VERIFY(readAll(dongleFile()).size() >= 2048);
        QCOMPARE(readAll(dongleFile()).mid(12, 28), QByteArray(": [DONGLE]stack up\r\nadv on\r\n"));
        settle();
        QVERIFY(!readAll(toolFile()).contains("stack up"));
        QVERIFY(m_toolPane.lines().filter("stack up").isEmpty());
    }
    void bufferFlushesAt2048Bytes()
    {
        // Each line is 12 (time) + 9 (": [DEBUG]") + text + 2 (CRLF) bytes: 32 of 64 bytes make 2048.
        FileLogger logger;
        logger.setFileName(m_manager->logFolder() + "/own.txt");
        const auto writeBlock = [&logger](int lastText) {
            for (int i = 0; i < 31; ++i)
                logger.write(QString(41, 'x'), 1);
            logger.write(QString(lastText, 'x'), 1);
        };
        writeBlock(41);
        QTRY_COMPARE(QFileInfo(logger.fileName()).size(), qint64(2048)); // exactly 2048 goes out
        QCOMPARE(logger.pendingBytes(), 0);
        writeBlock(40);
        QTRY_COMPARE(logger.pendingBytes(), 2047); // one byte short stays in memory
        QCOMPARE(QFileInfo(logger.fileName()).size(), qint64(2048));
    }
    // Without a root of the caller's, runs log beside the program, one folder a tab and run.
    void runFolderBesideTheProgram()
    {
        const QString temporaryRoot = LogManager::dataRoot();
        LogManager::setDataRoot(QString());
        const QString root = LogManager::logRoot();
        QString folder;
        {
            LogManager run(QStringLiteral("Bench"));
            folder = run.logFolder();
        }
        LogManager::setDataRoot(temporaryRoot);
        QCOMPARE(root, QCoreApplication::applicationDirPath() + "/Log/");
        QVERIFY2(QRegularExpression("^" + QRegularExpression::escape(root)
                                    + "\\d{4}-\\d\\d-\\d\\d_\\d\\d_\\d\\d_\\d\\d_[A-Z][a-z]{2}_Bench$")
                     .match(folder).hasMatch(),
                 qPrintable(folder));
        QVERIFY(QFileInfo::exists(folder + "/UI_log.txt") && QFileInfo::exists(folder + "/dongle_log.txt"));
        QVERIFY(QDir(folder).removeRecursively());
        QDir().rmdir(root);
    }

private:
    // Logs a level-4 marker and waits until the pane and the tool file have it: whatever was
    // logged before has arrived too.
    void settle()
    {
        const QString marker = QStringLiteral("marker %1").arg(++m_marker);
        m_manager->log(marker, 4);
        m_manager->logger("file_logger")->clear();
        QTRY_VERIFY(!m_toolPane.lines().filter(marker).isEmpty());
        QTRY_VERIFY(readAll(toolFile()).contains(marker.toUtf8()));
    }
    QString toolFile() const { return m_manager->logFolder() + "/UI_log.txt"; }
    QString dongleFile() const { return m_manager->logFolder() + "/dongle_log.txt"; }

    Pane m_toolPane, m_donglePane;
    std::unique_ptr<LogManager> m_manager;
    int m_marker = 0;
};

QTEST_MAIN(TestLogging)
#include "tst_logger.moc"
