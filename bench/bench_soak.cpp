// A long run of five tabs on five simulated dongles (tarvine-sim with --baud-pace and the crowd-1000
// world), the first tab's Dongle Log in view. Each tab cycles: scan (half the cycles with its dongle
// flooding its log), stop, connect to a row, hold, disconnect. With --steady every tab scans and
// floods the whole time instead. Prints minute by minute the frames, log lines and reports a second,
// resident memory and the longest gap of a 10 ms GUI timer with the GUI thread's own time in it; at
// the end, per dongle, the frames the simulator sent (its trace) against those the tool took.
// Offscreen unless QT_QPA_PLATFORM says otherwise; scripts/soak runs it and looks for crashes.

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

#include <unistd.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>

#include "app/crashhandler.h"
#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "gap/cconnectionwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

#include "benchwait.h"
#include "guigapmeter.h"

namespace {

constexpr int kDongles = 5;
constexpr qint64 kMaxGapMs = 50;

double residentMegabytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    return statm.readAll().split(' ').value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// tarvine-sim on a port folder of this run, steered through its stdin, tracing every frame.
class Simulator
{
public:
    Simulator(const QString& folder, const QString& trace)
    {
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(folder));
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(TARVINE_SIM_PATH),
                        {"--dongles", QString::number(kDongles), "--world", QStringLiteral(CROWD_WORLD), "--dir",
                         folder, "--baud-pace", "--trace", trace});
    }
    ~Simulator() { quit(); }
    QString line()
    {
        waitFor([this] { return m_process.canReadLine() || m_process.state() == QProcess::NotRunning; }, 10000);
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }
    QString control(const QString& command)
    {
        m_process.write((command + QLatin1Char('\n')).toUtf8());
        return line();
    }
    void quit()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

private:
    QProcess m_process;
};

// Frames up each dongle's link in a trace, from its first reset completion on: what comes before
// it, the tool's parser drops unheard on purpose.
QVector<qint64> tracedUplinks(const QString& path)
{
    QVector<qint64> counts(kDongles, 0);
    QVector<bool> counting(kDongles, false);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return counts;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() < 4 || parts.at(2) != "up")
            continue;
        const int dongle = parts.at(1).toInt();
        if (dongle < 0 || dongle >= kDongles)
            continue;
        if (!counting[dongle] && line.contains(" up CC 00 02 01 00 00"))
            counting[dongle] = true;
        counts[dongle] += counting[dongle];
    }
    return counts;
}

// Drives one tab through the cycles, as a user at it would, and counts what its port hands on.
class SoakTab : public QObject
{
public:
    SoakTab(MainDongleWidget* tab, int dongle, Simulator* sim, bool steady, int floodRate)
        : m_tab(tab)
        , m_page(tab->connectionWidget())
        , m_dongle(dongle)
        , m_sim(sim)
        , m_steady(steady)
        , m_floodRate(floodRate)
    {
        CMsg* msg = tab->msg();
        for (const auto signal : {&CMsg::sig_rcvCommonMsg, &CMsg::sig_rcvGapMsg, &CMsg::sig_rcvSmMsg,
                                  &CMsg::sig_rcvGattMsg, &CMsg::sig_rcvL2capMsg, &CMsg::sig_rcvRfuMsg,
                                  &CMsg::sig_rcvBIGCIGMsg, &CMsg::sig_rcvDownLoadMsg, &CMsg::sig_rcvLCPMsg,
                                  &CMsg::sig_rcvIDTMsg})
            connect(msg, signal, this, [this](const QByteArray& frame) {
                ++frames;
                reports += frame.size() > 2 && frame.at(0) == char(0xDD) && frame.at(1) == 1 && frame.at(2) == 2;
            });
        connect(msg, &CMsg::sig_rcvDongleLog, this, [this] { ++frames, ++logLines; });
        connect(&m_step, &QTimer::timeout, this, &SoakTab::step);
    }

    void start()
    {
        enter(Scan);
        m_step.start(250);
    }

    // Back to rest: no scan, no flood, no link.
    void stop()
    {
        m_step.stop();
        flood(false);
        if (button("buttonScan")->text() == QLatin1String("Stop Scan"))
            button("buttonScan")->click();
        if (button("buttonConnect")->text() != QLatin1String("Connect") && button("buttonConnect")->isEnabled())
            button("buttonConnect")->click();
    }
    bool atRest() const
    {
        return button("buttonScan")->text() == QLatin1String("Start Scan")
               && button("buttonConnect")->text() == QLatin1String("Connect");
    }

    qint64 frames = 0, logLines = 0, reports = 0, links = 0;

private:
    enum Phase { Scan, StopScan, Connect, Hold, Disconnect };

