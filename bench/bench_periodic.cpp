// Periodic reports through CConnectionWidget::onRcvMsg into the views of four standing syncs,
// the one shown on screen: the rate the page takes them at, and the longest wait of a 10 ms GUI
// timer while four trains of 7.5 ms come in. Run by hand; offscreen unless QT_QPA_PLATFORM says
// otherwise.

#include <cstdio>

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QTimer>

#include "dialogrefuser.h"
#include "gap/cconnectionwidget.h"
#include "guigapmeter.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

constexpr int kSyncs = 4;
constexpr double kReportsPerSecond = kSyncs * 1000.0 / 7.5; // four trains at the shortest interval
constexpr qint64 kGapLimitMs = 50;

QByteArray frame(const char* head, const QByteArray& body)
{
    QByteArray bytes = QByteArray::fromHex(head);
    bytes += char(body.size() & 0xff);
    bytes += char(body.size() >> 8);
    return bytes + body;
}

// A sync at this index to an advertiser of its own.
QByteArray established(int index)
{
    return frame("dd0120", char(index) + QByteArray::fromHex("000250000205" "06") + char(index)
                               + QByteArray::fromHex("00105ac6" "01" "0100"));
}

// A report of 247 bytes of periodic data, the most one frame of the train carries.
QByteArray report(int index, int round)
{
    QByteArray data(247, char(round));
    QByteArray body = QByteArray::fromHex("0600") + char(index) + QByteArray::fromHex("105ac6" "01" "7f" "c4" "01" "04" "01" "02" "02" "0600");
    body += char(index);
    body += char(data.size());
    body += char(0);
    return frame("dd0102", body + data);
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    DialogRefuser refuser; // "synchronize succeeded." would wait for a click
    app.installEventFilter(&refuser);

    LogManager logger(QStringLiteral("bench_periodic"));
    logger.removeLogger(QStringLiteral("mainConsole"));
    CMsg msg(&logger);
    FieldValueMap config{{QStringLiteral("type"), 1}}; // list mode: no row needed to sync
    const QString dongle = QStringLiteral("bench");
    CConnectionWidget page(&msg, &logger, &config, &dongle);
    page.resize(1400, 700);
    page.show();
    page.on_buttonScan_clicked();
    for (int index = 0; index < kSyncs; ++index) {
        page.on_buttonSync_clicked();
        page.onRcvMsg(established(index));
    }
    QCoreApplication::processEvents();
    if (page.findChild<QComboBox*>(QStringLiteral("comboBox_peerAddr"))->count() != kSyncs) {
        std::printf("bench_periodic: the syncs did not stand\n");
        return 1;
    }

    // As fast as the page takes them, a hundred frames per turn of the event loop.
    QElapsedTimer timer;
    timer.start();
    qint64 count = 0;
    while (timer.elapsed() < 2000) {
        page.onRcvMsg(report(int(count % kSyncs), int(count)));
        if (++count % 100 == 0)
            QCoreApplication::processEvents();
    }
    QCoreApplication::processEvents();
    const double rate = count * 1000.0 / timer.elapsed();

    // Four trains at their pace for three seconds, delivered every millisecond as they fall due.
    GuiGapMeter meter;
    meter.setLimitMs(kGapLimitMs);
    QTimer feed;
    qint64 sent = 0;
    QElapsedTimer clock;
    QObject::connect(&feed, &QTimer::timeout, [&] {
        const qint64 due = qint64(clock.elapsed() * kReportsPerSecond / 1000);
        for (; sent < due; ++sent)
            page.onRcvMsg(report(int(sent % kSyncs), int(sent)));
    });
    clock.start();
    meter.start();
    feed.start(1);
    QTimer::singleShot(3000, &app, &QCoreApplication::quit);
    app.exec();

    const bool met = rate >= kReportsPerSecond && meter.longestGapMs() <= kGapLimitMs;
    std::printf("periodic reports, %d syncs, view shown: %10.0f reports/s\n", kSyncs, rate);
    std::printf("four trains of 7.5 ms (%.0f reports/s): longest GUI timer gap %lld ms (GUI thread busy %lld ms)\n",
                kReportsPerSecond, meter.longestGapMs(), meter.longestGapBusyMs());
    std::printf("bench_periodic: %.0f reports/s or more, gaps within %lld ms: %s\n", kReportsPerSecond, kGapLimitMs,
                met ? "met" : "missed");
    QDir(logger.logFolder()).removeRecursively();
    QDir().rmdir(LogManager::logRoot());
    return met ? 0 : 1;
}
