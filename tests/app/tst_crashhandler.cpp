#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "app/crashhandler.h"

namespace {

volatile int* volatile g_null = nullptr;
volatile int g_zero = 0;
volatile int g_hundred = 100;

// The faults themselves, which the undefined-behaviour sanitizer would otherwise stop first.
__attribute__((no_sanitize("undefined"))) void fault(bool nullStore)
{
    if (nullStore)
        *g_null = 1;
    else // not 1 / x, which the compiler turns into a comparison
        g_zero = g_hundred / g_zero;
}

// Deep enough to overflow any stack; the volatile frame keeps it from becoming a loop.
int recurse(int depth)
{
    volatile char frame[256];
    frame[0] = char(depth);
    return recurse(depth + 1) + frame[0];
}

bool tracedNow()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    const QRegularExpression tracer(QStringLiteral("TracerPid:\\s*(\\d+)"));
    return tracer.match(QString::fromLatin1(status.readAll())).captured(1).toInt() != 0;
}

} // namespace

class TestCrashHandler : public QObject
{
    Q_OBJECT

private slots:
    void dump_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<bool>("traced");
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("how");
        QTest::newRow("write through a null pointer") << int(SIGSEGV) << false << "Signal: 11 (SIGSEGV)\nCode: 1\n"
                                                      << "null";
        QTest::newRow("integer division by zero") << int(SIGFPE) << false << "Signal: 8 (SIGFPE)\n" << "zero";
        QTest::newRow("abort, a code below zero") << int(SIGABRT) << false << "Signal: 6 (SIGABRT)\nCode: -6\n"
                                                  << "abort";
        QTest::newRow("stack overflow on another thread") << int(SIGSEGV) << false << "Signal: 11 (SIGSEGV)\n"
                                                          << "overflow";
        QTest::newRow("under a debugger: no dump") << int(SIGSEGV) << true << QString() << "null";
    }
    void dump()
    {
        QFETCH(int, signal);
        QFETCH(bool, traced);
        QFETCH(QString, header);
        QFETCH(QString, how);
        if (tracedNow())
            QSKIP("the test itself runs under a debugger, so no child would dump");
        QTemporaryDir dir;
        const QDateTime before = QDateTime::currentDateTime();

        const pid_t pid = fork();
        QVERIFY(pid >= 0);
        if (pid == 0) {
            if (traced && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
                _exit(77);
            CrashHandler::install();
            if (chdir(QFile::encodeName(dir.path()).constData()) != 0)
                _exit(78);
            if (how == "null" || how == "zero") {
                fault(how == "null");
            } else if (how == "abort") {
                abort();
            } else {
                std::thread thread([] {
                    const CrashHandler::ThreadStack stack;
                    recurse(0);
                });
                thread.join();
            }
            _exit(0);
        }
        int status = 0;
        // A traced child stops at every signal; hand the signal back as a debugger would.
        while (waitpid(pid, &status, 0) == pid && WIFSTOPPED(status))
            ptrace(PTRACE_CONT, pid, nullptr, reinterpret_cast<void*>(intptr_t(WSTOPSIG(status))));
        const QDateTime after = QDateTime::currentDateTime();
        if (WIFEXITED(status) && WEXITSTATUS(status) == 77)
            QSKIP("ptrace is not permitted here");
        QVERIFY2(WIFSIGNALED(status), "the child must still die of its signal");
        QCOMPARE(WTERMSIG(status), signal);

        const QStringList files = QDir(dir.path()).entryList(QDir::Files);
        QCOMPARE(files.size(), traced ? 0 : 1);
        if (traced)
            return;
        const QString file = files.first();
        QVERIFY2(QRegularExpression(QStringLiteral("^\\d{4}(-\\d\\d){5}-\\d{3}\\.dmp$")).match(file).hasMatch(),
                 qPrintable(file));
        // Named by local time, as the clock on the wall shows it.
        const QDateTime stamp = QDateTime::fromString(file.left(23), QStringLiteral("yyyy-MM-dd-hh-mm-ss-zzz"));
        QVERIFY2(stamp >= before.addMSecs(-1) && stamp <= after.addMSecs(1), qPrintable(file));

        QFile dumpFile(dir.filePath(file));
        QVERIFY(dumpFile.open(QIODevice::ReadOnly));
        const QString text = QString::fromLatin1(dumpFile.readAll());
        QVERIFY2(text.startsWith(header), qPrintable(text.left(80)));
        const int trace = text.indexOf(QStringLiteral("\nStack trace:\n"));
        const int maps = text.indexOf(QStringLiteral("\nMemory map:\n"));
        QVERIFY(trace > 0 && maps > trace);
        QVERIFY(text.mid(trace, maps - trace).count(QStringLiteral("[0x")) >= 2);
        QVERIFY(text.mid(maps).contains(QStringLiteral("tst_crashhandler")));
    }
};

QTEST_GUILESS_MAIN(TestCrashHandler)
#include "tst_crashhandler.moc"
