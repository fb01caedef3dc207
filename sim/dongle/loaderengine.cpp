#include "loaderengine.h"

#include "proto/simframe.h"
#include "virtualdongle.h"

namespace {

// ProgramStart: a zero byte, then 40 bytes of which 8 to 39 come from the image's trailer.
constexpr int StartPayloadSize = 41;
constexpr int StartSizeAt = 1 + 8;
constexpr int StartLoadAddressAt = 1 + 12;
constexpr int StartVersionAt = 1 + 16;
constexpr int StartTagAt = 1 + 28;
constexpr int TextSize = 12;
constexpr char Tag[] = "ble_tool_fw";
// ProgramFlash: one byte 1, the 32-bit address, the 16-bit count, the data.
constexpr int FlashHeaderSize = 7;
constexpr int EndPayloadSize = 5;
// resetRunFirmware: trailer bytes 4 to 27, the load address at 8.
constexpr int ResetPayloadSize = 24;
constexpr int ResetLoadAddressAt = 8;
constexpr quint32 MaxImageSize = 16 * 1024 * 1024;

QString textAt(const QByteArray& bytes, int at)
{
    const QByteArray field = bytes.mid(at, TextSize);
    const int end = field.indexOf('\0');
    return QString::fromLatin1(field.left(end < 0 ? field.size() : end));
}

} // namespace

LoaderEngine::LoaderEngine(VirtualDongle& dongle)
    : m_dongle(dongle)
{
    m_restartTimer.setSingleShot(true);
    m_restartTimer.setInterval(RestartDelayMs);
    connect(&m_restartTimer, &QTimer::timeout, this, &LoaderEngine::restart);
}

QByteArray LoaderEngine::answer(quint16 command, quint8 status)
{
    QByteArray frame("DG");
    frame.append(SimFrame::le16(command)).append(SimFrame::le16(1)).append(char(status));
    quint16 sum = 0;
    for (int i = 2; i < frame.size(); ++i)
        sum += quint8(frame.at(i));
    return frame.append(SimFrame::le16(sum));
}

void LoaderEngine::setBehaviour(Command command, Behaviour behaviour)
{
    m_behaviour.insert(command, behaviour);
}

void LoaderEngine::setAllNormal()
{
    m_behaviour.clear();
}

void LoaderEngine::powerCycle()
{
    m_restartTimer.stop();
    m_step = Step::Idle;
    m_image.clear();
    m_written = 0;
}

void LoaderEngine::handle(const QByteArray& frame)
{
    const quint16 command = SimFrame::readLe16(frame, 2);
    const QByteArray payload = frame.mid(6, SimFrame::readLe16(frame, 4));
    // Nothing is taken while the dongle is about to restart.
    if (m_restartTimer.isActive())
        return;
    const Behaviour behaviour = m_behaviour.value(command, Normal);
    if (behaviour == Silent)
        return;
    quint8 status = Refused;
    if (behaviour == Normal) {
        switch (command) {
        case ProgramStart:
            status = start(payload);
            break;
        case ProgramFlash:
            status = flash(payload);
            break;
        case ProgramEnd:
            status = end(payload);
            break;
        case ResetRunFirmware:
            status = reset(payload);
            break;
        default:
            break;
        }
    }
    m_dongle.sendRaw(answer(command, status));
    if (command == ResetRunFirmware && status == Success)
        m_restartTimer.start();
}

// A new start drops whatever an earlier pass had written.
quint8 LoaderEngine::start(const QByteArray& payload)
{
    m_step = Step::Idle;
    m_image.clear();
    m_written = 0;
    if (payload.size() != StartPayloadSize || payload.at(0) != 0 || textAt(payload, StartTagAt) != QLatin1String(Tag))
        return Refused;
    const quint32 size = SimFrame::readLe(payload, StartSizeAt, 4);
    const quint32 load = SimFrame::readLe(payload, StartLoadAddressAt, 4);
    if (size == 0 || size > MaxImageSize || quint64(load) + size > 0x100000000ULL)
        return Refused;
    m_loadAddress = load;
    m_image = QByteArray(int(size), '\xFF');
    m_imageVersion = textAt(payload, StartVersionAt);
    m_step = Step::Started;
    return Success;
}

// Blocks come in order, each inside the image.
quint8 LoaderEngine::flash(const QByteArray& payload)
{
    if (m_step != Step::Started || payload.size() < FlashHeaderSize || payload.at(0) != 1)
        return Refused;
    const quint32 address = SimFrame::readLe(payload, 1, 4);
    const int count = SimFrame::readLe16(payload, 5);
    if (count == 0 || count > MaxBlock || count != payload.size() - FlashHeaderSize
        || address != m_loadAddress + quint32(m_written) || m_written + count > m_image.size())
        return Refused;
    m_image.replace(m_written, count, payload.mid(FlashHeaderSize));
    m_written += count;
    return Success;
}

quint8 LoaderEngine::end(const QByteArray& payload)
{
    if (m_step != Step::Started || m_written != m_image.size() || payload.size() != EndPayloadSize
        || payload.at(0) != 0)
        return Refused;
    quint32 sum = 0;
    for (char byte : qAsConst(m_image))
        sum += quint8(byte);
    if (sum != SimFrame::readLe(payload, 1, 4))
        return SumMismatch;
    m_step = Step::Ended;
    return Success;
}

quint8 LoaderEngine::reset(const QByteArray& payload)
{
    return m_step == Step::Ended && payload.size() == ResetPayloadSize
                   && SimFrame::readLe(payload, ResetLoadAddressAt, 4) == m_loadAddress
               ? Success
               : Refused;
}

// What the application's update handler wrote is the loader; what the loader wrote is the
// application.
void LoaderEngine::restart()
{
    if (m_dongle.inLoader())
        m_dongle.restartApplication(QString(m_imageVersion));
    else
        m_dongle.restartInLoader();
}
