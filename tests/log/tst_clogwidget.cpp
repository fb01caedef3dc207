#include <QDir>
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

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

// A pane whose Save is answered by the test instead of a file dialog.
class AnsweredLogWidget : public CLogWidget
{
public:
    using CLogWidget::CLogWidget;

    QString answer;
    int asked = 0;

protected:
    QString askSavePath() override
    {
        ++asked;
        return answer;
    }
};

// Closes every modal box that comes up while it lives and keeps the texts it showed.
class ModalCatcher
{
public:
    ModalCatcher()
    {
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal)
                return;
            const auto labels = modal->findChildren<QLabel*>(QStringLiteral("m_text"));
            for (const QLabel* label : labels)
                texts << label->text();
            static_cast<QDialog*>(modal)->reject();
        });
        m_timer.start(10);
    }

    QStringList texts;

private:
    QTimer m_timer;
};

// A log manager whose run folder is whatever the test says.
class FolderLogManager : public LogManager
{
public:
    explicit FolderLogManager(const QString& folder)
        : LogManager(QStringLiteral("tst_clogwidget"))
        , m_folder(folder)
    {
    }

    QString logFolder() override { return m_folder; }

private:
    QString m_folder;
};

} // namespace

class tst_CLogWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void paneKeepsTheLatest2000LinesAndTheFileAll();
    void save_data();
    void save();
    void logButtonShowsTheSwitchWithoutBlocking();
    void screenshot();

private:
    LogManager* m_logs = nullptr;
    QTemporaryDir* m_dir = nullptr;
};

void tst_CLogWidget::initTestCase()
{
    applyFlatStyle();
}

void tst_CLogWidget::init()
{
    m_logs = new LogManager(QStringLiteral("tst_clogwidget"));
    m_dir = new QTemporaryDir;
    QVERIFY(m_dir->isValid());
}

void tst_CLogWidget::cleanup()
{
    delete m_logs;
    delete m_dir;
}

void tst_CLogWidget::paneKeepsTheLatest2000LinesAndTheFileAll()
{
    CLogWidget pane(nullptr, m_logs, 0);
    m_logs->addLogger(new TextBrowserLogger(QStringLiteral("pane"), pane.textBrowser()));
    const QString file = m_logs->logFolder() + QStringLiteral("/UI_log.txt");

    for (int i = 1; i <= 2001; ++i)
        m_logs->log(QStringLiteral("line %1 end").arg(i, 4, 10, QLatin1Char('0')), 2);

    QTextDocument* document = pane.textBrowser()->document();
    QTRY_VERIFY(document->toPlainText().contains(QLatin1String("line 2001 end")));
    QCOMPARE(document->blockCount(), 2000);
    QVERIFY(!document->toPlainText().contains(QLatin1String("line 0001 end")));
    QVERIFY(document->firstBlock().text().contains(QLatin1String("line 0002 end")));
    QTRY_VERIFY(readAll(file).contains("line 0001 end"));

    QTest::mouseClick(pane.findChild<QToolButton*>(QStringLiteral("m_tbClear")), Qt::LeftButton);
    QVERIFY(document->toPlainText().isEmpty());
    QVERIFY(readAll(file).contains("line 0001 end"));
}

void tst_CLogWidget::save_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("targetExists");
    QTest::addColumn<bool>("sourceExists");
    QTest::addColumn<bool>("saved");

    // "<own>" stands for the pane's own log file, "<dir>" for a scratch folder.
    QTest::newRow("tool log to a new file") << 0 << "<dir>/saved.log" << false << true << true;
    QTest::newRow("dongle log to a new file") << 1 << "<dir>/saved.log" << false << true << true;
    QTest::newRow("existing target is replaced") << 0 << "<dir>/saved.log" << true << true << true;
    QTest::newRow("own path is done without copying") << 0 << "<own>" << true << true << true;
    QTest::newRow("own path with backslashes") << 1 << "<own\\>" << true << true << true;
    QTest::newRow("missing source fails") << 0 << "<dir>/saved.log" << false << false << false;
    QTest::newRow("unwritable target fails") << 0 << "<dir>/no/such/folder/saved.log" << false << true
                                             << false;
}

void tst_CLogWidget::save()
{
    QFETCH(int, type);
    QFETCH(QString, target);
    QFETCH(bool, targetExists);
    QFETCH(bool, sourceExists);
    QFETCH(bool, saved);

    const QString runFolder = m_dir->filePath(QStringLiteral("run"));
    QVERIFY(QDir().mkpath(runFolder));
    FolderLogManager logs(runFolder);
    AnsweredLogWidget pane(nullptr, &logs, type);
    const QString source = runFolder + (type == 0 ? "/UI_log.txt" : "/dongle_log.txt");
    const QByteArray content = "12:00:00:000 - [INFO] - the run's log\r\n";
    if (sourceExists)
        QVERIFY(writeFile(source, content));

    if (target == QLatin1String("<own>"))
        target = source;
    else if (target == QLatin1String("<own\\>"))
        target = QString(source).replace(QLatin1Char('/'), QLatin1Char('\\'));
    else
        target.replace(QLatin1String("<dir>"), m_dir->path());
    if (targetExists && target != source && !target.contains(QLatin1Char('\\')))
        QVERIFY(writeFile(target, "older content that must go"));
    pane.answer = target;

    ModalCatcher boxes;
    QTest::mouseClick(pane.findChild<QToolButton*>(QStringLiteral("m_tbSave")), Qt::LeftButton);

    QCOMPARE(pane.asked, 1);
    QCOMPARE(boxes.texts, saved ? QStringList() : QStringList{QStringLiteral("save fail!")});
    if (sourceExists)
        QCOMPARE(readAll(source), content);
    if (saved)
        QCOMPARE(readAll(QString(target).replace(QLatin1Char('\\'), QLatin1Char('/'))), content);
}

void tst_CLogWidget::logButtonShowsTheSwitchWithoutBlocking()
{
    CLogWidget pane(nullptr, m_logs, 1);
    pane.show();
    QVERIFY(!pane.logSwitch()->isVisible());

    QTest::mouseClick(pane.findChild<QToolButton*>(QStringLiteral("m_tbLevel")), Qt::LeftButton);

    QVERIFY(pane.logSwitch()->isVisible());
    QVERIFY(!pane.logSwitch()->isModal());
    QCOMPARE(QApplication::activeModalWidget(), nullptr);
}

void tst_CLogWidget::screenshot()
{
    CLogWidget pane(nullptr, m_logs, 0);
    pane.setTitle(QStringLiteral("Tool Log"));
    pane.resize(520, 260);
    for (int level = 4; level >= 0; --level) {
        for (int i = 0; i < 2; ++i) {
            pane.textBrowser()->append(TextBrowserLogger::formatLine(
                QStringLiteral("10:15:0%1:%2").arg(level).arg(i * 250, 3, 10, QLatin1Char('0')),
                QStringLiteral("a line at level %1").arg(level), level));
        }
    }
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    // With the mouse in, the overflowing pane shows its flat bar.
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(pane.textBrowser(), &enter);
    QVERIFY(pane.grab().save(SCREENSHOT_DIR "clogwidget.png"));
}

QTEST_MAIN(tst_CLogWidget)
#include "tst_clogwidget.moc"
