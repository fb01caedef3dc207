// Notifications end to end: five tabs on five simulated dongles (tarvine-sim with --baud-pace and
// the gatt-bench world), each connected from its Master page to a device of twelve heart-rate
// measurements that notify every 10 ms, its GATT tab discovered and every notification switched on
// there. Prints the notifications a second that the five GATT pages took into their trees, link
// by link, and the longest gap of a 10 ms GUI timer meanwhile. Offscreen unless QT_QPA_PLATFORM
// says otherwise. Usage: bench_gatt_e2e [SECONDS]

#include <algorithm>
#include <cstdio>
#include <functional>

#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"
#include "gatt/cgattwidget.h"
#include "gatt/treemodel.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

#include "benchconnect.h"
#include "benchsim.h"
#include "benchwait.h"
#include "guigapmeter.h"

namespace {

constexpr int kDongles = 5;
constexpr int kMeasurements = 12;
constexpr int kNotifyEveryMs = 10;
constexpr double kRequiredRate = 5000;
constexpr qint64 kMaxGapMs = 50;
// A notification of a two-byte value: header, condix, type, handle, value, checksum.
constexpr int kFrameBytes = 5 + 1 + 1 + 2 + 2 + 1;

// Seconds of CPU that a process has used, from /proc.
double cpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    // Past the command's name, which may hold blanks: utime and stime are fields 14 and 15.
    const QList<QByteArray> fields = stat.readAll().split(')').last().trimmed().split(' ');
    return fields.size() > 12 ? (fields.at(11).toDouble() + fields.at(12).toDouble()) / double(sysconf(_SC_CLK_TCK)) : 0;
}

int fail(const char* what, int tab)
{
    std::printf("bench_gatt_e2e: tab %d: %s\n", tab + 1, what);
    return 2;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(2, atoi(argv[1])) : 10;

    BenchSim sim;
    if (!sim.start(kDongles, {"--world", QStringLiteral(GATT_BENCH_WORLD), "--baud-pace"})) {
        std::printf("bench_gatt_e2e: the simulator did not start\n");
        return 2;
    }
    MainWindow window;
    window.resize(1400, 900);
    window.show();
    const char* why = nullptr;
    const QVector<MainDongleWidget*> tabs = openDongles(window, &why);
    if (tabs.isEmpty()) {
        std::printf("bench_gatt_e2e: %s\n", why);
        return 2;
    }

    // Each tab connects from its Master page to its own copy of the device.
    QVector<CGattWidget*> panels;
    for (int i = 0; i < kDongles; ++i) {
        CLayerWidget* layer = connectFromMaster(tabs[i], QStringLiteral("c6:5a:30:00:00:0%1").arg(i), &why);
        if (!layer)
            return fail(why, i);
        layer->pages()->setCurrentWidget(layer->gattPage());
        panels.append(layer->gattPage());
    }
    // Discovered, then every notification switched on; each batch ends with its read-back.
    for (const char* name : {"toolButton_dicoverAllAttr", "toolButton_enableNotifyAndIndicate"}) {
        for (CGattWidget* panel : panels)
            panel->findChild<QToolButton*>(name)->click();
        for (int i = 0; i < kDongles; ++i) {
            QToolButton* button = panels[i]->findChild<QToolButton*>(name);
            if (!waitFor([button] { return button->isEnabled(); }, 30000))
                return fail(name, i);
        }
    }

    // Each notification that a page takes changes a value cell of its tree.
    QVector<qint64> taken(kDongles, 0);
    for (int i = 0; i < kDongles; ++i)
        QObject::connect(panels[i]->tree(), &QAbstractItemModel::dataChanged, [&taken, i] { ++taken[i]; });
    waitFor([] { return false; }, 1000); // the links settle into their pace

    GuiGapMeter gaps;
    gaps.setLimitMs(kMaxGapMs);
    const QVector<qint64> before = taken;
    const double toolBefore = cpuSeconds(QCoreApplication::applicationPid());
    const double simBefore = cpuSeconds(sim.processId());
    QElapsedTimer clock;
    clock.start();
    gaps.start();
    waitFor([&clock, seconds] { return clock.elapsed() >= seconds * 1000; }, seconds * 1000 + 1000);
    const qint64 longestGap = gaps.longestGapMs();
    const double elapsed = clock.nsecsElapsed() / 1e9;
    const double toolShare = (cpuSeconds(QCoreApplication::applicationPid()) - toolBefore) / elapsed;
    const double simShare = (cpuSeconds(sim.processId()) - simBefore) / elapsed;

    const double offered = 1000.0 / kNotifyEveryMs * kMeasurements;
    std::printf("five links, %d measurements each notifying every %d ms: %.0f notifications/s offered a link\n",
                kMeasurements, kNotifyEveryMs, offered);
    std::printf("a 460800-baud line carries %d such frames a second, 70 %% of it for bulk traffic %d\n",
                46080 / kFrameBytes, int(46080 * 0.7) / kFrameBytes);
    std::printf("link  notifications/s taken\n");
    double total = 0;
    for (int i = 0; i < kDongles; ++i) {
        const double rate = (taken[i] - before[i]) / elapsed;
        total += rate;
        std::printf("%4d  %23.0f\n", i, rate);
    }
    std::printf("all   %23.0f\nlongest gap of a 10 ms GUI timer: %lld ms, the GUI thread busy %lld ms of it; gaps over "
                "%lld ms: %d\n",
                total, static_cast<long long>(longestGap), static_cast<long long>(gaps.longestGapBusyMs()),
                static_cast<long long>(kMaxGapMs), gaps.gapsOver());
    std::printf("CPU: the tool %.0f %% of a core, the simulator %.0f %%\n", toolShare * 100, simShare * 100);

    for (CGattWidget* panel : panels)
        panel->findChild<QToolButton*>("toolButton_disableNotifyAndIndicate")->click();
    waitFor([&panels] {
        return std::all_of(panels.begin(), panels.end(), [](CGattWidget* p) {
            return p->findChild<QToolButton*>("toolButton_disableNotifyAndIndicate")->isEnabled();
        });
    }, 30000);
    for (MainDongleWidget* tab : tabs)
        tab->prepareDelete();

    const bool met = total >= kRequiredRate && longestGap <= kMaxGapMs;
    std::printf("bench_gatt_e2e: at least %.0f notifications/s and no GUI gap over %lld ms: %s\n", kRequiredRate,
                static_cast<long long>(kMaxGapMs), met ? "met" : "missed");
    return met ? 0 : 1;
}
