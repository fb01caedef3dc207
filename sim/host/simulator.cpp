#include "simulator.h"

#include <unistd.h>

#include <algorithm>

#include <QDir>
#include <QHash>
#include <QRegularExpression>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/devicelistsengine.h"
#include "dongle/loaderengine.h"
#include "dongle/logflood.h"
#include "dongle/periodicsyncengine.h"
#include "dongle/rftestengine.h"
#include "dongle/securityengine.h"
#include "dongle/virtualdongle.h"
#include "portfolderlock.h"
#include "proto/simframe.h"
#include "ptyendpoint.h"
#include "world/worldloader.h"

Simulator::Simulator(QObject* parent)
    : QObject(parent)
{
    m_clock.start();
    m_air = new VirtualAir(this);
}

Simulator::~Simulator()
{
    // Links go first, so that the port folder is clean even if anything later fails.
    for (PtyEndpoint* endpoint : qAsConst(m_endpoints))
        endpoint->close();
}

QString Simulator::defaultFolder()
{
    const QString explicitDir = QString::fromLocal8Bit(qgetenv("TARVINE_SIM_DIR"));
    if (!explicitDir.isEmpty())
        return explicitDir;
    const QString runtimeDir = QString::fromLocal8Bit(qgetenv("XDG_RUNTIME_DIR"));
    if (!runtimeDir.isEmpty())
        return runtimeDir + QStringLiteral("/tarvine-sim");
    return QStringLiteral("/tmp/tarvine-sim-%1").arg(uint(::getuid()));
}

bool Simulator::start(const Options& options, QString* error)
{
    if (!options.worldFile.isEmpty()) {
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader(options.worldFile);
        if (!loader.load(&devices)) {
            if (error)
                *error = loader.error();
            return false;
        }
        m_air->setWorld(devices);
    }
    const QString folder = options.folder.isEmpty() ? defaultFolder() : options.folder;
    if (!QDir().mkpath(folder)) {
        if (error)
            *error = QStringLiteral("cannot make the port folder %1").arg(folder);
        return false;
    }
    m_lock = std::make_unique<PortFolderLock>(folder);
    QString lockError;
    if (!m_lock->acquire(&lockError)) {
        if (error)
            *error = lockError;
        return false;
    }
    // Only now: a trace of the same name may be another simulator's.
    if (!options.traceFile.isEmpty()) {
        m_trace = std::make_unique<QFile>(options.traceFile);
        if (!m_trace->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
            if (error)
                *error = QStringLiteral("cannot write %1").arg(options.traceFile);
            return false;
        }
    }
    for (int n = 0; n < options.dongles; ++n) {
        auto* dongle = new VirtualDongle(n, m_air, this);
        auto* endpoint = new PtyEndpoint(folder, QStringLiteral("ttySIM%1").arg(n), this);
        endpoint->setBaudPace(options.baudPace);
        m_dongles.append(dongle);
        m_endpoints.append(endpoint);
        connect(endpoint, &PtyEndpoint::received, dongle, &VirtualDongle::feed);
        connect(dongle, &VirtualDongle::downlinkFrame, this,
                [this, n](const QByteArray& frame) { trace(n, "down", frame); });
        connect(dongle, &VirtualDongle::uplink, endpoint, &PtyEndpoint::write);
        // Traced once on the line, not when queued: the trace is what the tool was given.
        connect(endpoint, &PtyEndpoint::delivered, this, [this, n](const QByteArray& frame) { trace(n, "up", frame); });
        if (!endpoint->open(error))
            return false;
    }
    return true;
}

QStringList Simulator::portLines() const
{
    QStringList lines;
    for (const PtyEndpoint* endpoint : m_endpoints)
        lines.append(endpoint->portName() + QStringLiteral(" -> ") + endpoint->slavePath());
    return lines;
}

VirtualDongle* Simulator::dongle(int n) const
{
    return n >= 0 && n < m_dongles.size() ? m_dongles.at(n) : nullptr;
}

