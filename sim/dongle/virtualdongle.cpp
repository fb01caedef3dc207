#include "virtualdongle.h"

#include "advertiserengine.h"
#include "air/virtualair.h"
#include "connectionmanager.h"
#include "devicelistsengine.h"
#include "gattclientengine.h"
#include "initiatorengine.h"
#include "isoengine.h"
#include "l2capengine.h"
#include "loaderengine.h"
#include "localdeviceengine.h"
#include "logflood.h"
#include "periodicsyncengine.h"
#include "proto/framereader.h"
#include "proto/simframe.h"
#include "rftestengine.h"
#include "scannerengine.h"
#include "securityengine.h"

namespace {

// Bulk traffic may take this share of the link: a real dongle misses packets rather than flood
// it, and the rest stays free for acks and heartbeats.
constexpr double BulkShareOfLink = 0.7;
constexpr double BudgetBurstBytes = 4096;
constexpr char FactoryVersion[] = "1.0.0-sim";

} // namespace

VirtualDongle::VirtualDongle(int number, VirtualAir* air, QObject* parent)
    : QObject(parent)
    , m_number(number)
    , m_air(air)
    , m_reader(new FrameReader(this))
    , m_flood(new LogFlood(number, this))
    , m_responder(SimCommandTable::instance())
    , m_random(quint32(0x7A5E + number))
    , m_budget(BudgetBurstBytes)
{
    m_firmwareVersion = QLatin1String(FactoryVersion);
    connect(m_reader, &FrameReader::frame, this, &VirtualDongle::handleFrame);
    connect(m_reader, &FrameReader::loaderFrame, this, &VirtualDongle::handleLoaderFrame);
    connect(m_reader, &FrameReader::dropped, this, [this](const QString& reason) {
        if (m_reset)
            sendLog(QStringLiteral("uart rx: ") + reason);
    });
    connect(m_flood, &LogFlood::line, this, &VirtualDongle::sendFloodLine);
    m_clock.start();

    m_localDevice = std::make_unique<LocalDeviceEngine>(*this);
    m_connections = std::make_unique<ConnectionManager>(*this);
    m_deviceLists = std::make_unique<DeviceListsEngine>(*this);
    m_scanner = std::make_unique<ScannerEngine>(*this, *m_localDevice, *m_deviceLists);
    m_periodicSync = std::make_unique<PeriodicSyncEngine>(*this, *m_deviceLists, *m_scanner);
    m_initiator = std::make_unique<InitiatorEngine>(*this, *m_localDevice, *m_deviceLists, *m_connections);
    m_gattClient = std::make_unique<GattClientEngine>(*this, *m_connections);
    m_advertiser = std::make_unique<AdvertiserEngine>(*this, *m_localDevice, *m_connections);
    m_l2cap = std::make_unique<L2capEngine>(*this, *m_connections);
    m_iso = std::make_unique<IsoEngine>(*this, *m_connections);
    m_rfTest = std::make_unique<RfTestEngine>(*this);
    m_security = std::make_unique<SecurityEngine>(*this, *m_localDevice, *m_deviceLists, *m_connections);
    // The sets leave the air first on a reset, before the links end and their far ends hear it.
    m_engines = {m_localDevice.get(), m_deviceLists.get(), m_advertiser.get(), m_connections.get(), m_scanner.get(), m_periodicSync.get(), m_initiator.get(),
                 m_gattClient.get(), m_l2cap.get(), m_iso.get(), m_rfTest.get(), m_security.get()};

    m_router.add(0x00, 0x01, Router::AnyLength, [this](const Request&) { reset(); });
    m_router.add(0x01, 0x84, Router::AnyLength, [this](const Request&) { ack(0x01, 0x84, 0); }); // Heart Beat Detect
    for (Engine* engine : qAsConst(m_engines))
        engine->install(m_router);
    m_loader = std::make_unique<LoaderEngine>(*this);
}

