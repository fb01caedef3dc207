#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>

#include "simulator.h"

namespace {

// The longest control line: an inject of the longest frame in hex, with room to spare.
constexpr int MaxLineBytes = 1 << 20;

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(signalPipe[1], &byte, 1);
}

void printLine(const QString& line)
{
    std::fputs(qPrintable(line + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarvine-sim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Virtual BLE dongles on pseudo-terminals.\n\n"
        "Lines on stdin steer it, each answered \"ok\" or \"error: ...\":\n"
        "  unplug N, plug N          the link goes and comes back\n"
        "  mute N on|off             leave the heartbeat unanswered\n"
        "  mute N MM on|off          send no ack or result of module MM (two hex digits)\n"
        "  status N MM@OO CODE       ack that command with this status from now on (0 undoes)\n"
        "  inject N HEX              raw bytes up the link\n"
        "  log N TEXT                a dongle log line\n"
        "  drop N CONDIX             the peer of that connection goes away (reason 0x13)\n"
        "  flood N LINES_PER_SECOND  log lines at that rate, 0 stops (at most 1000)\n"
        "  rftx N INTERVAL_MS lcp FREQUENCY CHANNEL_INDEX ACCESS_ADDRESS CRC_INIT HEADER PAYLOAD\n"
        "  rftx N INTERVAL_MS idt CHANNEL_NUM ACCESS_ADDRESS PAYLOAD\n"
        "                            a test-mode transmitter: N packets, the first at once\n"
        "  loader N start|flash|end|reset refuse|silent|normal\n"
        "                            the firmware loader fails that step, with status 2 or no answer\n"
        "  loader N normal           every step as it should be again\n"
        "  bond N ADDRESS TYPE [IRK]  a bond with that peer, as an earlier pairing left it\n"
        "  lose N INDEX              the train of that periodic sync is lost\n"
        "  passkey N                 the passkey shown by the device that dongle N pairs with\n"
        "  quit"));
    parser.addHelpOption();
    const QCommandLineOption dongles(QStringLiteral("dongles"), QStringLiteral("Number of dongles."),
                                     QStringLiteral("N"), QStringLiteral("1"));
    const QCommandLineOption world(QStringLiteral("world"), QStringLiteral("JSON world file."),
                                   QStringLiteral("FILE"));
    const QCommandLineOption dir(QStringLiteral("dir"), QStringLiteral("Port folder."),
                                 QStringLiteral("PORT_FOLDER"));
    const QCommandLineOption trace(QStringLiteral("trace"), QStringLiteral("Write every frame to FILE."),
                                   QStringLiteral("FILE"));
    const QCommandLineOption pace(QStringLiteral("baud-pace"),
                                  QStringLiteral("Deliver uplink bytes no faster than 460800 baud."));
    parser.addOptions({dongles, world, dir, trace, pace});
    parser.process(app);

    Simulator::Options options;
    bool ok = false;
    options.dongles = parser.value(dongles).toInt(&ok);
    if (!ok || options.dongles < 1 || options.dongles > 16) {
        std::fprintf(stderr, "tarvine-sim: --dongles takes 1 to 16\n");
        return 2;
    }
    options.worldFile = parser.value(world);
    options.folder = parser.value(dir);
    options.traceFile = parser.value(trace);
    options.baudPace = parser.isSet(pace);

    // Signals end the event loop through a pipe, so that the links are removed on the way out.
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) == 0) {
        auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
        QObject::connect(notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGTERM, &action, nullptr);
        ::sigaction(SIGINT, &action, nullptr);
        ::sigaction(SIGHUP, &action, nullptr);
    }

    Simulator simulator;
    QString error;
    if (!simulator.start(options, &error)) {
        std::fprintf(stderr, "tarvine-sim: %s\n", qPrintable(error));
        return 1;
    }
    for (const QString& line : simulator.portLines())
        printLine(line);
    QObject::connect(&simulator, &Simulator::quitAsked, &app, &QCoreApplication::quit, Qt::QueuedConnection);

    QByteArray input;
    bool overlong = false; // the rest of a line past MaxLineBytes goes unread
    QSocketNotifier stdinNotifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&stdinNotifier, &QSocketNotifier::activated, &app, [&] {
        char buffer[4096];
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            stdinNotifier.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        input.append(buffer, int(n));
        for (int end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            const QString line = QString::fromUtf8(input.left(end));
            input.remove(0, end + 1);
            if (std::exchange(overlong, false))
                printLine(QStringLiteral("error: line longer than %1 bytes").arg(MaxLineBytes));
            else if (!line.trimmed().isEmpty())
                printLine(simulator.control(line));
        }
        // A writer that never ends its line must not eat the machine.
        if (input.size() > MaxLineBytes) {
            input.clear();
            overlong = true;
        }
    });

    return app.exec();
}
