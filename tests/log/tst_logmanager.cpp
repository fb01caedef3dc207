#include "log/logmanager.h"

#include "log/logger.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTextBrowser>
#include <QThread>
#include <QtTest>

#include <memory>

namespace {

QMutex consoleMutex;
QStringList consoleLines;
QtMessageHandler previousHandler = nullptr;

void captureConsole(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtDebugMsg) {
        QMutexLocker lock(&consoleMutex);
        consoleLines << message;
        return;
    }
    if (previousHandler)
        previousHandler(type, context, message);
}

QStringList console()
{
    QMutexLocker lock(&consoleMutex);
    return consoleLines;
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestLogManager : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void runFolder();
    void levelsReachTheirLoggers_data();
    void levelsReachTheirLoggers();
    void logTo_data();
    void logTo();
    void dongleTextKeepsCrlfInFileAndBreaksInPane();
    void loggerLookup();
    void lastLinesAreLostAtExit();
    void logFromAnotherThreadArrives();

private:
    // Logs a level-4 marker, which reaches every tool logger, and waits until the pane,
    // the console and the tool file have it: everything logged before has arrived too.
    void settle();
    QString toolFile() const { return m_manager->logFolder() + QStringLiteral("/UI_log.txt"); }
    QString dongleFile() const { return m_manager->logFolder() + QStringLiteral("/dongle_log.txt"); }

    std::unique_ptr<QTextBrowser> m_toolPane;
    std::unique_ptr<QTextBrowser> m_donglePane;
    std::unique_ptr<LogManager> m_manager;
    TextBrowserLogger* m_toolPaneLogger = nullptr;
    TextBrowserLogger* m_donglePaneLogger = nullptr;
    int m_marker = 0;
};

void TestLogManager::initTestCase()
{
    previousHandler = qInstallMessageHandler(captureConsole);
}

void TestLogManager::cleanupTestCase()
{
    qInstallMessageHandler(previousHandler);
    // The "Log" folder beside the test binary goes if no other run left anything in it.
    QDir().rmdir(LogManager::logRoot());
}

void TestLogManager::init()
{
    {
        QMutexLocker lock(&consoleMutex);
        consoleLines.clear();
    }
    m_toolPane = std::make_unique<QTextBrowser>();
    m_donglePane = std::make_unique<QTextBrowser>();
    m_manager = std::make_unique<LogManager>(QStringLiteral("ttySIM0"));
    m_toolPaneLogger = new TextBrowserLogger(QStringLiteral("main_logger"), m_toolPane.get());
    m_donglePaneLogger = new TextBrowserLogger(QStringLiteral("dongle_text_browser_logger"), m_donglePane.get());
    m_manager->addLogger(m_toolPaneLogger);
    m_manager->setMainLogger(QStringLiteral("main_logger"));
    m_manager->addDongleLogger(m_donglePaneLogger);
}

void TestLogManager::cleanup()
{
    const QString folder = m_manager->logFolder();
    m_manager.reset();
    QVERIFY(QDir(folder).removeRecursively());
    m_toolPane.reset();
    m_donglePane.reset();
}

void TestLogManager::settle()
{
    const QString marker = QStringLiteral("marker %1").arg(++m_marker);
    m_manager->log(marker, 4);
    m_manager->logger(QStringLiteral("file_logger"))->clear();
    QTRY_VERIFY(m_toolPane->toPlainText().contains(marker));
    QTRY_VERIFY(console().contains(marker));
    QTRY_VERIFY(readAll(toolFile()).contains(marker.toUtf8()));
}

void TestLogManager::runFolder()
{
    const QString folder = QDir::fromNativeSeparators(m_manager->logFolder());
    QCOMPARE(QFileInfo(folder).absolutePath() + QLatin1Char('/'), LogManager::logRoot());
    QCOMPARE(LogManager::logRoot(), QCoreApplication::applicationDirPath() + QStringLiteral("/Log/"));
    const QRegularExpression name(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\w+_ttySIM0$"));
    QVERIFY2(name.match(QFileInfo(folder).fileName()).hasMatch(), qPrintable(folder));
    QVERIFY(QFileInfo(folder + QStringLiteral("/UI_log.txt")).isFile());
    QVERIFY(QFileInfo(folder + QStringLiteral("/dongle_log.txt")).isFile());
}

void TestLogManager::levelsReachTheirLoggers_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QByteArray>("fileTail");
    QTest::addColumn<bool>("onConsole");
    QTest::addColumn<bool>("inPane");

    QTest::newRow("error everywhere") << 4 << QByteArray(": [ERROR]the line\r\n") << true << true;
    QTest::newRow("warning everywhere") << 3 << QByteArray(": [WARN]the line\r\n") << true << true;
    QTest::newRow("information not on the console") << 2 << QByteArray(": [INFO]the line\r\n") << false << true;
    QTest::newRow("debug only in the file") << 1 << QByteArray(": [DEBUG]the line\r\n") << false << false;
    QTest::newRow("level 0 below every tool threshold") << 0 << QByteArray() << false << false;
}

void TestLogManager::levelsReachTheirLoggers()
{
    QFETCH(int, level);
    QFETCH(QByteArray, fileTail);
    QFETCH(bool, onConsole);
    QFETCH(bool, inPane);

    m_manager->log(QStringLiteral("the line"), level);
    settle();

    const QList<QByteArray> lines = readAll(toolFile()).split('\n');
    QCOMPARE(lines.size(), fileTail.isEmpty() ? 2 : 3);
    if (!fileTail.isEmpty())
        QCOMPARE(lines.first().mid(12) + '\n', fileTail);
    QCOMPARE(console().contains(QStringLiteral("the line")), onConsole);
    QCOMPARE(m_toolPane->toPlainText().contains(QStringLiteral("the line")), inPane);
    QVERIFY(readAll(dongleFile()).isEmpty());
}

