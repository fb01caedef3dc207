// Test-mode reception end to end: a tab on a simulated dongle (tarvine-sim with --baud-pace) in
// LCP mode receives, with its LCP page shown, from transmitters that the simulator's `rftx` line
// plays on the same tuning, each a packet of 32 bytes every 10 ms. Afterwards every packet the
// simulator sent up (its trace) must be a row of the page's table, and the longest gap of a 10 ms
// GUI timer meanwhile must stay within 50 ms. Offscreen unless QT_QPA_PLATFORM says otherwise.
// Usage: bench_rftest_e2e [SECONDS] [TRANSMITTERS]

#include <algorithm>
#include <cstdio>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>

#include "benchsim.h"
#include "benchwait.h"
#include "guigapmeter.h"
#include "rftest/clcpwidget.h"
#include "rftest/rfrxtablemodel.h"

namespace {

constexpr qint64 kMaxGapMs = 50;
constexpr int kIntervalMs = 10;
const char* const kPayload = "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F";

int fail(const char* what)
{
    std::printf("bench_rftest_e2e: %s\n", what);
    return 2;
}

// The received packets that went up the simulator's line.
int sentPackets(const QString& tracePath)
{
    QFile trace(tracePath);
    if (!trace.open(QIODevice::ReadOnly | QIODevice::Text))
        return 0;
    int sent = 0;
    while (!trace.atEnd())
        sent += trace.readLine().contains(" up DD 09 05 ");
    return sent;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(2, atoi(argv[1])) : 30;
    const int transmitters = argc > 2 ? std::max(1, atoi(argv[2])) : 5;

    BenchSim sim;
    const QString tracePath = sim.workdir.filePath(QStringLiteral("trace.txt"));
    if (!sim.start(1, {"--baud-pace", "--trace", tracePath}))
        return fail("the simulator did not start");
    MainWindow window;
    window.resize(1400, 900);
    window.show();
    const char* why = nullptr;
    const QVector<MainDongleWidget*> tabs = openDongles(window, &why);
    if (tabs.isEmpty())
        return fail(why);
    MainDongleWidget* tab = tabs.first();
    tab->findChild<QToolButton*>(QStringLiteral("toolButton_lcp"))->click();
    auto* page = qobject_cast<CLCPwidget*>(tab->pageTabs()->currentWidget());
    if (!page)
        return fail("the LCP page did not open");
    page->findChild<QPushButton*>(QStringLiteral("btn_startlcp"))->click();
    page->findChild<QLineEdit*>(QStringLiteral("lineEdit_ChannelIndex"))->setText(QStringLiteral("37"));
    page->findChild<QLineEdit*>(QStringLiteral("lineEdit_TxPower"))->setText(QStringLiteral("0"));
    page->findChild<QPushButton*>(QStringLiteral("btn_set"))->click();
    page->findChild<QPushButton*>(QStringLiteral("btn_startrx"))->click();
    // The reception stands once the dongle acknowledged it.
    const auto receiving = [&tracePath] {
        QFile trace(tracePath);
        return trace.open(QIODevice::ReadOnly) && trace.readAll().contains(" up BB 09 05 01 00 00");
    };
    if (!waitFor(receiving, 5000))
        return fail("the dongle did not start receiving");

    GuiGapMeter gaps;
    gaps.setLimitMs(kMaxGapMs);
    gaps.start();
    const QString line = QStringLiteral("rftx %1 %2 lcp 2360 37 6730363B 555555 4C %3")
                             .arg(seconds * 1000 / kIntervalMs)
                             .arg(kIntervalMs)
                             .arg(QLatin1String(kPayload));
    for (int i = 0; i < transmitters; ++i) {
        if (sim.control(line) != QLatin1String("ok"))
            return fail("the simulator refused the transmitter");
    }
    QElapsedTimer clock;
    clock.start();
    RfRxTableModel* rows = page->rxModel();
    waitFor([&clock, seconds] { return clock.elapsed() >= seconds * 1000 + 500; }, seconds * 1000 + 1500);
    const qint64 longestGap = gaps.longestGapMs();
    const qint64 longestGapBusy = gaps.longestGapBusyMs();
    const int gapsOver = gaps.gapsOver();
    const double elapsed = clock.nsecsElapsed() / 1e9;

    int sent = 0;
    waitFor([&] { return (sent = sentPackets(tracePath)) == rows->rowCount() && sent > 0; }, 5000);
    const bool whole = sent > 0 && rows->rowCount() == sent;
    std::printf("%d transmitters of a 32-byte packet every %d ms for %.1f s, the LCP page shown\n", transmitters,
                kIntervalMs, elapsed);
    std::printf("the simulator sent %d packets up (%.0f a second), the table holds %d rows\n", sent, sent / elapsed,
                rows->rowCount());
    std::printf("longest gap of a 10 ms GUI timer: %lld ms, the GUI thread busy %lld ms of it; gaps over %lld ms: %d\n",
                static_cast<long long>(longestGap), static_cast<long long>(longestGapBusy),
                static_cast<long long>(kMaxGapMs), gapsOver);
    for (MainDongleWidget* dongle : tabs)
        dongle->prepareDelete();
    const bool met = whole && longestGap <= kMaxGapMs;
    std::printf("bench_rftest_e2e: every packet in the table and no GUI gap over %lld ms: %s\n",
                static_cast<long long>(kMaxGapMs), met ? "met" : "missed");
    return met ? 0 : 1;
}
