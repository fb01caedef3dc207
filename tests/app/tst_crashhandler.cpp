#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "app/crashhandler.h"

namespace {

enum class Crash { NullWrite, DivideByZero, Abort, IllegalInstruction };

volatile int* volatile g_null = nullptr;
volatile int g_zero = 0;
volatile int g_hundred = 100;

[[noreturn]] void crash(Crash how)
{
    switch (how) {
    case Crash::NullWrite:
        *g_null = 1;
        break;
    case Crash::DivideByZero:
        // Not 1 / x, which the compiler turns into a comparison.
        g_zero = g_hundred / g_zero;
        break;
    case Crash::Abort:
        abort();
    case Crash::IllegalInstruction:
        raise(SIGILL);
        break;
    }
    _exit(0);
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

Q_DECLARE_METATYPE(Crash)

class TestCrashHandler : public QObject
{
    Q_OBJECT

private slots:
    void dump_data()
    {
        QTest::addColumn<Crash>("how");
        QTest::addColumn<bool>("traced");
        QTest::addColumn<int>("signal");
        QTest::addColumn<QString>("name");
        QTest::newRow("write through a null pointer")
            << Crash::NullWrite << false << int(SIGSEGV) << "SIGSEGV";
        QTest::newRow("integer division by zero")
            << Crash::DivideByZero << false << int(SIGFPE) << "SIGFPE";
        QTest::newRow("abort()") << Crash::Abort << false << int(SIGABRT) << "SIGABRT";
        QTest::newRow("SIGILL raised")
            << Crash::IllegalInstruction << false << int(SIGILL) << "SIGILL";
        QTest::newRow("under a debugger: no dump")
            << Crash::NullWrite << true << int(SIGSEGV) << "SIGSEGV";
    }
    void dump()
    {
        QFETCH(Crash, how);
        QFETCH(bool, traced);
        QFETCH(int, signal);
        QFETCH(QString, name);
        if (tracedNow())
            QSKIP("the test itself runs under a debugger, so no child would dump");

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QByteArray path = QFile::encodeName(dir.path());
        const QDateTime before = QDateTime::currentDateTime();

        const pid_t pid = fork();
        QVERIFY(pid >= 0);
        if (pid == 0) {
            if (traced && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
                _exit(77);
            CrashHandler::install();
            if (chdir(path.constData()) != 0)
                _exit(78);
            crash(how);
        }

        int status = 0;
        for (;;) {
            QCOMPARE(waitpid(pid, &status, 0), pid);
            if (!WIFSTOPPED(status))
                break;
            // A traced child stops at every signal; hand the signal back as a debugger would.
            ptrace(PTRACE_CONT, pid, nullptr, reinterpret_cast<void*>(intptr_t(WSTOPSIG(status))));
        }
        const QDateTime after = QDateTime::currentDateTime();
        if (WIFEXITED(status) && WEXITSTATUS(status) == 77)
            QSKIP("ptrace is not permitted here");

        QVERIFY2(WIFSIGNALED(status), "the child must still die of its signal");
        QCOMPARE(WTERMSIG(status), signal);

        const QStringList files = QDir(dir.path()).entryList(QDir::Files);
        if (traced) {
            QCOMPARE(files, QStringList());
            return;
        }
        QCOMPARE(files.size(), 1);
        const QString file = files.first();
        const QRegularExpression pattern(
            QStringLiteral("^\\d{4}-\\d\\d-\\d\\d-\\d\\d-\\d\\d-\\d\\d-\\d{3}\\.dmp$"));
        QVERIFY2(pattern.match(file).hasMatch(), qPrintable(file));

        // The name is local time, as the clock on the wall shows it.
        const QDateTime stamp =
            QDateTime::fromString(file.left(23), QStringLiteral("yyyy-MM-dd-hh-mm-ss-zzz"));
        QVERIFY(stamp.isValid());
        QVERIFY2(stamp >= before.addMSecs(-1) && stamp <= after.addMSecs(1),
                 qPrintable(file + " not between " + before.toString(Qt::ISODateWithMs) +
                            " and " + after.toString(Qt::ISODateWithMs)));

        QFile dumpFile(dir.filePath(file));
        QVERIFY(dumpFile.open(QIODevice::ReadOnly));
        const QString text = QString::fromLatin1(dumpFile.readAll());
        QVERIFY2(text.startsWith(QStringLiteral("Signal: %1 (%2)\n").arg(signal).arg(name)),
                 qPrintable(text.left(80)));
        if (how == Crash::NullWrite)
            QVERIFY2(text.contains(QStringLiteral("\nAddress: 0x0\n")), qPrintable(text.left(120)));
        const int trace = text.indexOf(QStringLiteral("\nStack trace:\n"));
        const int maps = text.indexOf(QStringLiteral("\nMemory map:\n"));
        QVERIFY(trace > 0 && maps > trace);
        QVERIFY2(text.mid(trace, maps - trace).count(QStringLiteral("[0x")) >= 2,
                 qPrintable(text.mid(trace, maps - trace)));
        QVERIFY(text.mid(maps).contains(QStringLiteral("[stack]")));
        QVERIFY(text.mid(maps).contains(QStringLiteral("tst_crashhandler")));
    }
};

QTEST_GUILESS_MAIN(TestCrashHandler)
#include "tst_crashhandler.moc"
