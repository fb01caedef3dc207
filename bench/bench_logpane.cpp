// A worker feeds a full, shown Dongle Log pane at 2,000 and at 20,000 lines a second for 10 s, as a
// flooding dongle would. Prints the lines a second taken and shown, the longest gap of a 10 ms GUI
// timer and the backlog when the feed stops and after it drains. Run by hand; offscreen unless
// QT_QPA_PLATFORM says otherwise. Usage: bench_logpane [SECONDS]

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QThread>
#include <QTimer>

#include "log/clogwidget.h"
#include "log/logger.h"
#include "log/logmanager.h"

namespace {

constexpr qint64 kMaxGapMs = 50;
constexpr qint64 kDrainLimitMs = 1000;

struct Result
{
    double taken = 0;
    double shown = 0;
    qint64 longestGapMs = 0;
    qint64 skipped = 0;
    int backlogAtStop = 0;
    qint64 drainMs = 0;
    bool drained = false;
};

// The longest time between two ticks of a 10 ms timer on the GUI thread.
class GapMeter : public QObject
{
public:
    GapMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            m_longest = std::max(m_longest, m_since.restart());
        });
        m_since.start();
        m_timer.start(10);
    }
    qint64 longest() const { return m_longest; }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_longest = 0;
};

Result run(int linesPerSecond, int seconds)
{
    LogManager logs(QStringLiteral("bench_logpane"));
    CLogWidget pane(nullptr, &logs, 1);
    pane.setTitle(QStringLiteral("Dongle Log"));
    pane.resize(1200, 260);
    pane.show();
    auto* logger = new TextBrowserLogger(QStringLiteral("dongle_text_browser_logger"), pane.textBrowser());
    logs.addDongleLogger(logger);

    // Full before the clock starts, as a pane is after a few seconds of a flood.
    for (int i = 0; i < CLogWidget::MaxBlocks; ++i)
        logs.logDongle(QStringLiteral("[stack] warm-up line %1 of the pane").arg(i));
    while (logger->backlog() > 0)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);

    const qint64 skippedBefore = logger->skipped();
    std::atomic<bool> feeding{true};
    std::atomic<qint64> fed{0};
    // Lines 30 to 40 bytes long, as one dongle at 460800 baud prints them, paced by the clock.
    std::unique_ptr<QThread> worker(QThread::create([&] {
        QElapsedTimer clock;
        clock.start();
        qint64 sent = 0;
        while (clock.elapsed() < qint64(seconds) * 1000) {
            const qint64 due = clock.nsecsElapsed() * linesPerSecond / 1000000000;
            for (; sent < due; ++sent)
                logs.logDongle(QStringLiteral("[ll] rx pdu %1 crc ok rssi -%2").arg(sent).arg(40 + sent % 50));
            fed = sent;
            QThread::usleep(500);
        }
        feeding = false;
    }));

    GapMeter gaps;
    QElapsedTimer clock;
    clock.start();
    worker->start();
    while (feeding)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    worker->wait();
    const qint64 feedNs = clock.nsecsElapsed();

    Result result;
    result.backlogAtStop = logger->backlog();
    QElapsedTimer drain;
    drain.start();
    while (logger->backlog() > 0 && drain.elapsed() < kDrainLimitMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    result.drainMs = drain.elapsed();
    result.drained = logger->backlog() == 0;
    result.longestGapMs = gaps.longest();
    result.taken = fed * 1e9 / feedNs;
    result.skipped = logger->skipped() - skippedBefore;
    result.shown = (fed - result.skipped - logger->backlog()) * 1e9 / feedNs;

    const QString last = QStringLiteral("rx pdu %1 crc").arg(fed - 1);
    if (result.drained && !pane.textBrowser()->document()->lastBlock().text().contains(last))
        std::printf("bench_logpane: the pane does not end with the last line fed\n");
    QDir(logs.logFolder()).removeRecursively();
    return result;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(1, atoi(argv[1])) : 10;

    bool met = true;
    for (const int rate : {2000, 20000}) {
        const Result r = run(rate, seconds);
        std::printf("dongle log pane at %5d lines/s for %d s: taken %7.0f lines/s, shown %7.0f lines/s "
                    "(%lld never shown), longest GUI gap %3lld ms, backlog %4d at the stop, drained in %lld ms\n",
                    rate, seconds, r.taken, r.shown, static_cast<long long>(r.skipped),
                    static_cast<long long>(r.longestGapMs), r.backlogAtStop, static_cast<long long>(r.drainMs));
        met = met && r.taken >= 0.98 * rate && r.skipped == 0 && r.longestGapMs <= kMaxGapMs && r.drained;
    }
    std::printf("bench_logpane: every line taken and shown at 20,000 lines/s, no GUI gap over %lld ms, no "
                "backlog left: %s\n",
                static_cast<long long>(kMaxGapMs), met ? "met" : "missed");
    QDir().rmdir(LogManager::logRoot());
    return met ? 0 : 1;
}
