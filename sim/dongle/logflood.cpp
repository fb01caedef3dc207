#include "logflood.h"

#include <QTimer>

LogFlood::LogFlood(int dongle, QObject* parent)
    : QObject(parent)
    , m_dongle(dongle)
    , m_timer(new QTimer(this))
{
    m_timer->setTimerType(Qt::PreciseTimer);
    m_timer->setInterval(TickMs);
    connect(m_timer, &QTimer::timeout, this, &LogFlood::tick);
}

void LogFlood::setRate(int linesPerSecond)
{
    m_rate = qBound(0, linesPerSecond, MaxLinesPerSecond);
    m_sentSinceStart = 0;
    m_clock.start();
    if (m_rate > 0)
        m_timer->start();
    else
        m_timer->stop();
}

void LogFlood::tick()
{
    const qint64 due = m_clock.elapsed() * m_rate / 1000;
    for (; m_sentSinceStart < due; ++m_sentSinceStart)
        emit line(QStringLiteral("dongle %1 flood line %2 of text").arg(m_dongle).arg(++m_counter, 8, 10, QLatin1Char('0')));
}
