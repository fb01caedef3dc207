#include "framereader.h"

#include <QTimer>

#include "simframe.h"

namespace {

constexpr char LoaderMark[] = {'D', 'G'};

bool loaderSumOk(const QByteArray& frame)
{
    quint16 sum = 0;
    for (int i = 2; i < frame.size() - 2; ++i)
        sum = quint16(sum + quint8(frame.at(i)));
    return sum == SimFrame::readLe16(frame, frame.size() - 2);
}

} // namespace

FrameReader::FrameReader(QObject* parent)
    : QObject(parent)
    , m_silence(new QTimer(this))
{
    m_silence->setSingleShot(true);
    m_silence->setInterval(SilenceMs);
    connect(m_silence, &QTimer::timeout, this, &FrameReader::onSilence);
}

void FrameReader::clear()
{
    m_buffer.clear();
    m_silence->stop();
}

void FrameReader::feed(const QByteArray& bytes)
{
    m_buffer.append(bytes);
    parse();
    if (m_buffer.isEmpty())
        m_silence->stop();
    else
        m_silence->start();
}

int FrameReader::nextStart(int from) const
{
    for (int i = from; i < m_buffer.size(); ++i) {
        if (quint8(m_buffer.at(i)) == SimFrame::Downlink)
            return i;
        // A "D" at the very end may still become "DG".
        if (m_buffer.at(i) == LoaderMark[0] && (i + 1 == m_buffer.size() || m_buffer.at(i + 1) == LoaderMark[1]))
            return i;
    }
    return m_buffer.size();
}

void FrameReader::dropHeader(const QString& reason)
{
    m_buffer.remove(0, 1);
    emit dropped(reason);
}

void FrameReader::parse()
{
    while (!m_buffer.isEmpty()) {
        const bool command = quint8(m_buffer.at(0)) == SimFrame::Downlink;
        if (!command && nextStart(0) != 0) {
            const int garbage = nextStart(1);
            m_buffer.remove(0, garbage);
            emit dropped(garbage == 1 ? QStringLiteral("dropped 1 byte without frame header")
                                      : QStringLiteral("dropped %1 bytes without frame header").arg(garbage));
            continue;
        }
        // A command frame: 0xAA, module, opcode, length, payload, checksum. A loader frame (or a
        // "D" waiting for its "G"): "DG", command, length, payload, 16-bit sum.
        const int lengthAt = command ? 3 : 4;
        const int overhead = command ? 6 : 8;
        if (m_buffer.size() < lengthAt + 2)
            return;
        const int length = SimFrame::readLe16(m_buffer, lengthAt);
        if (length > (command ? MaxLength : LoaderMaxLength)) {
            dropHeader(QStringLiteral("%1length %2 too long, header dropped")
                           .arg(command ? QString() : QStringLiteral("loader frame "))
                           .arg(length));
            continue;
        }
        if (m_buffer.size() < length + overhead)
            return;
        const QByteArray whole = m_buffer.left(length + overhead);
        if (command && SimFrame::checksum(whole) != 0) {
            dropHeader(QStringLiteral("checksum error in %1, header dropped")
                           .arg(SimFrame::commandId(quint8(whole.at(1)), quint8(whole.at(2)))));
            continue;
        }
        if (!command && !loaderSumOk(whole)) {
            dropHeader(QStringLiteral("sum error in loader command %1, header dropped").arg(SimFrame::readLe16(whole, 2)));
            continue;
        }
        m_buffer.remove(0, whole.size());
        if (command)
            emit frame(whole);
        else
            emit loaderFrame(whole);
    }
}

// The rest of a frame did not come: its header goes, and what followed it is read again, since
// a whole frame may hide in it.
void FrameReader::onSilence()
{
    if (m_buffer.isEmpty())
        return;
    dropHeader(QStringLiteral("frame cut short after %1 bytes, header dropped").arg(m_buffer.size()));
    parse();
    if (!m_buffer.isEmpty())
        m_silence->start();
}
