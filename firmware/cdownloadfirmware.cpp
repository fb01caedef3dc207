#include "cdownloadfirmware.h"

#include <QFile>
#include <QThread>

#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

const char* const kBootImageC1 = ":/firmware/resources/firmware/uart_dfu_boot_fw_c1.bin";
const char* const kBootImageC4 = ":/firmware/resources/firmware/uart_dfu_boot_fw_c4.bin";
const char* const kFirmwareTag = "ble_tool_fw";
constexpr int kTagOffset = 28;
constexpr int kTagSize = 12;
constexpr int kInfoSize = 48;
constexpr int kInfoFrom = 8;
constexpr int kLoadAddressOffset = 12;
constexpr int kMagicOffset = 48;
constexpr int kStartPayloadInfo = 40;
constexpr int kResetInfoFrom = 4;
constexpr int kResetInfoSize = 24;
constexpr int kAnswerLengthLimit = 2000;
constexpr int kEndPauseMs = 500;
constexpr int kResetPauseMs = 2000;
constexpr quint8 kStatusSuccess = 1;

quint32 le32(const QByteArray& bytes, int at)
{
    return quint32(quint8(bytes.at(at))) | quint32(quint8(bytes.at(at + 1))) << 8
           | quint32(quint8(bytes.at(at + 2))) << 16 | quint32(quint8(bytes.at(at + 3))) << 24;
}

void appendLe16(QByteArray* bytes, quint32 value)
{
    bytes->append(char(value & 0xFF)).append(char((value >> 8) & 0xFF));
}

void appendLe32(QByteArray* bytes, quint32 value)
{
    appendLe16(bytes, value & 0xFFFF);
    appendLe16(bytes, value >> 16);
}

bool markedAt(const QByteArray& image, int at)
{
    return at >= 0 && image.at(at) == 'D' && image.at(at + 1) == 'G';
}

} // namespace

cDownLoadFirmWare::cDownLoadFirmWare(CMsg* msg, LogManager* logger, QObject* parent)
    : QObject(parent)
    , m_currentFile(QString::fromLatin1(kBootImageC1))
    , m_imageInfo(kInfoSize, '\0')
    , m_msg(msg)
    , m_logger(logger)
    , m_timer(this)
{
    m_timer.setSingleShot(true);
    // Each step runs from the event loop, after the answer that let it go has been handled.
    connect(this, &cDownLoadFirmWare::sig_flash, this, &cDownLoadFirmWare::onFlash, Qt::QueuedConnection);
    connect(this, &cDownLoadFirmWare::sig_end, this, &cDownLoadFirmWare::onEnd, Qt::QueuedConnection);
    connect(this, &cDownLoadFirmWare::sig_reset, this, &cDownLoadFirmWare::onReset, Qt::QueuedConnection);
    connect(this, &cDownLoadFirmWare::sig_finish, this, &cDownLoadFirmWare::onFinish, Qt::QueuedConnection);
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvDownLoadMsg, this, &cDownLoadFirmWare::onRcvDownLoadMsg);
}

cDownLoadFirmWare::~cDownLoadFirmWare() = default;

int cDownLoadFirmWare::checkFirmwareFile(QString path)
{
    QFile file(path);
    if (!file.exists()) {
        m_logger->log(QStringLiteral("download firmware not exsit"), 4);
        return -1;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_logger->log(QStringLiteral("open download firmware failed"), 4);
        return -1;
    }
    const QByteArray content = file.readAll();
    if (content.size() < TrailerSize)
        return -1;
    const QByteArray tag = content.mid(content.size() - TrailerSize + kTagOffset, kTagSize);
    const int end = tag.indexOf('\0');
    return tag.left(end < 0 ? tag.size() : end) == kFirmwareTag ? 0 : -1;
}

void cDownLoadFirmWare::setDeviceType(int type)
{
    if (type == 0)
        m_currentFile = QString::fromLatin1(kBootImageC1);
    else if (type == 1)
        m_currentFile = QString::fromLatin1(kBootImageC4);
}

