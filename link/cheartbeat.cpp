#include "cheartbeat.h"

#include <QTimer>

#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccommand.h"

namespace {

const char* const kHeartBeatCommand = "Heart Beat Detect";

} // namespace

CHeartBeat::CHeartBeat(CMsg* msg, LogManager* logger, int intervalMs, QObject* parent)
    : QObject(parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_timer(new QTimer(this))
{
    m_timer->setInterval(intervalMs);
    m_lastHeard = now();
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvGapMsg, this, &CHeartBeat::onRcvMsg);
    procTable.insert(QStringLiteral("BB@01@84"), &CHeartBeat::heartBeatProc);
}

CHeartBeat::~CHeartBeat() = default;

void CHeartBeat::restart()
{
    if (!m_timer->isActive()) {
        m_timer->start();
        connect(m_timer, &QTimer::timeout, this, &CHeartBeat::check);
    }
    m_lastHeard = now();
}

void CHeartBeat::stop()
{
    if (m_timer->isActive()) {
        m_timer->stop();
        disconnect(m_timer, &QTimer::timeout, this, &CHeartBeat::check);
    }
}

bool CHeartBeat::isActive() const
{
    return m_timer->isActive();
}

void CHeartBeat::check()
{
    if (m_lastHeard.secsTo(now()) >= DeadAfterSeconds) {
        if (m_logger)
            m_logger->log(QStringLiteral("system busy or firmware dead"), 1);
        // Stopped but left connected, as it has always been: the next restart() connects a second
        // time, and from then on every tick runs check() twice.
        m_timer->stop();
        emit dead();
        return;
    }
    if (!CCommand::sendMsg(m_msg, m_logger, QString::fromLatin1(kHeartBeatCommand), FieldValueMap()))
        CCommand::logSendFailed(m_logger, QString::fromLatin1(kHeartBeatCommand));
}

void CHeartBeat::onRcvMsg(QByteArray rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

QDateTime CHeartBeat::now() const
{
    return QDateTime::currentDateTime();
}

void CHeartBeat::heartBeatProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    // Only a one-byte success answer is a sign of life; any other traffic is not.
    if (frame.size() == 6 && frame.at(5) == 0)
        m_lastHeard = now();
}
