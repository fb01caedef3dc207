#include <QCheckBox>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QTextBlock>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBrowser>
#include <QToolButton>
#include <QtTest>

#include <memory>

#include "linkbench.h"
#include "whenmodal.h"
#include "log/clogwidget.h"
#include "log/logger.h"
#include "log/logmanager.h"
#include "log/logswtich.h"

namespace {

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// A tool-log pane in a run folder the test chooses, whose Save is answered by the test
// instead of a file dialog.
class FolderLogManager : public LogManager
{
public:
    explicit FolderLogManager(const QString& folder) : LogManager(QStringLiteral("tst_clogwidget")), m_folder(folder) {}
    QString logFolder() override { return m_folder; }

private:
    QString m_folder;
};

// A pane with a logger "pane" that writes into it, for the dongle's lines or the tool's.
struct LoggedPane
{
    explicit LoggedPane(bool dongle, bool shown = true)
    {
        pane.setVisible(shown);
        logger = new TextBrowserLogger(QStringLiteral("pane"), pane.textBrowser());
        dongle ? logs.addDongleLogger(logger) : logs.addLogger(logger);
    }
    LogManager logs{QStringLiteral("tst_clogwidget")};
    CLogWidget pane{nullptr, &logs, 1};
    TextBrowserLogger* logger;
    QTextBrowser* browser() const { return pane.textBrowser(); }
};

class AnsweredLogWidget : public CLogWidget
{
public:
    using CLogWidget::CLogWidget;
    QString answer;

protected:
    QString askSavePath() override { return answer; }
};

} // namespace

