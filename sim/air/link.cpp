#include "link.h"

#include <utility>

#include <QTimer>

#include "peer.h"

Link::Link(const Party& central, const Party& peripheral, const Parameters& parameters, QObject* parent)
    : QObject(parent)
    , m_parties{central, peripheral}
    , m_parameters(parameters)
    , m_eventTimer(new QTimer(this))
{
    m_eventTimer->setSingleShot(true);
    m_eventTimer->setTimerType(Qt::PreciseTimer);
    connect(m_eventTimer, &QTimer::timeout, this, &Link::connectionEvent);
}

void Link::open()
{
    m_open = true;
    m_anchor.start();
    m_parties[Central].peer->linkUp(this);
    // The central's host may have ended it already, on hearing of it.
    if (m_open)
        m_parties[Peripheral].peer->linkUp(this);
}

// Idle links cost nothing: the timer runs only while data waits for the next event.
void Link::send(End from, quint16 channel, const QByteArray& data)
{
    if (!m_open)
        return;
    m_queue.append({other(from), channel, data});
    if (m_eventTimer->isActive())
        return;
    const qint64 intervalUs = qMax(1, m_parameters.interval) * 1250;
    const qint64 sinceAnchorUs = m_anchor.nsecsElapsed() / 1000;
    m_eventTimer->start(int((intervalUs - sinceAnchorUs % intervalUs + 999) / 1000));
}

void Link::connectionEvent()
{
    // What is queued now goes; what the deliveries queue waits for the next event.
    const QVector<Pdu> due = std::exchange(m_queue, {});
    for (const Pdu& pdu : due) {
        if (!m_open)
            return;
        m_parties[pdu.to].peer->received(this, pdu.channel, pdu.data);
    }
    if (m_open && !m_queue.isEmpty())
        m_eventTimer->start(qMax(1, m_parameters.interval * 5 / 4));
}

void Link::terminate(End by, quint8 reason)
{
    if (!shut())
        return;
    m_parties[by].peer->linkDown(this, ReasonLocalHost);
    m_parties[other(by)].peer->linkDown(this, reason);
}

// The other end learns of it at once rather than after the supervision timeout: nothing on
// either side depends on the wait.
void Link::abandon(End by)
{
    if (shut())
        m_parties[other(by)].peer->linkDown(this, ReasonSupervisionTimeout);
}

bool Link::shut()
{
    if (!m_open)
        return false;
    m_open = false;
    m_queue.clear();
    m_eventTimer->stop();
    deleteLater();
    return true;
}
