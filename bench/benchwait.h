#pragma once

#include <functional>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

// Runs the event loop until `done` holds or the time is up. The loop sleeps between events, as
// the application's own does: a loop that spun would take the core the benchmark measures.
inline bool waitFor(const std::function<bool()>& done, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > ms)
            return false;
        QEventLoop loop;
        QTimer::singleShot(5, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}