class tst_CLogWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void paneKeepsTheLatestLinesAndTheFileAll_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("fromWorker");
        QTest::newRow("the 2001st line pushes the first out") << 2001 << false;
        QTest::newRow("a flood from another thread") << 7000 << true;
    }
    void paneKeepsTheLatestLinesAndTheFileAll()
    {
        QFETCH(int, lines);
        QFETCH(bool, fromWorker);
        QTemporaryDir run;
        LoggedPane p(false);
        LogManager& logs = p.logs;
        logs.setLogFile(run.filePath(QStringLiteral("UI_log.txt")));
        const auto text = [](int i) { return QStringLiteral("line %1 end").arg(i, 4, 10, QLatin1Char('0')); };
        const auto flood = [&] {
            for (int i = 1; i <= lines; ++i)
                logs.logTo(QStringLiteral("pane"), text(i), 2);
        };
        if (fromWorker) {
            // The pane takes its batches while the worker still writes.
            std::unique_ptr<QThread> worker(QThread::create(flood));
            worker->start();
            QTRY_VERIFY_WITH_TIMEOUT(worker->isFinished(), 20000);
        } else {
            flood();
        }

        QTRY_COMPARE(p.logger->backlog(), 0);
        QTextDocument* document = p.browser()->document();
        QCOMPARE(document->blockCount(), CLogWidget::MaxBlocks);
        // The pane holds the newest lines, each once and in order.
        QTextBlock block = document->firstBlock();
        for (int i = lines - CLogWidget::MaxBlocks + 1; i <= lines; ++i, block = block.next())
            QVERIFY2(block.text().contains(text(i)), qPrintable(block.text()));
        logs.logger(QStringLiteral("file_logger"))->clear();
        const QString file = logs.logFolder() + QStringLiteral("/UI_log.txt");
        QTRY_VERIFY(readAll(file).contains(text(lines).toUtf8()));
        const QList<QByteArray> fileLines = readAll(file).split('\n');
        QCOMPARE(fileLines.size(), lines + 1);
        for (int i = 1; i <= lines; ++i)
            QVERIFY(fileLines.at(i - 1).contains(text(i).toUtf8()));
    }

    // Each line as QTextEdit::append would show it, levels and markup alike.
    void paneShowsWhatAppendWould()
    {
        LoggedPane p(false);
        p.pane.setTitle(QStringLiteral("Tool Log"));
        p.pane.resize(520, 260);
        QTextBrowser reference;
        const QStringList texts{"an error", "a warning", "news", "a\r\ntwo-line <b>bold</b> one", "x & y"};
        for (int i = 0; i < texts.size(); ++i) {
            const int level = 4 - i;
            p.logger->write(texts.at(i), level);
            reference.append(TextBrowserLogger::formatLine(QStringLiteral("12:00:00:000"), texts.at(i), level));
        }
        QTRY_COMPARE(p.logger->backlog(), 0);
        const QRegularExpression stamp(QStringLiteral("\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d"));
        QCOMPARE(p.browser()->toHtml().replace(stamp, "hh"), reference.toHtml().replace(stamp, "hh"));
        QVERIFY(p.pane.grab().save(SCREENSHOT_DIR "clogwidget.png"));
    }

    void paneFollowsTheEndOnlyFromTheBottom_data()
    {
        QTest::addColumn<bool>("atBottom");
        QTest::addColumn<bool>("narrowed");
        QTest::newRow("at the bottom, it follows") << true << false;
        QTest::newRow("at the bottom and narrowed, it follows") << true << true;
        QTest::newRow("scrolled up, it stays") << false << false;
    }
    void paneFollowsTheEndOnlyFromTheBottom()
    {
        QFETCH(bool, atBottom);
        QFETCH(bool, narrowed);
        LoggedPane p(true);
        p.pane.resize(400, 200);
        const auto writeLines = [&] {
            for (int i = 0; i < 100; ++i)
                p.logs.logDongle(QStringLiteral("line %1").arg(i));
            QTRY_COMPARE(p.logger->backlog(), 0);
        };
        writeLines();
        QScrollBar* bar = p.browser()->verticalScrollBar();
        bar->setValue(atBottom ? bar->maximum() : bar->maximum() / 2);
        const int before = bar->value();
        // Wrapping more moves the end away from where the view stood.
        if (narrowed)
            p.pane.resize(120, 200);
        writeLines();
        QCOMPARE(bar->value(), atBottom ? bar->maximum() : before);
        QVERIFY(bar->maximum() > before);
    }

    // Lines for a hidden pane wait, no more than the pane would hold, and come in when it shows.
    void hiddenPaneCatchesUpWhenShown()
    {
        LoggedPane p(true, false);
        for (int i = 1; i <= 5000; ++i)
            p.logs.logDongle(QStringLiteral("line %1").arg(i));
        QCoreApplication::processEvents();
        QCOMPARE(p.logger->backlog(), CLogWidget::MaxBlocks);
        QCOMPARE(p.logger->skipped(), qint64(3000));
        QVERIFY(p.browser()->document()->isEmpty());

        p.pane.show();
        QTRY_COMPARE(p.logger->backlog(), 0);
        QVERIFY(p.browser()->document()->firstBlock().text().endsWith(QLatin1String(" - line 3001")));
        p.logs.logDongle(QStringLiteral("one more"));
        QTRY_VERIFY(p.browser()->document()->lastBlock().text().endsWith(QLatin1String(" - one more")));
    }

    // A clear drops what waits with what is shown, in the order the calls came, even in one pass.
    void clearKeepsTheOrderOfCalls_data()
    {
        QTest::addColumn<bool>("shown");
        QTest::newRow("shown pane") << true;
        QTest::newRow("hidden pane, shown later") << false;
    }
    void clearKeepsTheOrderOfCalls()
    {
        QFETCH(bool, shown);
        LoggedPane p(true, shown);
        p.logs.logDongle(QStringLiteral("before clear"));
        p.logger->clear();
        p.logs.logDongle(QStringLiteral("after clear"));
        p.pane.show();
        QTRY_COMPARE(p.logger->backlog(), 0);
        QCOMPARE(p.browser()->document()->blockCount(), 1);
        QVERIFY(p.browser()->toPlainText().endsWith(QLatin1String(" - after clear")));
    }

    void save_data()
    {
        QTest::addColumn<QString>("target"); // empty: the pane's own log file
        QTest::addColumn<bool>("sourceExists");
        QTest::addColumn<QStringList>("boxes");
        QTest::newRow("existing target is replaced") << "saved.log" << true << QStringList();
        QTest::newRow("own path is done without copying") << QString() << true << QStringList();
        QTest::newRow("missing source fails") << "saved.log" << false << QStringList{"message: save fail!"};
    }
    void save()
    {
        QFETCH(QString, target);
        QFETCH(bool, sourceExists);
        QTemporaryDir dir;
        FolderLogManager logs(dir.path());
        AnsweredLogWidget pane(nullptr, &logs, 0);
        const QString source = dir.filePath(QStringLiteral("UI_log.txt"));
        const QByteArray content = "12:00:00:000 - [INFO] - the run's log\r\n";
        if (sourceExists)
            QVERIFY(writeFile(source, content));
        pane.answer = target.isEmpty() ? source : dir.filePath(target);
        if (!target.isEmpty())
            QVERIFY(writeFile(pane.answer, "older content that must go"));

        ModalCatcher boxes;
        QTest::mouseClick(pane.findChild<QToolButton*>(QStringLiteral("m_tbSave")), Qt::LeftButton);
        QTEST(boxes.shown, "boxes");
        if (sourceExists) {
            QCOMPARE(readAll(source), content);
            QCOMPARE(readAll(pane.answer), content);
        }
    }

    // Closing the log switch dialog sends AA 01 8D with the SDK's and the stack's box: one of two
    // ticked, so that the bytes can't trade places unseen.
    void logSwitchCloseTellsTheFirmware()
    {
        LinkBench bench;
        LogSwtich dialog(&bench.msg, &bench.logger);
        dialog.show();
        dialog.sdkBox()->setChecked(true);
        dialog.stackBox()->setChecked(false);
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QVERIFY(dialog.grab().save(SCREENSHOT_DIR "logswtich.png"));
        QTest::mouseClick(dialog.findChild<QToolButton*>(QStringLiteral("m_tbClose")), Qt::LeftButton);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(bench.pty.read(8).toHex(), QByteArray("aa018d02000100c5"));
    }
};

QTEST_MAIN(tst_CLogWidget)
#include "tst_clogwidget.moc"