// The long position is looked at first here, the short one first when the trailer is parsed:
// a file may carry "DG" at both places, and each step keeps its own order.
bool cDownLoadFirmWare::findLoadAddress(const QByteArray& image, quint32* address)
{
    int trailer = -1;
    if (image.size() >= LongTrailerSize && markedAt(image, image.size() - LongTrailerSize))
        trailer = image.size() - LongTrailerSize;
    else if (image.size() >= TrailerSize && markedAt(image, image.size() - TrailerSize))
        trailer = image.size() - TrailerSize;
    if (trailer < 0)
        return false;
    *address = le32(image, trailer + kLoadAddressOffset);
    return true;
}

bool cDownLoadFirmWare::parseTrailer(const QByteArray& image, QByteArray* info)
{
    int trailer = -1;
    if (image.size() >= TrailerSize && markedAt(image, image.size() - TrailerSize))
        trailer = image.size() - TrailerSize;
    else if (image.size() >= LongTrailerSize && markedAt(image, image.size() - LongTrailerSize)
             && le32(image, image.size() - LongTrailerSize + kMagicOffset) == LongTrailerMagic)
        trailer = image.size() - LongTrailerSize;
    if (trailer < 0)
        return false;
    info->replace(kInfoFrom, kInfoSize - kInfoFrom, image.mid(trailer + kInfoFrom, kInfoSize - kInfoFrom));
    return true;
}

int cDownLoadFirmWare::start(QString path)
{
    m_userFile = path;
    QFile file(m_currentFile);
    if (!file.exists() || !file.open(QIODevice::ReadOnly)) {
        m_logger->log(file.exists() ? QStringLiteral("open download firmware failed")
                                    : QStringLiteral("download firmware not exsit"),
                      4);
        // Ends as if it had gone well, so that the tab reconnects.
        emit sig_heartBeatRestart();
        return -1;
    }
    m_image = file.readAll();
    m_imageSize = quint32(m_image.size());
    if (!findLoadAddress(m_image, &m_loadAddress)) {
        m_logger->log(QStringLiteral("cannot find parttern in firmware file"), 4);
        return -1;
    }
    if (!parseTrailer(m_image, &m_imageInfo)) {
        m_logger->log(QStringLiteral("Invalid firmware format!"), 4);
        return -1;
    }
    m_expectedCommand = ProgramStart;
    const QByteArray payload = QByteArray(1, '\0') + m_imageInfo.left(kStartPayloadInfo);
    if (!send(ProgramStart, payload, "firmwareProgramStart"))
        m_logger->log(QStringLiteral("ProgramStart failed!"), 4);
    return 0;
}

// The loader's frame: "DG", command, payload length, payload, 16-bit sum from the command on.
bool cDownLoadFirmWare::send(int command, const QByteArray& payload, const char* step)
{
    m_timer.start(AnswerTimeoutMs);
    connect(&m_timer, &QTimer::timeout, this, &cDownLoadFirmWare::onRecvDownloadFailed, Qt::UniqueConnection);
    m_logger->log(QString::fromLatin1(step), 2);
    QByteArray frame("DG");
    appendLe16(&frame, quint32(command));
    appendLe16(&frame, quint32(payload.size()));
    frame.append(payload);
    quint32 sum = 0;
    for (int i = 2; i < frame.size(); ++i)
        sum += quint8(frame.at(i));
    appendLe16(&frame, sum & 0xFFFF);
    if (!m_msg || !m_msg->isOpen())
        return false;
    m_msg->sendRaw(frame);
    return true;
}

// The link hands over the answer without the upper byte of its sum, which therefore reads as
// zero: an answer whose bytes add up to more than 255 fails here, as it always has.
bool cDownLoadFirmWare::answerAccepted(const QByteArray& msg) const
{
    QByteArray buffer(MaxFrame, '\0');
    buffer.replace(0, qMin(msg.size(), MaxFrame), msg.left(MaxFrame));
    const int command = quint8(buffer.at(2)) | quint8(buffer.at(3)) << 8;
    const int length = quint8(buffer.at(4)) | quint8(buffer.at(5)) << 8;
    if (buffer.at(0) != 'D' || buffer.at(1) != 'G' || command != m_expectedCommand)
        return false;
    // A sum past the end of the buffer can't be read: such an answer is refused too.
    if (length > kAnswerLengthLimit || length + 8 > MaxFrame)
        return false;
    quint32 sum = 0;
    for (int i = 2; i < 6 + length; ++i)
        sum += quint8(buffer.at(i));
    const quint32 carried = quint8(buffer.at(6 + length)) | quint32(quint8(buffer.at(7 + length))) << 8;
    return (sum & 0xFFFF) == carried && quint8(buffer.at(6)) == kStatusSuccess;
}

