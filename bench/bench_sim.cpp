// Five simulated dongles scanning the crowd-1000 world at once, paced at 460800 baud: the bytes
// per second on each link, how long heartbeats wait for their ack, and the simulator's share of
// one core. With FLOOD_LINES_PER_SECOND each dongle also floods its log at that rate.
// Run by hand: build/bench/bench_sim [SECONDS] [FLOOD_LINES_PER_SECOND]

#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QVector>

namespace {

constexpr int Dongles = 5;
constexpr double MaxLinkBytesPerSecond = 46080;
constexpr qint64 MaxHeartbeatMs = 100;
constexpr double MaxCoreShare = 0.25;
constexpr qint64 WarmUpMs = 1000;

const QByteArray Reset = QByteArray::fromHex("AA00010000 55");
const QByteArray HeartBeat = QByteArray::fromHex("AA01840000 D1");
// Active, every event heard (window 10 ms in 10 ms), no duration, no duplicate filter.
const QByteArray StartScan = QByteArray::fromHex("AA013D1000 0205 1000 1000 1000 1000 0000 0000 00 00 C1");

struct Dongle {
    int fd = -1;
    QByteArray input;
    qint64 bytes = 0; // after the warm-up
    qint64 heartbeatSentAt = -1;
    qint64 worstHeartbeatMs = 0;
    int heartbeats = 0;
};

// utime + stime of a process, in clock ticks.
qint64 cpuTicks(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    // The fields after the command name, which ends with the last ')'.
    const QList<QByteArray> fields = stat.readAll().split(')').last().trimmed().split(' ');
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

int openRaw(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return -1;
    termios tio{};
    ::tcgetattr(fd, &tio);
    ::cfmakeraw(&tio);
    ::cfsetispeed(&tio, B460800);
    ::cfsetospeed(&tio, B460800);
    ::tcsetattr(fd, TCSANOW, &tio);
    return fd;
}

// Takes whole frames off the front of the input; true for each heartbeat ack among them.
int heartbeatAcks(QByteArray* input)
{
    int acks = 0;
    while (input->size() >= 5) {
        const int size = quint8(input->at(3)) + quint8(input->at(4)) * 256 + 6;
        if (input->size() < size)
            break;
        if (input->startsWith(QByteArray::fromHex("BB0184")))
            ++acks;
        input->remove(0, size);
    }
    return acks;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const qint64 runMs = (argc > 1 ? QByteArray(argv[1]).toInt() : 10) * 1000;
    const int floodRate = argc > 2 ? QByteArray(argv[2]).toInt() : 0;

    QTemporaryDir folder;
    qputenv("TARVINE_SIM_DIR", QFile::encodeName(folder.path()));
    QProcess sim;
    sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    sim.start(QStringLiteral(TARVINE_SIM_PATH),
              {"--dongles", QString::number(Dongles), "--world", QStringLiteral(WORLDS_DIR "crowd-1000.json"),
               "--baud-pace", "--dir", folder.path()});
    QVector<Dongle> dongles(Dongles);
    for (int n = 0; n < Dongles; ++n) {
        while (!sim.canReadLine() && sim.waitForReadyRead(10000)) {
        }
        sim.readLine();
        dongles[n].fd = openRaw(folder.filePath(QStringLiteral("ttySIM%1").arg(n)));
        if (dongles[n].fd < 0) {
            std::fprintf(stderr, "bench_sim: ttySIM%d did not come up\n", n);
            return 1;
        }
    }

    for (Dongle& d : dongles) {
        [[maybe_unused]] const ssize_t written = ::write(d.fd, Reset.constData(), size_t(Reset.size()));
    }
    QElapsedTimer clock;
    clock.start();
    bool scanning = false;
    qint64 nextBeat = WarmUpMs;
    qint64 ticksAtWarmUp = 0;
    while (clock.elapsed() < WarmUpMs + runMs) {
        QVector<pollfd> fds;
        for (const Dongle& d : dongles)
            fds.append({d.fd, POLLIN, 0});
        ::poll(fds.data(), nfds_t(fds.size()), 1);
        const qint64 now = clock.elapsed();
        for (Dongle& d : dongles) {
            char buffer[65536];
            for (ssize_t n; (n = ::read(d.fd, buffer, sizeof buffer)) > 0;) {
                d.input.append(buffer, int(n));
                if (now >= WarmUpMs)
                    d.bytes += n;
            }
            if (heartbeatAcks(&d.input) > 0 && d.heartbeatSentAt >= 0) {
                d.worstHeartbeatMs = qMax(d.worstHeartbeatMs, now - d.heartbeatSentAt);
                ++d.heartbeats;
                d.heartbeatSentAt = -1;
            }
        }
        // The scans start once the resets are through; the heartbeats, a second apart, once the
        // link is full of reports.
        if (!scanning && now > 200) {
            for (Dongle& d : dongles) {
                [[maybe_unused]] const ssize_t written = ::write(d.fd, StartScan.constData(), size_t(StartScan.size()));
            }
            for (int n = 0; floodRate > 0 && n < Dongles; ++n)
                sim.write(QStringLiteral("flood %1 %2\n").arg(n).arg(floodRate).toLatin1());
            sim.waitForBytesWritten(1000); // no event loop runs here to write it
            scanning = true;
        }
        if (now >= nextBeat) {
            if (ticksAtWarmUp == 0)
                ticksAtWarmUp = cpuTicks(sim.processId());
            for (Dongle& d : dongles) {
                if (d.heartbeatSentAt >= 0) // never answered
                    d.worstHeartbeatMs = qMax(d.worstHeartbeatMs, now - d.heartbeatSentAt);
                d.heartbeatSentAt = now;
                [[maybe_unused]] const ssize_t written = ::write(d.fd, HeartBeat.constData(), size_t(HeartBeat.size()));
            }
            nextBeat += 1000;
        }
    }
    const double seconds = runMs / 1000.0;
    const double coreShare = double(cpuTicks(sim.processId()) - ticksAtWarmUp) / ::sysconf(_SC_CLK_TCK) / seconds;

    bool ok = coreShare < MaxCoreShare;
    std::printf("%d dongles scanning crowd-1000 with --baud-pace for %.0f s", Dongles, seconds);
    if (floodRate > 0)
        std::printf(", each flooding its log with %d lines a second", floodRate);
    std::printf("\n");
    for (int n = 0; n < Dongles; ++n) {
        const Dongle& d = dongles[n];
        const double rate = d.bytes / seconds;
        const bool linkOk = rate < MaxLinkBytesPerSecond && d.heartbeats > 0 && d.worstHeartbeatMs <= MaxHeartbeatMs;
        ok = ok && linkOk;
        std::printf("  ttySIM%d: %8.0f B/s (limit %.0f), %2d heartbeats, slowest ack %3lld ms (limit %lld)  %s\n", n,
                    rate, MaxLinkBytesPerSecond, d.heartbeats, d.worstHeartbeatMs, MaxHeartbeatMs, linkOk ? "ok" : "FAIL");
    }
    std::printf("  simulator: %.1f %% of one core (limit %.0f %%)  %s\n", coreShare * 100, MaxCoreShare * 100,
                coreShare < MaxCoreShare ? "ok" : "FAIL");

    for (const Dongle& d : dongles)
        ::close(d.fd);
    sim.closeWriteChannel();
    if (!sim.waitForFinished(5000))
        sim.kill();
    return ok ? 0 : 1;
}