    QToolButton* button(const char* name) const { return m_page->findChild<QToolButton*>(name); }
    void clickIf(const char* name, const char* text)
    {
        QToolButton* b = button(name);
        if (b->isEnabled() && b->text() == QLatin1String(text))
            b->click();
    }
    void flood(bool on)
    {
        if (on != m_flooding)
            m_sim->control(QStringLiteral("flood %1 %2").arg(m_dongle).arg(on ? m_floodRate : 0));
        m_flooding = on;
    }

    void enter(Phase phase)
    {
        m_phase = phase;
        m_since.start();
        switch (phase) {
        case Scan:
            clickIf("buttonScan", "Start Scan");
            flood(m_steady || m_cycle % 2 == 0);
            break;
        case StopScan:
            clickIf("buttonScan", "Stop Scan");
            flood(false);
            break;
        case Connect: {
            const int rows = m_page->model()->rowCount();
            if (rows == 0)
                return enter(Scan);
            auto* table = m_page->findChild<QTableView*>(QStringLiteral("tableView_devices"));
            const QModelIndex row = m_page->model()->index((m_cycle * 37) % rows, 0);
            table->setCurrentIndex(row);
            m_page->onTableView_devicesClicked(row);
            clickIf("buttonConnect", "Connect");
            break;
        }
        case Hold:
            ++links;
            break;
        case Disconnect:
            clickIf("buttonConnect", "Disconnect");
            break;
        }
    }

    void step()
    {
        const qint64 ms = m_since.elapsed();
        const QString connectText = button("buttonConnect")->text();
        switch (m_phase) {
        case Scan:
            if (!m_steady && ms > 20000)
                enter(StopScan);
            break;
        case StopScan:
            if (button("buttonScan")->text() == QLatin1String("Start Scan") || ms > 5000)
                enter(Connect);
            break;
        case Connect:
            if (connectText == QLatin1String("Disconnect")) {
                enter(Hold);
            } else if (ms > 15000) { // the peer never advertised again: give up, next cycle
                clickIf("buttonConnect", "Cancel");
                ++m_cycle;
                enter(Scan);
            }
            break;
        case Hold:
            if (ms > 5000)
                enter(Disconnect);
            break;
        case Disconnect:
            if (connectText == QLatin1String("Connect") || ms > 10000) {
                ++m_cycle;
                enter(Scan);
            }
            break;
        }
    }

    MainDongleWidget* m_tab;
    CConnectionWidget* m_page;
    int m_dongle;
    Simulator* m_sim;
    bool m_steady;
    int m_floodRate;
    bool m_flooding = false;
    int m_cycle = 0;
    Phase m_phase = Scan;
    QElapsedTimer m_since;
    QTimer m_step;
};

} // namespace

