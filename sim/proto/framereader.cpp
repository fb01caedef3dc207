#include "framereader.h"

#include "simframe.h"

FrameReader::FrameReader(QObject* parent)
    : QObject(parent)
{
}

void FrameReader::clear()
{
    m_buffer.clear();
}

void FrameReader::feed(const QByteArray& bytes)
{
    m_buffer.append(bytes);
    for (;;) {
        if (m_buffer.isEmpty())
            return;
        if (quint8(m_buffer.at(0)) != SimFrame::Downlink) {
            int next = m_buffer.indexOf(char(SimFrame::Downlink));
            if (next < 0)
                next = m_buffer.size();
            m_buffer.remove(0, next);
            emit dropped(QStringLiteral("dropped %1 bytes without frame header").arg(next));
            continue;
        }
        if (m_buffer.size() < 5)
            return;
        const int length = SimFrame::readLe16(m_buffer, 3);
        if (length > SimFrame::MaxLength) {
            m_buffer.remove(0, 1);
            emit dropped(QStringLiteral("length %1 too long, header dropped").arg(length));
            continue;
        }
        if (m_buffer.size() < length + 6)
            return;
        const QByteArray whole = m_buffer.left(length + 6);
        m_buffer.remove(0, length + 6);
        emit frame(whole);
    }
}