// The air may outlive the dongle, and its advertising sets name the dongle's connection manager
// as their peer: they leave it while every engine still stands. The engines go next, last made
// first, before the reader and the air's pointer they may still use.
VirtualDongle::~VirtualDongle()
{
    m_advertiser->reset();
}

// The loader runs from memory: unplugged, the dongle starts its application again.
void VirtualDongle::powerCycle()
{
    for (Engine* engine : qAsConst(m_engines))
        engine->powerCycle();
    m_loader->powerCycle();
    m_inLoader = false;
    m_reader->clear();
    m_flood->setRate(0);
    m_reset = false;
    m_muted = false;
    m_mutedModules.clear();
}

void VirtualDongle::restartInLoader()
{
    powerCycle();
    m_inLoader = true;
}

void VirtualDongle::restartApplication(const QString& version)
{
    powerCycle();
    m_firmwareVersion = version;
}

// Answer to the selection probe: BB 00 00, six strings with 16-bit lengths, checksum.
QByteArray VirtualDongle::probeAnswer() const
{
    QByteArray answer = QByteArray::fromHex("BB0000");
    for (const QByteArray& text : {QByteArray("Tarvine Virtual Dongle"), QByteArray("Tarvine"),
                                   m_firmwareVersion.toLatin1(), QByteArray("VD-1"),
                                   QByteArray("Simulated BLE dongle on a pseudo-terminal"), QByteArray("5.0.0")})
        answer.append(SimFrame::le16(text.size())).append(text);
    answer.append(char(SimFrame::checksum(answer)));
    return answer;
}

void VirtualDongle::setModuleMuted(quint8 module, bool muted)
{
    if (muted)
        m_mutedModules.insert(module);
    else
        m_mutedModules.remove(module);
}

void VirtualDongle::setStatus(const QString& commandId, quint8 status)
{
    if (status == 0)
        m_statusOverride.remove(commandId.toUpper());
    else
        m_statusOverride.insert(commandId.toUpper(), status);
}

void VirtualDongle::sendLog(const QString& text)
{
    send(SimFrame::build(SimFrame::Log, 0, 0, text.toUtf8().left(SimFrame::MaxLength)));
}

void VirtualDongle::inject(const QByteArray& bytes)
{
    emit uplink(bytes);
}

void VirtualDongle::setFlood(int linesPerSecond)
{
    m_flood->setRate(linesPerSecond);
}

int VirtualDongle::flood() const
{
    return m_flood->rate();
}

void VirtualDongle::feed(const QByteArray& bytes)
{
    m_reader->feed(bytes);
}

void VirtualDongle::sendRaw(const QByteArray& frame)
{
    emit uplink(frame);
}

void VirtualDongle::send(const QByteArray& frame)
{
    if (frame.isEmpty())
        return;
    const quint8 header = quint8(frame.at(0));
    if ((header == SimFrame::Ack || header == SimFrame::Data) && m_mutedModules.contains(quint8(frame.at(1))))
        return;
    emit uplink(frame);
}

// The stack answers Accept Create COC Request (04@07) with the ack of COC Request Reply (07@01),
// whatever the status and whoever gives it.
void VirtualDongle::ack(quint8 module, quint8 opcode, quint8 status)
{
    if (module == 0x04 && opcode == 0x07)
        send(m_responder.ack(0x07, 0x01, status));
    else
        send(m_responder.ack(module, opcode, status));
}

void VirtualDongle::respond(quint8 module, quint8 opcode, const Responder::Fields& fields)
{
    send(m_responder.frame(SimFrame::Data, module, opcode, fields));
}

void VirtualDongle::respond(quint8 module, quint8 opcode, const QByteArray& body)
{
    send(m_responder.frame(SimFrame::Data, module, opcode, body));
}

void VirtualDongle::refillBulk()
{
    const qint64 now = m_clock.elapsed();
    m_budget = qMin(BudgetBurstBytes, m_budget + (now - m_budgetAt) * LinkBytesPerSecond * BulkShareOfLink / 1000.0);
    m_budgetAt = now;
}