void TestLogManager::logTo_data()
{
    QTest::addColumn<QString>("loggerName");
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("onConsole");
    QTest::addColumn<bool>("inPane");
    QTest::addColumn<int>("fileCopies");

    QTest::newRow("unknown name reaches only the tool file") << "nobody" << 4 << false << false << 1;
    QTest::newRow("the pane and the file") << "main_logger" << 2 << false << true << 1;
    QTest::newRow("the console and the file") << "mainConsole" << 4 << true << false << 1;
    QTest::newRow("the tool file itself only once") << "file_logger" << 4 << false << false << 1;
    QTest::newRow("below the named logger's threshold") << "main_logger" << 1 << false << false << 1;
}

void TestLogManager::logTo()
{
    QFETCH(QString, loggerName);
    QFETCH(int, level);
    QFETCH(bool, onConsole);
    QFETCH(bool, inPane);
    QFETCH(int, fileCopies);

    m_manager->logTo(loggerName, QStringLiteral("aimed line"), level);
    settle();

    QCOMPARE(readAll(toolFile()).count("aimed line"), fileCopies);
    QCOMPARE(console().contains(QStringLiteral("aimed line")), onConsole);
    QCOMPARE(m_toolPane->toPlainText().contains(QStringLiteral("aimed line")), inPane);
}

void TestLogManager::dongleTextKeepsCrlfInFileAndBreaksInPane()
{
    QSignalSpy paneLines(m_donglePaneLogger, &TextBrowserLogger::sig_append);
    m_manager->logDongle(QStringLiteral("stack up\r\nadv on"));
    QCOMPARE(paneLines.size(), 1);
    const QString html = paneLines.first().first().toString();
    QVERIFY(html.startsWith(QStringLiteral("<span>")));
    QCOMPARE(html.mid(18), QStringLiteral(" - stack up<br>adv on</span>"));

    QTRY_COMPARE(m_donglePane->toPlainText().mid(15), QStringLiteral("stack up\nadv on"));
    QVERIFY(!m_toolPane->toPlainText().contains(QStringLiteral("stack up")));

    // The dongle file writes in blocks too: fill one so the line reaches the disk.
    for (int i = 0; i < 40; ++i)
        m_manager->logDongle(QString(40, QLatin1Char('.')));
    QTRY_VERIFY(readAll(dongleFile()).size() >= 2048);
    QCOMPARE(readAll(dongleFile()).mid(12, 28), QByteArray(": [DONGLE]stack up\r\nadv on\r\n"));
    settle();
    QVERIFY(!readAll(toolFile()).contains("stack up"));
}

void TestLogManager::loggerLookup()
{
    QVERIFY(m_manager->hasLogger(QStringLiteral("main_logger")));
    QVERIFY(m_manager->hasLogger(QStringLiteral("mainConsole")));
    QVERIFY(m_manager->hasLogger(QStringLiteral("file_logger")));
    QVERIFY(!m_manager->hasLogger(QStringLiteral("dongle_text_browser_logger")));
    QVERIFY(!m_manager->hasLogger(QStringLiteral("nobody")));
    QCOMPARE(m_manager->logger(QStringLiteral("nobody"))->name(), QStringLiteral("dummy"));
    QCOMPARE(m_manager->mainLogger(), QStringLiteral("main_logger"));

    m_manager->removeLogger(QStringLiteral("main_logger"));
    m_manager->removeLogger(QStringLiteral("nobody"));
    QVERIFY(!m_manager->hasLogger(QStringLiteral("main_logger")));
    m_manager->log(QStringLiteral("after removal"), 4);
    m_manager->logger(QStringLiteral("file_logger"))->clear();
    QTRY_VERIFY(readAll(toolFile()).contains("after removal"));
    QVERIFY(console().contains(QStringLiteral("after removal")));
    QVERIFY(!m_toolPane->toPlainText().contains(QStringLiteral("after removal")));
}

void TestLogManager::lastLinesAreLostAtExit()
{
    m_manager->log(QStringLiteral("short of a block"), 4);
    m_manager->logDongle(QStringLiteral("dongle tail"));
    QTRY_VERIFY(m_toolPane->toPlainText().contains(QStringLiteral("short of a block")));
    const QString folder = m_manager->logFolder();
    m_manager.reset();
    QCOMPARE(QFileInfo(folder + QStringLiteral("/UI_log.txt")).size(), qint64(0));
    QCOMPARE(QFileInfo(folder + QStringLiteral("/dongle_log.txt")).size(), qint64(0));
    m_manager = std::make_unique<LogManager>(QStringLiteral("ttySIM0"));
    QVERIFY(QDir(folder).removeRecursively());
}

void TestLogManager::logFromAnotherThreadArrives()
{
    std::unique_ptr<QThread> worker(QThread::create([this] {
        for (int i = 0; i < 50; ++i)
            m_manager->log(QStringLiteral("worker %1").arg(i), 3);
    }));
    worker->start();
    QVERIFY(worker->wait(10000));
    settle();
    QCOMPARE(readAll(toolFile()).count(": [WARN]worker "), 50);
    QTRY_VERIFY(m_toolPane->toPlainText().contains(QStringLiteral("worker 49")));
    QCOMPARE(console().filter(QRegularExpression(QStringLiteral("^worker \\d+$"))).size(), 50);
}

QTEST_MAIN(TestLogManager)
#include "tst_logmanager.moc"
