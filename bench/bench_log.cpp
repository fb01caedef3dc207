// Lines per second through LogManager::log into the tool's log file.
#include "log/logger.h"
#include "log/logmanager.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const qint64 minimumRate = 200000;
    const int batch = 10000;
    const qint64 runMs = 2000;

    // A typical uplink trace line; level 1 so only the file takes it.
    const QString text = QStringLiteral("DD@01@02 rcv: DD 01 02 1E 00 00 01 C3 4A 11 22 33 44 55 66 00 C5 02 01 06");
    const int lineBytes = 12 + 9 + text.size() + 2;

    LogManager manager(QStringLiteral("bench"));
    const QString folder = manager.logFolder();
    const QString file = folder + QStringLiteral("/UI_log.txt");

    QElapsedTimer timer;
    timer.start();
    qint64 logged = 0;
    while (timer.elapsed() < runMs) {
        for (int i = 0; i < batch; ++i)
            manager.log(text, 1);
        logged += batch;
        // Lines travel by queued signal: they reach the file only when events run.
        QCoreApplication::processEvents();
    }
    QCoreApplication::processEvents();
    const qint64 elapsed = timer.nsecsElapsed();
    // What the file holds is what was delivered; the last partial block is left out.
    const qint64 delivered = QFileInfo(file).size() / lineBytes;

    const double seconds = double(elapsed) / 1e9;
    const double rate = double(delivered) / seconds;
    std::printf("bench_log: %lld lines logged, %lld delivered to the file in %.3f s: %.0f lines/s (required %lld)\n",
                static_cast<long long>(logged), static_cast<long long>(delivered), seconds, rate,
                static_cast<long long>(minimumRate));

    const QString root = LogManager::logRoot();
    QDir(folder).removeRecursively();
    QDir().rmdir(root);
    return rate >= double(minimumRate) ? 0 : 1;
}