void Simulator::trace(int dongle, const char* direction, const QByteArray& bytes)
{
    if (!m_trace)
        return;
    const QByteArray line = QByteArray::number(m_clock.elapsed()) + ' ' + QByteArray::number(dongle) + ' '
                            + direction + ' ' + bytes.toHex(' ').toUpper() + '\n';
    m_trace->write(line);
    m_trace->flush();
}

QString Simulator::control(const QString& line)
{
    const QString trimmed = line.trimmed();
    const QString verb = trimmed.section(QLatin1Char(' '), 0, 0);
    if (verb.isEmpty())
        return QStringLiteral("error: empty line");
    if (verb == QLatin1String("quit")) {
        emit quitAsked();
        return QStringLiteral("ok");
    }
    // A transmitter in the air, no dongle's.
    if (verb == QLatin1String("rftx"))
        return startRfTransmitter(trimmed.section(QLatin1Char(' '), 1).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    bool numberOk = false;
    const int n = trimmed.section(QLatin1Char(' '), 1, 1).toInt(&numberOk);
    const QString rest = trimmed.section(QLatin1Char(' '), 2);
    static const QStringList verbs = {"unplug", "plug", "mute", "status", "inject", "log", "drop", "flood", "request", "loader", "bond", "lose", "passkey"};
    if (!verbs.contains(verb))
        return QStringLiteral("error: unknown command \"%1\"").arg(verb);
    if (!numberOk || !dongle(n))
        return QStringLiteral("error: no dongle \"%1\"").arg(trimmed.section(QLatin1Char(' '), 1, 1));
    VirtualDongle* d = m_dongles.at(n);
    PtyEndpoint* endpoint = m_endpoints.at(n);

    if (verb == QLatin1String("unplug")) {
        if (!endpoint->isOpen())
            return QStringLiteral("error: dongle %1 is unplugged already").arg(n);
        endpoint->close();
        d->powerCycle();
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("plug")) {
        if (endpoint->isOpen())
            return QStringLiteral("error: dongle %1 is plugged in already").arg(n);
        QString error;
        if (!endpoint->open(&error))
            return QStringLiteral("error: ") + error;
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("mute")) {
        const QStringList words = rest.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        const QString state = words.value(words.size() - 1);
        bool moduleOk = words.size() == 1;
        const uint module = words.size() == 2 && words.at(0).size() == 2 ? words.at(0).toUInt(&moduleOk, 16) : 0;
        if (!moduleOk || (state != QLatin1String("on") && state != QLatin1String("off")))
            return QStringLiteral("error: mute takes on or off, after a module in two hex digits or none");
        if (words.size() == 1)
            d->setMuted(state == QLatin1String("on"));
        else
            d->setModuleMuted(quint8(module), state == QLatin1String("on"));
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("status")) {
        const QString id = rest.section(QLatin1Char(' '), 0, 0).toUpper();
        bool codeOk = false;
        const uint code = rest.section(QLatin1Char(' '), 1, 1).toUInt(&codeOk, 0);
        static const QRegularExpression idPattern(
            QRegularExpression::anchoredPattern(QStringLiteral("[0-9A-F]{2}@[0-9A-F]{2}")));
        if (!idPattern.match(id).hasMatch())
            return QStringLiteral("error: command id must look like 01@84");
        if (!codeOk || code > 255)
            return QStringLiteral("error: status must be a number from 0 to 255");
        d->setStatus(id, quint8(code));
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("inject")) {
        bool hexOk = false;
        const QByteArray bytes = SimFrame::fromHex(rest, &hexOk);
        if (!hexOk || bytes.isEmpty())
            return QStringLiteral("error: inject takes hex bytes");
        if (!endpoint->isOpen())
            return QStringLiteral("error: dongle %1 is unplugged").arg(n);
        d->inject(bytes);
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("drop")) {
        bool condixOk = false;
        const int condix = rest.toInt(&condixOk);
        if (!condixOk)
            return QStringLiteral("error: drop takes a connection index");
        if (!d->connections()->drop(condix))
            return QStringLiteral("error: dongle %1 has no connection %2").arg(n).arg(condix);
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("request")) {
        // CONDIX MIN MAX LATENCY TIMEOUT, in wire counts.
        const QStringList words = rest.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        int numbers[5] = {};
        bool ok = words.size() == 5;
        for (int i = 0; ok && i < 5; ++i)
            numbers[i] = words.at(i).toInt(&ok);
        if (!ok)
            return QStringLiteral("error: request takes CONDIX MIN MAX LATENCY TIMEOUT, whole numbers");
        const QString error = d->connections()->requestFromPeer(numbers[0], numbers[1], numbers[2], numbers[3], numbers[4]);
        return error.isEmpty() ? QStringLiteral("ok") : QStringLiteral("error: ") + error;
    }
    if (verb == QLatin1String("loader")) {
        // [STEP] refuse|silent|normal, where STEP is start, flash, end or reset.
        static const QHash<QString, LoaderEngine::Command> steps = {
            {QStringLiteral("start"), LoaderEngine::ProgramStart},
            {QStringLiteral("flash"), LoaderEngine::ProgramFlash},
            {QStringLiteral("end"), LoaderEngine::ProgramEnd},
            {QStringLiteral("reset"), LoaderEngine::ResetRunFirmware}};
        static const QHash<QString, LoaderEngine::Behaviour> behaviours = {
            {QStringLiteral("normal"), LoaderEngine::Normal},
            {QStringLiteral("refuse"), LoaderEngine::Refuse},
            {QStringLiteral("silent"), LoaderEngine::Silent}};
        const QStringList words = rest.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (words == QStringList{QStringLiteral("normal")}) {
            d->loader()->setAllNormal();
            return QStringLiteral("ok");
        }
        if (words.size() != 2 || !steps.contains(words.at(0)) || !behaviours.contains(words.at(1)))
            return QStringLiteral("error: loader takes start, flash, end or reset, then refuse, silent or normal; "
                                  "or normal alone");
        d->loader()->setBehaviour(steps.value(words.at(0)), behaviours.value(words.at(1)));
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("lose")) {
        bool indexOk = false;
        const uint index = rest.toUInt(&indexOk);
        if (!indexOk || index > 255)
            return QStringLiteral("error: lose takes the index of a periodic sync");
        if (!d->periodicSync()->lose(quint8(index)))
            return QStringLiteral("error: dongle %1 has no periodic sync %2").arg(n).arg(index);
        return QStringLiteral("ok");
    }
    if (verb == QLatin1String("bond")) {
        // ADDRESS TYPE [IRK], as a pairing of an earlier day left it in the dongle's flash.
        const QStringList words = rest.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        bool typeOk = false;
        const uint type = words.value(1).toUInt(&typeOk);
        bool addressOk = false;
        QByteArray address = SimFrame::fromHex(words.value(0), &addressOk);
        bool irkOk = words.size() == 2;
        QByteArray irk = words.size() == 3 ? SimFrame::fromHex(words.at(2), &irkOk) : QByteArray();
        if (words.size() < 2 || words.size() > 3 || !typeOk || !irkOk || !addressOk)
            return QStringLiteral("error: bond takes ADDRESS TYPE [IRK]: AA:BB:CC:DD:EE:FF, 0 or 1, 32 hex digits");
        // Both as people write them, most significant byte first; the dongle keeps wire order.
        std::reverse(address.begin(), address.end());
        std::reverse(irk.begin(), irk.end());
        const QString error = d->deviceLists()->addBond(address, quint8(type), irk);
        return error.isEmpty() ? QStringLiteral("ok") : QStringLiteral("error: ") + error;
    }
    if (verb == QLatin1String("passkey")) {
        // What a person would read off the display of the device that dongle N pairs with.
        const std::optional<quint32> shown = d->security()->peerPasskey();
        if (!shown)
            return QStringLiteral("error: nothing that dongle %1 pairs with shows a passkey").arg(n);
        return QStringLiteral("ok %1").arg(*shown, 6, 10, QLatin1Char('0'));
    }
    if (verb == QLatin1String("flood")) {
        bool rateOk = false;
        const int rate = rest.toInt(&rateOk);
        if (!rateOk || rate < 0 || rate > LogFlood::MaxLinesPerSecond)
            return QStringLiteral("error: flood takes 0 to %1 lines a second").arg(LogFlood::MaxLinesPerSecond);
        d->setFlood(rate);
        return QStringLiteral("ok");
    }
    // log
    if (!endpoint->isOpen())
        return QStringLiteral("error: dongle %1 is unplugged").arg(n);
    // A longer text would need a frame that the tool refuses, or a length word that wraps.
    if (rest.toUtf8().size() > SimFrame::MaxLength)
        return QStringLiteral("error: log takes at most %1 bytes of text").arg(SimFrame::MaxLength);
    d->sendLog(rest);
    return QStringLiteral("ok");
}

// N INTERVAL_MS lcp FREQUENCY CHANNEL_INDEX ACCESS_ADDRESS CRC_INIT HEADER PAYLOAD, or
// N INTERVAL_MS idt CHANNEL_NUM ACCESS_ADDRESS PAYLOAD; numbers in decimal, the rest in hex.
QString Simulator::startRfTransmitter(const QStringList& words)
{
    static const QString usage = QStringLiteral(
        "error: rftx takes N INTERVAL_MS lcp FREQUENCY CHANNEL_INDEX ACCESS_ADDRESS CRC_INIT HEADER PAYLOAD, "
        "or N INTERVAL_MS idt CHANNEL_NUM ACCESS_ADDRESS PAYLOAD");
    const bool lcp = words.value(2) == QLatin1String("lcp");
    if (words.size() != (lcp ? 9 : 6) || (!lcp && words.value(2) != QLatin1String("idt")))
        return usage;
    bool ok[8] = {};
    const uint count = words.at(0).toUInt(&ok[0]);
    const uint interval = words.at(1).toUInt(&ok[1]);
    RfTuning tuning;
    RfPacket packet;
    tuning.mode = lcp ? RfTuning::Lcp : RfTuning::Idt;
    tuning.channel = words.at(3).toUInt(&ok[2]);
    int next = 4;
    if (lcp)
        tuning.whitening = quint8(qMin(words.at(next++).toUInt(&ok[3]), 255u));
    else
        ok[3] = true;
    tuning.accessAddress = words.at(next++).toUInt(&ok[4], 16);
    if (lcp) {
        tuning.crcInit = words.at(next++).toUInt(&ok[5], 16);
        const uint header = words.at(next++).toUInt(&ok[6], 16);
        ok[6] = ok[6] && header <= 0xFF;
        packet.header = quint8(header);
    } else {
        ok[5] = ok[6] = true;
    }
    packet.payload = SimFrame::fromHex(words.at(next), &ok[7]);
    for (bool each : ok) {
        if (!each)
            return usage;
    }
    if (count == 0 || interval == 0)
        return QStringLiteral("error: rftx sends at least one packet, at least 1 ms apart");
    QString problem = RfTestEngine::tuningProblem(tuning, 0);
    if (problem.isEmpty())
        problem = RfTestEngine::packetProblem(tuning.mode, packet.payload.size());
    if (!problem.isEmpty())
        return QStringLiteral("error: ") + problem;
    auto* transmitter = new RfTransmitter(m_air, tuning, packet, count, interval, nullptr, m_air);
    connect(transmitter, &RfTransmitter::finished, transmitter, &QObject::deleteLater);
    transmitter->start();
    return QStringLiteral("ok");
}

