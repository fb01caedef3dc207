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
        const int size = m_buffer.size();
        if (quint8(m_buffer.at(0)) == SimFrame::Downlink) {
            if (size < 5)
                return;
            const int length = SimFrame::readLe16(m_buffer, 3);
            if (length > MaxLength) {
                dropHeader(QStringLiteral("length %1 too long, header dropped").arg(length));
                continue;
            }
            if (size < length + 6)
                return;
            const QByteArray whole = m_buffer.left(length + 6);
            if (SimFrame::checksum(whole) != 0) {
                dropHeader(QStringLiteral("checksum error in %1, header dropped")
                               .arg(SimFrame::commandId(quint8(whole.at(1)), quint8(whole.at(2)))));
                continue;
            }
            m_buffer.remove(0, whole.size());
            emit frame(whole);
            continue;
        }
        if (nextStart(0) == 0) { // "DG", or a "D" waiting for its second byte
            if (size < 6)
                return;
            const int length = SimFrame::readLe16(m_buffer, 4);
            if (length > LoaderMaxLength) {
                dropHeader(QStringLiteral("loader frame length %1 too long, header dropped").arg(length));
                continue;
            }
            if (size < length + 8)
                return;
            const QByteArray whole = m_buffer.left(length + 8);
            if (!loaderSumOk(whole)) {
                dropHeader(QStringLiteral("sum error in loader command %1, header dropped")
                               .arg(SimFrame::readLe16(whole, 2)));
                continue;
            }
            m_buffer.remove(0, whole.size());
            emit loaderFrame(whole);
            continue;
        }
        const int garbage = nextStart(1);
        m_buffer.remove(0, garbage);
        emit dropped(garbage == 1 ? QStringLiteral("dropped 1 byte without frame header")
                                  : QStringLiteral("dropped %1 bytes without frame header").arg(garbage));
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
