// Five tabs on five simulated dongles, each scanning the crowd-1000 world while flooding its dongle
// log, the first tab's Dongle Log in view. Prints, minute by minute, the lines and reports the tool
// took, its resident memory and the longest gap of a 10 ms GUI timer. Run by hand; offscreen
// unless QT_QPA_PLATFORM says otherwise. Usage: bench_flood [MINUTES] [LINES_PER_SECOND]

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "gap/cconnectionwidget.h"
#include "link/cmsg.h"

namespace {

constexpr int kDongles = 5;
constexpr qint64 kMaxGapMs = 100;

double residentMegabytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// Runs the event loop until `done` holds or the time is up.
bool waitFor(const std::function<bool()>& done, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > ms)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// tarvine-sim on a port folder of this run, steered through its stdin.
class Simulator
{
public:
    explicit Simulator(const QString& folder)
    {
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(folder));
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(TARVINE_SIM_PATH),
                        {"--dongles", QString::number(kDongles), "--world", QStringLiteral(CROWD_WORLD), "--dir",
                         folder, "--baud-pace"});
    }
    ~Simulator()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }
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

private:
    QProcess m_process;
};

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int minutes = argc > 1 ? std::max(2, atoi(argv[1])) : 3;
    const int linesPerSecond = argc > 2 ? atoi(argv[2]) : 1000;

    QTemporaryDir run;
    QDir::setCurrent(run.path());
    {
        QSettings config(QStringLiteral("config.ini"), QSettings::IniFormat);
        for (int i = 0; i < kDongles; ++i)
            config.setValue(QStringLiteral("Dongle%1/TabWidgetNumber").arg(i + 1), i);
    }
    Simulator sim(run.filePath(QStringLiteral("ports")));
    for (int i = 0; i < kDongles; ++i)
        if (!sim.line().startsWith(QStringLiteral("ttySIM"))) {
            std::printf("bench_flood: the simulator did not start\n");
            return 2;
        }

    MainWindow window;
    window.resize(1400, 900);
    window.show();
    auto* dongleTabs = window.findChild<QTabWidget*>(QStringLiteral("m_tabDongleWidget"));

    // Frames the tool took, counted where the port hands them to the pages.
    qint64 logLines = 0, reports = 0;
    for (int i = 0; i < kDongles; ++i) {
        MainDongleWidget* tab = window.tabs().at(i).first;
        dongleTabs->setCurrentIndex(i); // a tab builds its pages when first shown
        QObject::connect(tab->msg(), &CMsg::sig_rcvDongleLog, [&logLines] { ++logLines; });
        QObject::connect(tab->msg(), &CMsg::sig_rcvGapMsg, [&reports](const QByteArray& frame) {
            reports += frame.size() > 2 && frame.at(2) == 0x02;
        });
        if (tab->msg()->openPort(QStringLiteral("ttySIM%1").arg(i)) != 0) {
            std::printf("bench_flood: ttySIM%d does not open\n", i);
            return 2;
        }
        tab->onConnectionStatusChanged(true);
    }
    for (int i = 0; i < kDongles; ++i) {
        MainDongleWidget* tab = window.tabs().at(i).first;
        if (!waitFor([tab] { return !tab->config().value("profile").toByteArray().isEmpty(); }, 20000)) {
            std::printf("bench_flood: tab %d never finished its start-up\n", i + 1);
            return 2;
        }
        tab->connectionWidget()->findChild<QToolButton*>(QStringLiteral("buttonScan"))->click();
        sim.control(QStringLiteral("flood %1 %2").arg(i).arg(linesPerSecond));
    }
    dongleTabs->setCurrentIndex(0);
    window.tabs().at(0).first->findChild<QTabWidget*>(QStringLiteral("tabWidget_log"))->setCurrentIndex(1);

    QElapsedTimer sinceTick;
    qint64 minuteGap = 0;
    QTimer gapTimer;
    gapTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&gapTimer, &QTimer::timeout, [&] { minuteGap = std::max(minuteGap, sinceTick.restart()); });
    sinceTick.start();
    gapTimer.start(10);

    std::printf("minute  dongle log lines/s  scan reports/s  resident MB  longest GUI gap ms\n");
    qint64 worstGap = 0;
    double memoryAfterFirst = 0, memoryAtEnd = 0;
    for (int minute = 1; minute <= minutes; ++minute) {
        const qint64 linesBefore = logLines, reportsBefore = reports;
        minuteGap = 0;
        QElapsedTimer clock;
        clock.start();
        waitFor([&clock] { return clock.elapsed() >= 60000; }, 61000);
        const double seconds = clock.elapsed() / 1000.0;
        const double memory = residentMegabytes();
        std::printf("%6d  %18.0f  %14.0f  %11.1f  %18lld\n", minute, (logLines - linesBefore) / seconds,
                    (reports - reportsBefore) / seconds, memory, static_cast<long long>(minuteGap));
        std::fflush(stdout);
        worstGap = std::max(worstGap, minuteGap);
        if (minute == 1)
            memoryAfterFirst = memory;
        memoryAtEnd = memory;
    }

    for (int i = 0; i < kDongles; ++i) {
        sim.control(QStringLiteral("flood %1 0").arg(i));
        window.tabs().at(i).first->prepareDelete();
    }
    // Flat: within a tenth, or 10 MB, of what the first minute reached.
    const double growth = memoryAtEnd - memoryAfterFirst;
    const bool flat = growth <= std::max(10.0, memoryAfterFirst / 10);
    const bool met = worstGap < kMaxGapMs && flat;
    std::printf("bench_flood: longest GUI gap %lld ms (under %lld required), memory %+.1f MB after the first "
                "minute: %s\n",
                static_cast<long long>(worstGap), static_cast<long long>(kMaxGapMs), growth, met ? "met" : "missed");
    return met ? 0 : 1;
}
