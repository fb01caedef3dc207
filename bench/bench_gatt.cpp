// Notifications through CGattWidget::onRcvMsg into a shown panel that holds a discovered
// database: the most the panel takes a second, and the longest gap of a 10 ms GUI timer while
// 5,000 a second arrive as a port would hand them over. Run by hand; offscreen unless
// QT_QPA_PLATFORM says otherwise. Usage: bench_gatt [SECONDS]

#include <algorithm>
#include <cstdio>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTimer>

#include "gatt/cgattwidget.h"
#include "gatt/gatttablemodel.h"
#include "log/logmanager.h"

namespace {

constexpr double kRequiredRate = 5000;
constexpr qint64 kMaxGapMs = 50;

QByteArray le16(quint16 value)
{
    return QByteArray(1, char(value & 0xff)) + char(value >> 8);
}

QByteArray gatt(quint8 opcode, const QByteArray& body)
{
    return QByteArray::fromHex("dd03") + char(opcode) + le16(quint16(body.size())) + body;
}

// Five services of four notifying characteristics each, with their client configurations.
void discover(CGattWidget& panel)
{
    quint16 handle = 1;
    for (int s = 0; s < 5; ++s) {
        const quint16 start = handle;
        panel.onRcvMsg(gatt(0x30, QByteArray(1, '\1') + le16(start) + le16(quint16(start + 12)) + le16(0x180D)));
        for (int c = 0; c < 4; ++c) {
            const quint16 declaration = ++handle;
            panel.onRcvMsg(gatt(0x32, QByteArray(1, '\1') + le16(declaration) + char(0x12) + le16(quint16(declaration + 1))
                                          + le16(0x2A37)));
            ++handle;
            panel.onRcvMsg(gatt(0x33, QByteArray(1, '\1') + le16(++handle) + le16(0x2902)));
        }
        ++handle;
    }
    panel.onRcvMsg(gatt(0x34, QByteArray::fromHex("0100")));
}

// A heart-rate measurement for one of the twenty values, its beat count moving.
QByteArray notification(int n)
{
    const quint16 valueHandle = quint16(3 + (n % 4) * 3 + (n / 4 % 5) * 14);
    return gatt(0x28, QByteArray::fromHex("0100") + le16(valueHandle) + char(0x16) + char(60 + n % 60) + le16(quint16(n)));
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(1, atoi(argv[1])) : 5;
    LogManager logs(QStringLiteral("bench_gatt"));
    const QString name = QStringLiteral("Bench");
    CGattWidget panel(1, nullptr, &logs, &name);
    panel.resize(1200, 600);
    panel.show();
    discover(panel);
    QCoreApplication::processEvents();
    if (panel.table()->rowCount() != 5 + 5 * 4 * 3) {
        std::printf("bench_gatt: the database was not discovered (%d rows)\n", panel.table()->rowCount());
        return 2;
    }

    // As fast as it goes: a batch, then the event loop, as queued frames from the port would run.
    QElapsedTimer clock;
    clock.start();
    int count = 0;
    while (clock.elapsed() < seconds * 1000) {
        for (int i = 0; i < 100; ++i)
            panel.onRcvMsg(notification(count++));
        QCoreApplication::processEvents();
    }
    const double fastest = count * 1e9 / clock.nsecsElapsed();

    // 5,000 a second, each on the event loop as a port delivers them, while a 10 ms timer ticks.
    QElapsedTimer sinceTick;
    qint64 longestGap = 0;
    QTimer ticks;
    ticks.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticks, &QTimer::timeout, [&] { longestGap = std::max(longestGap, sinceTick.restart()); });
    sinceTick.start();
    ticks.start(10);
    clock.restart();
    qint64 fed = 0;
    while (clock.elapsed() < seconds * 1000) {
        const qint64 due = clock.nsecsElapsed() * qint64(kRequiredRate) / 1000000000;
        for (; fed < due; ++fed)
            QMetaObject::invokeMethod(&panel, "onRcvMsg", Qt::QueuedConnection, Q_ARG(QByteArray, notification(int(fed))));
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    QCoreApplication::processEvents();
    const double paced = fed * 1e9 / clock.nsecsElapsed();

    std::printf("GATT panel shown, 65 attributes: %.0f notifications/s at most; at %.0f/s the longest GUI gap is %lld ms\n",
                fastest, paced, static_cast<long long>(longestGap));
    const bool met = fastest >= kRequiredRate && longestGap <= kMaxGapMs;
    std::printf("bench_gatt: at least %.0f notifications/s and no GUI gap over %lld ms: %s\n", kRequiredRate,
                static_cast<long long>(kMaxGapMs), met ? "met" : "missed");
    QDir(logs.logFolder()).removeRecursively();
    QDir().rmdir(LogManager::logRoot());
    return met ? 0 : 1;
}