int main(int argc, char* argv[])
{
    CrashHandler::install();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption minutesOption("minutes", "How long to run (default 10).", "N", "10");
    const QCommandLineOption steadyOption("steady", "Every tab scans and floods the whole time.");
    const QCommandLineOption floodOption("flood", "Dongle log lines a second while flooding (default 1000).",
                                         "N", "1000");
    const QCommandLineOption workdirOption("workdir", "Where config.ini, the trace and crash dumps go.", "DIR");
    parser.addOptions({minutesOption, steadyOption, floodOption, workdirOption});
    parser.addHelpOption();
    parser.process(app);
    const int minutes = std::max(2, parser.value(minutesOption).toInt());
    const bool steady = parser.isSet(steadyOption);

    QTemporaryDir temporary;
    const QString workdir = parser.isSet(workdirOption) ? parser.value(workdirOption) : temporary.path();
    QDir().mkpath(workdir);
    QDir::setCurrent(workdir);
    LogManager::setDataRoot(workdir);
    QFile::remove(QStringLiteral("config.ini"));
    {
        QSettings config(QStringLiteral("config.ini"), QSettings::IniFormat);
        for (int i = 0; i < kDongles; ++i)
            config.setValue(QStringLiteral("Dongle%1/TabWidgetNumber").arg(i + 1), i);
    }
    const QString tracePath = QDir(workdir).filePath(QStringLiteral("trace.txt"));
    Simulator sim(QDir(workdir).filePath(QStringLiteral("ports")), tracePath);
    for (int i = 0; i < kDongles; ++i)
        if (!sim.line().startsWith(QStringLiteral("ttySIM"))) {
            std::printf("bench_soak: the simulator did not start\n");
            return 2;
        }

    MainWindow window;
    window.resize(1400, 900);
    window.show();
    auto* dongleTabs = window.findChild<QTabWidget*>(QStringLiteral("m_tabDongleWidget"));
    std::vector<std::unique_ptr<SoakTab>> tabs;
    for (int i = 0; i < kDongles; ++i) {
        MainDongleWidget* tab = window.tabs().at(i).first;
        dongleTabs->setCurrentIndex(i); // a tab builds its pages when first shown
        tabs.push_back(std::make_unique<SoakTab>(tab, i, &sim, steady, parser.value(floodOption).toInt()));
        if (tab->msg()->openPort(QStringLiteral("ttySIM%1").arg(i)) != 0) {
            std::printf("bench_soak: ttySIM%d does not open\n", i);
            return 2;
        }
        tab->onConnectionStatusChanged(true);
    }
    for (int i = 0; i < kDongles; ++i) {
        MainDongleWidget* tab = window.tabs().at(i).first;
        if (!waitFor([tab] { return !tab->config().value("profile").toByteArray().isEmpty(); }, 20000)) {
            std::printf("bench_soak: tab %d never finished its start-up\n", i + 1);
            return 2;
        }
        tabs[size_t(i)]->start();
    }
    dongleTabs->setCurrentIndex(0);
    window.tabs().at(0).first->findChild<QTabWidget*>(QStringLiteral("tabWidget_log"))->setCurrentIndex(1);

    GuiGapMeter gaps;
    gaps.start();

    const auto total = [&tabs](qint64 SoakTab::*count) {
        qint64 sum = 0;
        for (const auto& tab : tabs)
            sum += (*tab).*count;
        return sum;
    };
    std::printf("%s: five tabs, %d minutes\n", steady ? "scanning and flooding" : "soak cycles", minutes);
    std::printf("minute  frames/s  dongle log lines/s  scan reports/s  links  resident MB  longest GUI gap ms  of it busy ms\n");
    qint64 worstGap = 0;
    double memoryAfterFirst = 0, memoryAtEnd = 0;
    for (int minute = 1; minute <= minutes; ++minute) {
        const qint64 frames = total(&SoakTab::frames), lines = total(&SoakTab::logLines),
                     reports = total(&SoakTab::reports);
        gaps.reset();
        QElapsedTimer clock;
        clock.start();
        waitFor([&clock] { return clock.elapsed() >= 60000; }, 61000);
        const double seconds = clock.elapsed() / 1000.0;
        const double memory = residentMegabytes();
        std::printf("%6d  %8.0f  %18.0f  %14.0f  %5lld  %11.1f  %18lld  %15lld\n", minute,
                    (total(&SoakTab::frames) - frames) / seconds, (total(&SoakTab::logLines) - lines) / seconds,
                    (total(&SoakTab::reports) - reports) / seconds, static_cast<long long>(total(&SoakTab::links)),
                    memory, static_cast<long long>(gaps.longestGapMs()),
                    static_cast<long long>(gaps.longestGapBusyMs()));
        std::fflush(stdout);
        worstGap = std::max(worstGap, gaps.longestGapMs());
        if (minute == 1)
            memoryAfterFirst = memory;
        memoryAtEnd = memory;
    }

    // Quiet links: everything stopped, then the heartbeats left unanswered, so that no frame is
    // on its way when the tool's counts are taken.
    for (const auto& tab : tabs)
        tab->stop();
    waitFor([&tabs] { return std::all_of(tabs.begin(), tabs.end(), [](const auto& t) { return t->atRest(); }); },
            20000);
    for (int i = 0; i < kDongles; ++i)
        sim.control(QStringLiteral("mute %1 on").arg(i));
    QElapsedTimer settle;
    settle.start();
    waitFor([&settle] { return settle.elapsed() > 3000; }, 4000);
    QVector<qint64> taken;
    for (const auto& tab : tabs)
        taken.append(tab->frames);
    sim.quit();
    const QVector<qint64> sent = tracedUplinks(tracePath);

    std::printf("dongle  frames the simulator sent  frames the tool took  lost\n");
    qint64 lost = 0;
    for (int i = 0; i < kDongles; ++i) {
        std::printf("%6d  %25lld  %20lld  %4lld\n", i, static_cast<long long>(sent[i]),
                    static_cast<long long>(taken[i]), static_cast<long long>(sent[i] - taken[i]));
        lost += std::abs(sent[i] - taken[i]);
    }
    for (int i = 0; i < kDongles; ++i)
        window.tabs().at(i).first->prepareDelete();

    // Flat: within a tenth, or 10 MB, of what the first minute reached.
    const double growth = memoryAtEnd - memoryAfterFirst;
    const bool flat = growth <= std::max(10.0, memoryAfterFirst / 10);
    const bool met = worstGap < kMaxGapMs && flat && lost == 0;
    std::printf("bench_soak: longest GUI gap %lld ms (under %lld required), memory %+.1f MB after the first "
                "minute, %lld frames lost: %s\n",
                static_cast<long long>(worstGap), static_cast<long long>(kMaxGapMs), growth,
                static_cast<long long>(lost), met ? "met" : "missed");
    return met ? 0 : 1;
}