bool VirtualDongle::reserveBulk(int frameSize)
{
    refillBulk();
    if (m_budget < frameSize)
        return false;
    m_budget -= frameSize;
    return true;
}

// Every flood line goes, since tests of the tool's log count them; it takes its bytes from the
// bulk share, into debt if need be, so that scan reports make room for it and the two together
// never offer the link more than it carries.
void VirtualDongle::sendFloodLine(const QString& text)
{
    const QByteArray frame = SimFrame::build(SimFrame::Log, 0, 0, text.toUtf8());
    refillBulk();
    m_budget = qMax(-BudgetBurstBytes, m_budget - frame.size());
    send(frame);
}

void VirtualDongle::linkOpened(int condix, Link* link)
{
    for (Engine* engine : qAsConst(m_engines))
        engine->linkOpened(condix, link);
}

void VirtualDongle::linkEnding(int condix, quint8 reason)
{
    for (Engine* engine : qAsConst(m_engines))
        engine->linkEnding(condix, reason);
}

void VirtualDongle::linkEncrypted(int condix)
{
    for (Engine* engine : qAsConst(m_engines))
        engine->linkEncrypted(condix);
}

void VirtualDongle::linkClosed(int condix)
{
    for (Engine* engine : qAsConst(m_engines))
        engine->linkClosed(condix);
}

void VirtualDongle::handleFrame(const QByteArray& frame)
{
    const quint8 module = quint8(frame.at(1));
    const quint8 opcode = quint8(frame.at(2));
    const QString id = SimFrame::commandId(module, opcode);
    emit downlinkFrame(frame);
    if (m_inLoader)
        return;

    // The probe is answered at any time, also by a dongle that was never reset.
    if (module == 0 && opcode == 0 && frame.size() == 6) {
        emit uplink(probeAnswer());
        return;
    }
    const bool isReset = module == 0 && opcode == 0x01;
    if (!m_reset && !isReset)
        return;
    const SimCommandTable::Command* command = SimCommandTable::instance().downlink(id);
    if (!command) {
        sendLog(QStringLiteral("uart rx: unknown command %1, frame dropped").arg(id));
        return;
    }
    handleCommand(Request(*command, module, opcode, frame.mid(5, frame.size() - 6)));
}

void VirtualDongle::handleLoaderFrame(const QByteArray& frame)
{
    emit downlinkFrame(frame);
    m_loader->handle(frame);
}

void VirtualDongle::handleCommand(const Request& request)
{
    const quint8 module = request.module();
    const quint8 opcode = request.opcode();
    if (module == 0x01 && opcode == 0x84 && m_muted)
        return;
    const quint8 forced = m_statusOverride.value(request.id(), 0);
    if (forced != 0) {
        ack(module, opcode, forced);
        return;
    }
    const Router::Route* route = m_router.find(module, opcode);
    if (!route) {
        ack(module, opcode, StatusNotSupported);
        return;
    }
    if (route->check == Router::WholePayload && !request.isWhole()) {
        ack(module, opcode, StatusInvalidDataLength);
        sendLog(QStringLiteral("%1: payload of %2 bytes, %3%4 expected")
                    .arg(request.name())
                    .arg(request.payload().size())
                    .arg(request.isVariable() ? QStringLiteral("at least ") : QString())
                    .arg(request.expectedLength()));
        return;
    }
    route->handler(request);
}

void VirtualDongle::reset()
{
    // A reset restarts the stack but keeps what the host configured; power (unplug, plug) brings
    // the defaults back.
    for (Engine* engine : qAsConst(m_engines))
        engine->reset();
    m_reset = true;
    ack(0x00, 0x01, 0);
    send(m_responder.frame(SimFrame::Completion, 0x00, 0x02, SimFrame::u8(0)));
    sendLog(QStringLiteral("Tarvine virtual dongle %1 ready, sdk 5.0.0").arg(m_number));
}
