// Isochronous streams end to end: a tab on a simulated dongle (tarvine-sim with --baud-pace and
// the default world) connects to the heart-rate sensor, sets a group of two streams at a 10 ms
// SDU interval, creates them and opens their data paths, and receives with the CIG/CIS page
// shown. Afterwards every SDU the simulator sent (its trace) must be a line of its stream's file,
// and the longest gap of a 10 ms GUI timer meanwhile must stay within 50 ms. Offscreen unless
// QT_QPA_PLATFORM says otherwise. Usage: bench_iso_e2e [SECONDS]

#include <algorithm>
#include <cstdio>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>

#include "benchconnect.h"
#include "benchsim.h"
#include "benchwait.h"
#include "cigcisflow.h"
#include "gap/cconnectionwidget.h"
#include "guigapmeter.h"
#include "iso/manageciswidget.h"

namespace {

const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
constexpr int kStreams = 2;
constexpr qint64 kMaxGapMs = 50;

int fail(const char* what)
{
    std::printf("bench_iso_e2e: %s\n", what);
    return 2;
}

int lineCount(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

// The SDUs of each stream that went up the simulator's line, by connection handle.
QMap<quint16, int> sentSdus(const QString& tracePath)
{
    QMap<quint16, int> sent;
    QFile trace(tracePath);
    if (!trace.open(QIODevice::ReadOnly | QIODevice::Text))
        return sent;
    while (!trace.atEnd()) {
        const QList<QByteArray> parts = trace.readLine().trimmed().split(' ');
        if (parts.size() < 4 || parts.at(2) != "up")
            continue;
        const QByteArray frame = QByteArray::fromHex(parts.mid(3).join());
        if (frame.startsWith(QByteArray::fromHex("dd060f")) && frame.size() > 6)
            ++sent[quint16(quint8(frame.at(5)) | quint8(frame.at(6)) << 8)];
    }
    return sent;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(2, atoi(argv[1])) : 60;

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
    if (!connectFromMaster(tab, kSensor, &why))
        return fail(why);

    tab->pageTabs()->setCurrentIndex(0);
    tab->connectionWidget()->findChild<QToolButton*>(QStringLiteral("buttonCIGCIS"))->click();
    auto* page = qobject_cast<CCigCisWidget*>(tab->pageTabs()->currentWidget());
    if (!page)
        return fail("the CIG/CIS page did not open");
    cigcis::defineAndSetGroup(page, kStreams, {{"sdu_interval_m2s", "10000"}, {"sdu_interval_s2m", "10000"}},
                              {{"phy_m2s", "2"}, {"phy_s2m", "2"}});
    if (!waitFor([page] { return !page->cisModel()->at(kStreams - 1).connection_handle.isEmpty(); }, 10000))
        return fail("the group was not set");
    cigcis::createAll(page);
    if (!waitFor([page] { return cigcis::allConnected(page); }, 20000))
        return fail("the streams were not established");
    QVector<manageCISWidget*> streams;
    for (auto it = page->manageCisPages().cbegin(); it != page->manageCisPages().cend(); ++it) {
        if (it.key() != 0xFFF)
            streams.append(it.value());
    }
    // The first stream's page is the one shown, as a user pressing its row sees it.
    page->on_manageCIS_changed(page->cisModel()->index(0, 0));

    GuiGapMeter gaps;
    gaps.setLimitMs(kMaxGapMs);
    gaps.start();
    for (manageCISWidget* stream : qAsConst(streams))
        cigcis::openDataPaths(stream);
    QElapsedTimer clock;
    clock.start();
    waitFor([&clock, seconds] { return clock.elapsed() >= seconds * 1000; }, seconds * 1000 + 1000);
    // Read now: what follows is the benchmark's own reading of the trace, on the GUI thread.
    const qint64 longestGap = gaps.longestGapMs();
    const qint64 longestGapBusy = gaps.longestGapBusyMs();
    const int gapsOver = gaps.gapsOver();

    // The output paths close; what is under way drains into the files.
    for (manageCISWidget* stream : qAsConst(streams)) {
        stream->findChild<QComboBox*>(QStringLiteral("comboBox_direction"))->setCurrentIndex(1);
        stream->findChild<QPushButton*>(QStringLiteral("pushButton_remove"))->click();
    }
    const double elapsed = clock.nsecsElapsed() / 1e9;
    QMap<quint16, int> sent;
    waitFor([&] {
        sent = sentSdus(tracePath);
        for (manageCISWidget* stream : qAsConst(streams))
            if (lineCount(stream->receiveFilePath()) != sent.value(stream->streamHandle().toUShort()))
                return false;
        return true;
    }, 5000);

    bool whole = true;
    std::printf("%d streams at a 10 ms SDU interval for %.1f s, the CIG/CIS page shown\n", kStreams, elapsed);
    for (manageCISWidget* stream : qAsConst(streams)) {
        const int lines = lineCount(stream->receiveFilePath());
        const int fromSim = sent.value(stream->streamHandle().toUShort());
        std::printf("stream %s: the simulator sent %d SDUs (%.1f a second), the file holds %d\n",
                    qPrintable(stream->streamHandle()), fromSim, fromSim / elapsed, lines);
        whole = whole && fromSim > 0 && lines == fromSim;
    }
    std::printf("longest gap of a 10 ms GUI timer: %lld ms, the GUI thread busy %lld ms of it; gaps over %lld ms: %d\n",
                static_cast<long long>(longestGap), static_cast<long long>(longestGapBusy),
                static_cast<long long>(kMaxGapMs), gapsOver);
    for (MainDongleWidget* dongle : tabs)
        dongle->prepareDelete();
    const bool met = whole && longestGap <= kMaxGapMs;
    std::printf("bench_iso_e2e: every SDU in its file and no GUI gap over %lld ms: %s\n",
                static_cast<long long>(kMaxGapMs), met ? "met" : "missed");
    return met ? 0 : 1;
}
