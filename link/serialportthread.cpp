#include "serialportthread.h"

#include <algorithm>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

#include "app/crashhandler.h"
#include "link/cmsg.h"

namespace {

// The completion of the dongle's reset with status 0; its checksum byte 0x31 is not part of it.
const unsigned char FirstReset[6] = {0xCC, 0x00, 0x02, 0x01, 0x00, 0x00};

bool isUplinkHeader(unsigned char byte)
{
    return byte == 0xBB || byte == 0xCC || byte == 0xDD || byte == 0xFF;
}

} // namespace

SerialPortThread::SerialPortThread(CMsg* parent)
    : QThread(parent)
{
}

SerialPortThread::~SerialPortThread() = default;

void SerialPortThread::setHandle(int handle)
{
    m_handle = handle;
    m_running = true;
}

void SerialPortThread::stop()
{
    m_running = false;
}

void SerialPortThread::run()
{
    const CrashHandler::ThreadStack crashStack;
    while (m_running) {
        int waiting = 0;
        if (::ioctl(m_handle, FIONREAD, &waiting) == 0 && waiting > 0) {
            QByteArray data;
            data.reserve(waiting);
            int remaining = waiting;
            bool ok = true;
            while (remaining != 0) {
                const int chunk = std::min(remaining, BufferSize);
                const ssize_t got = ::read(m_handle, m_buffer, size_t(chunk));
                if (got < 0) {
                    emit sig_log(QStringLiteral("GetLastError() != ERROR_IO_PENDING"), 4);
                    ok = false;
                    break;
                }
                if (got != chunk) {
                    emit sig_log(QStringLiteral("singleToRead != read"), 4);
                    ok = false;
                    break;
                }
                data.append(m_buffer, int(got));
                remaining -= chunk;
            }
            if (ok)
                parse(data);
        }
        ::usleep(1000);
    }
}

void SerialPortThread::parse(const QByteArray& data)
{
    m_queue.append(data);
    const auto* queue = reinterpret_cast<const unsigned char*>(m_queue.constData());
    const quint64 size = quint64(m_queue.size());
    quint64 pos = 0;

    for (bool enough = true; enough;) {
        const unsigned char* p = queue + pos;
        const quint64 avail = size - pos;
        switch (m_state) {
        case WaitFirstReset:
            // Whatever the dongle says before its first reset completion is dropped unheard.
            while (size - pos >= 6 && std::memcmp(queue + pos, FirstReset, 6) != 0)
                ++pos;
            if (size - pos < 6) {
                enough = false;
                break;
            }
            emit sig_rcvCommonMsg(QByteArray(reinterpret_cast<const char*>(queue + pos), 6));
            pos += 6;
            m_state = Idle;
            break;

        case Idle:
            if (avail < 2) {
                enough = false;
            } else if (p[0] == 0x44 && p[1] == 0x47) {
                m_state = DownloadHeader;
            } else if (isUplinkHeader(p[0])) {
                m_state = Header;
            } else {
                logBadHeader(p[0]);
                ++pos;
            }
            break;

        case Header:
            if (avail < 5) {
                enough = false;
                break;
            }
            m_header.resize(5);
            std::memcpy(m_header.data(), p, 5);
            m_length = quint64(p[3]) | (quint64(p[4]) << 8);
            if (m_length > MaxUplinkLength) {
                logBadLength(p[0]);
                ++pos;
                m_state = Idle;
            } else {
                m_state = Body;
            }
            break;

        case Body: {
            if (avail < m_length + 6) {
                enough = false;
                break;
            }
            m_payload.resize(int(m_length));
            std::memcpy(m_payload.data(), p + 5, m_length);
            unsigned int sum = 0;
            for (quint64 i = 0; i < m_length + 5; ++i)
                sum += p[i];
            const auto expected = static_cast<unsigned char>(0u - sum);
            if (expected != p[m_length + 5]) {
                // Only the first byte goes: a good frame hidden inside this one is still found.
                const QByteArray raw(reinterpret_cast<const char*>(p), int(m_length + 6));
                ++pos;
                m_state = Idle;
                emit sig_log(QStringLiteral("The msg check checksum failed."), 1);
                emit sig_log(QStringLiteral("Raw Data: ") + QString::fromLatin1(raw.toHex()), 1);
            } else {
                dispatch(QByteArray(reinterpret_cast<const char*>(p), int(m_length + 5)));
                pos += m_length + 6;
                m_state = Idle;
            }
            break;
        }

        case DownloadHeader:
            if (avail < 6) {
                enough = false;
                break;
            }
            m_header.resize(6);
            std::memcpy(m_header.data(), p, 6);
            m_length = quint64(p[4]) | (quint64(p[5]) << 8);
            if (m_length > MaxUplinkLength) {
                logBadLength(p[0]);
                ++pos;
                m_state = Idle;
            } else {
                m_state = DownloadBody;
            }
            break;

        case DownloadBody:
            if (avail < m_length + 8) {
                enough = false;
                break;
            }
            // The loader checks these frames itself and needs only the first checksum byte.
            emit sig_rcvDownLoadMsg(QByteArray(reinterpret_cast<const char*>(p), int(m_length + 7)));
            pos += m_length + 8;
            m_state = Idle;
            break;

        default:
            m_state = Idle;
            break;
        }
    }

    m_queue.remove(0, int(pos));
}

void SerialPortThread::dispatch(const QByteArray& frame)
{
    if (static_cast<unsigned char>(frame.at(0)) == 0xFF) {
        emit sig_rcvDongleLog(frame);
        return;
    }
    switch (static_cast<unsigned char>(frame.at(1))) {
    case 0:
        emit sig_rcvCommonMsg(frame);
        break;
    case 1:
        emit sig_rcvGapMsg(frame);
        break;
    case 2:
        emit sig_rcvSmMsg(frame);
        break;
    case 3:
        emit sig_rcvGattMsg(frame);
        break;
    case 4:
        emit sig_rcvL2capMsg(frame);
        break;
    case 9:
        emit sig_rcvLCPMsg(frame);
        break;
    case 10:
        emit sig_rcvIDTMsg(frame);
        break;
    default:
        // Profiles, isochronous streams and modules this tool doesn't know all share one signal.
        emit sig_rcvRfuMsg(frame);
        break;
    }
}

void SerialPortThread::logBadHeader(unsigned char byte)
{
    emit sig_log(QStringLiteral("The fix header of the uplink msg is 0x%1,it should be 0xBB or 0xCC or 0xDD or 0xFF")
                     .arg(uint(byte), 2, 16, QLatin1Char('0')),
                 1);
}

void SerialPortThread::logBadLength(unsigned char byte)
{
    emit sig_log(QStringLiteral("The uplink msg's length is wrong.Throw the head is 0x%1.")
                     .arg(uint(byte), 2, 16, QLatin1Char('0')),
                 1);
}