// A refused answer leaves the run where it stands, without a message: the watchdog is off and
// the tool buttons stay disabled until the dongle is reconnected.
void cDownLoadFirmWare::onRcvDownLoadMsg(QByteArray msg)
{
    disconnect(&m_timer, &QTimer::timeout, this, &cDownLoadFirmWare::onRecvDownloadFailed);
    m_timer.stop();
    if (!answerAccepted(msg))
        return;
    switch (m_expectedCommand) {
    case ProgramStart:
        emit sig_flash();
        break;
    case ProgramFlash:
        if (m_allSent) {
            m_allSent = false;
            emit sig_end();
        } else {
            emit sig_flash();
        }
        break;
    case ProgramEnd:
        pause(kEndPauseMs);
        emit sig_reset();
        break;
    case ResetRunFirmware:
        pause(kResetPauseMs);
        emit sig_finish();
        break;
    default:
        break;
    }
}

void cDownLoadFirmWare::onFlash()
{
    m_expectedCommand = ProgramFlash;
    if (m_sentBytes >= m_imageSize) {
        m_allSent = true;
        emit sig_end();
        return;
    }
    const quint32 block = qMin<quint32>(m_imageSize - m_sentBytes, MaxBlock);
    QByteArray payload(1, '\1');
    appendLe32(&payload, m_loadAddress + m_sentBytes);
    appendLe16(&payload, block);
    payload.append(m_image.mid(int(m_sentBytes), int(block)));
    if (!send(ProgramFlash, payload, "firmwareProgramFlash")) {
        m_logger->log(QStringLiteral("programFlash failed"), 4);
        m_logger->log(QStringLiteral("ProgramFlash failed!"), 4);
    }
    m_sentBytes += block;
    emit sig_progress(m_sentBytes, m_imageSize);
}

void cDownLoadFirmWare::onEnd()
{
    m_expectedCommand = ProgramEnd;
    quint32 sum = 0;
    for (char byte : qAsConst(m_image))
        sum += quint8(byte);
    QByteArray payload(1, '\0');
    appendLe32(&payload, sum);
    send(ProgramEnd, payload, "firmwareProgramEnd");
    m_logger->log(QStringLiteral("Program firmware success!"), 2);
}

void cDownLoadFirmWare::onReset()
{
    m_expectedCommand = ResetRunFirmware;
    send(ResetRunFirmware, m_imageInfo.mid(kResetInfoFrom, kResetInfoSize), "resetRunFirmware");
    m_logger->log(QStringLiteral("Program firmware success!"), 2);
}

void cDownLoadFirmWare::onFinish()
{
    endPass();
    if (m_currentFile == m_userFile) {
        m_currentFile = QString::fromLatin1(kBootImageC1);
        emit sig_heartBeatRestart();
        return;
    }
    // The boot image runs the loader now; the user's file goes to it.
    m_currentFile = m_userFile;
    start(m_userFile);
}

void cDownLoadFirmWare::onRecvDownloadFailed()
{
    endPass();
    m_logger->log(QStringLiteral("download firmware failed."), 4);
    emit sig_downloadFailed();
}

void cDownLoadFirmWare::endPass()
{
    disconnect(&m_timer, &QTimer::timeout, this, &cDownLoadFirmWare::onRecvDownloadFailed);
    m_timer.stop();
    m_image.clear();
    m_allSent = false;
    m_sentBytes = 0;
}

void cDownLoadFirmWare::pause(int ms)
{
    QThread::msleep(ulong(ms));
}
