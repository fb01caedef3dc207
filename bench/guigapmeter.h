#pragma once

#include <time.h>

#include <QElapsedTimer>
#include <QTimer>

// Measures how long the GUI thread leaves a 10 ms timer waiting: the longest gap between ticks,
// and how much of that gap the thread itself ran. A gap the thread mostly waited through was the
// machine's (another process held the core); one it ran through is the tool's own stall.
class GuiGapMeter
{
public:
    static constexpr qint64 TickMs = 10;

    GuiGapMeter()
    {
        m_ticks.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticks, &QTimer::timeout, [this] { tick(); });
    }

    void start()
    {
        m_sinceTick.start();
        m_busyAtTick = threadCpuMs();
        m_ticks.start(int(TickMs));
    }
    // Starts a new period: the longest gap so far is forgotten.
    void reset()
    {
        m_longest = 0;
        m_longestBusy = 0;
        m_over = 0;
    }

    qint64 longestGapMs() const { return m_longest; }
    // The GUI thread's own time within the longest gap.
    qint64 longestGapBusyMs() const { return m_longestBusy; }
    // Gaps longer than the limit given.
    int gapsOver() const { return m_over; }
    void setLimitMs(qint64 limit) { m_limit = limit; }

private:
    static qint64 threadCpuMs()
    {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    }

    void tick()
    {
        const qint64 gap = m_sinceTick.restart();
        const qint64 busy = threadCpuMs();
        if (gap > m_longest) {
            m_longest = gap;
            m_longestBusy = busy - m_busyAtTick;
        }
        m_over += gap > m_limit;
        m_busyAtTick = busy;
    }

    QTimer m_ticks;
    QElapsedTimer m_sinceTick;
    qint64 m_busyAtTick = 0;
    qint64 m_longest = 0;
    qint64 m_longestBusy = 0;
    qint64 m_limit = 50;
    int m_over = 0;
};
