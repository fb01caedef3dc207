#include "cmsg.h"

#include <cerrno>

#include <unistd.h>

#include <QElapsedTimer>
#include <QMutexLocker>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include "link/serialdevice.h"
#include "link/serialportthread.h"
#include "log/logmanager.h"

namespace {

constexpr int HeaderLength = 5;

} // namespace

CMsg::CMsg(LogManager* logger, QObject* parent)
    : QObject(parent)
    , m_portThread(new SerialPortThread(this))
    , m_logger(logger)
{
    const std::pair<void (SerialPortThread::*)(QByteArray), Delivery> routes[] = {
        {&SerialPortThread::sig_rcvCommonMsg, &CMsg::sig_rcvCommonMsg},
        {&SerialPortThread::sig_rcvGapMsg, &CMsg::sig_rcvGapMsg},
        {&SerialPortThread::sig_rcvSmMsg, &CMsg::sig_rcvSmMsg},
        {&SerialPortThread::sig_rcvGattMsg, &CMsg::sig_rcvGattMsg},
        {&SerialPortThread::sig_rcvL2capMsg, &CMsg::sig_rcvL2capMsg},
        {&SerialPortThread::sig_rcvRfuMsg, &CMsg::sig_rcvRfuMsg},
        {&SerialPortThread::sig_rcvBIGCIGMsg, &CMsg::sig_rcvBIGCIGMsg},
        {&SerialPortThread::sig_rcvDownLoadMsg, &CMsg::sig_rcvDownLoadMsg},
        {&SerialPortThread::sig_rcvDongleLog, &CMsg::sig_rcvDongleLog},
        {&SerialPortThread::sig_rcvLCPMsg, &CMsg::on_rcvLCPMsg},
        {&SerialPortThread::sig_rcvIDTMsg, &CMsg::on_rcvIDTMsg},
    };
    // One queue for every kind, so that uplinks keep their order whatever their module.
    for (const auto& route : routes) {
        const Delivery delivery = route.second;
        connect(m_portThread, route.first, this,
                [this, delivery](const QByteArray& frame) { receive(delivery, frame); }, Qt::DirectConnection);
    }
    connect(m_portThread, &SerialPortThread::sig_log, this, &CMsg::processPortThreadLog);

    m_deliveryTimer = new QTimer(this);
    m_deliveryTimer->setSingleShot(true);
    connect(m_deliveryTimer, &QTimer::timeout, this, &CMsg::deliver);
}

CMsg::~CMsg()
{
    if (m_opened)
        closePort();
    delete m_portThread;
}

int CMsg::openPort(QString portName)
{
    if (m_opened) {
        log(QStringLiteral("CMsg::openPort, serial port has already been opened."), 1);
        return -1;
    }
    m_portName = portName;
    log(QStringLiteral("open port begin"), 1);

    QString failure;
    const int fd = SerialDevice::open(portName, &failure);
    if (fd < 0)
        return failOpen(failure);

    m_handle = fd;
    m_portThread->setHandle(fd);
    m_portThread->start(QThread::TimeCriticalPriority);
    log(QStringLiteral("open port finish"), 1);

    m_writeNotifier = new QSocketNotifier(fd, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &CMsg::flushOutput);

    m_sendTimer = new QTimer(this);
    // A coarse timer may fire early, and the link must never exceed ten frames a second.
    m_sendTimer->setTimerType(Qt::PreciseTimer);
    m_sendTimer->setInterval(SendInterval);
    m_sendTimer->setSingleShot(false);
    connect(m_sendTimer, &QTimer::timeout, this, &CMsg::onSendTimer);
    m_sendQueue = std::make_unique<QList<QByteArray>>();
    m_sendTimer->start();
    m_opened = true;
    return 0;
}

void CMsg::closePort()
{
    if (!m_opened) {
        log(QStringLiteral("CMsg::openPort, serial port has already been closed."), 1);
        return;
    }
    m_portThread->stop();
    m_opened = false;
    m_portName.clear();
    m_portThread->wait();
    m_portThread->quit();

    delete m_sendTimer;
    m_sendTimer = nullptr;
    m_sendQueue.reset();
    dropOutput();

    SerialDevice::release(m_handle);
    m_handle = -1;
}

int CMsg::sendMsg(QByteArray msg)
{
    unsigned char sum = 0;
    if (generateCheckSum(msg, &sum) != 0) {
        log(QStringLiteral("CMsg::sendMsg: generateCheckSum failed."), 1);
        return -1;
    }
    msg.append(char(sum));
    if (!m_sendQueue) {
        log(QStringLiteral("CMsg::sendMsg: port has been closed."), 1);
        return -1;
    }
    m_sendQueue->append(msg);
    return 0;
}

void CMsg::sendRaw(QByteArray msg)
{
    if (m_sendQueue)
        m_sendQueue->append(msg);
}

int CMsg::generateCheckSum(QByteArray msg, unsigned char* sum)
{
    if (msg.size() < HeaderLength) {
        log(QStringLiteral("CMsg::generateCheckSum:the lenth of msg is smaller than HEADER_LENTH"), 1);
        return -1;
    }
    unsigned int total = 0;
    for (const char byte : qAsConst(msg))
        total += static_cast<unsigned char>(byte);
    *sum = static_cast<unsigned char>(0u - total);
    return 0;
}

QString CMsg::portName() const
{
    return m_portName;
}

bool CMsg::isOpen() const
{
    return m_opened;
}

void CMsg::onSendTimer()
{
    if (!m_sendQueue || m_sendQueue->isEmpty())
        return;
    const QByteArray frame = m_sendQueue->takeFirst();
    if (writeFrame(frame) != 0)
        log(QStringLiteral("Send msg by serial port failed."), 1);
}

int CMsg::undelivered() const
{
    QMutexLocker lock(&m_receivedMutex);
    return int(m_received.size());
}

void CMsg::receive(Delivery delivery, const QByteArray& frame)
{
    QMutexLocker lock(&m_receivedMutex);
    m_received.emplace_back(delivery, frame);
    if (!m_deliveryDue) {
        m_deliveryDue = true;
        QMetaObject::invokeMethod(this, &CMsg::deliver, Qt::QueuedConnection);
    }
}

void CMsg::deliver()
{
    QElapsedTimer spent;
    spent.start();
    const QPointer<CMsg> alive(this); // a receiver may close the tab that owns this port
    for (;;) {
        std::pair<Delivery, QByteArray> next;
        {
            QMutexLocker lock(&m_receivedMutex);
            if (m_received.empty()) {
                m_deliveryDue = false;
                return;
            }
            next = std::move(m_received.front());
            m_received.pop_front();
            // A receiver may wait in an event loop of its own (a message box): what comes
            // meanwhile is handed on from there, by a delivery posted anew.
            m_deliveryDue = false;
        }
        (this->*next.first)(next.second);
        if (!alive)
            return;
        {
            QMutexLocker lock(&m_receivedMutex);
            // A delivery posted meanwhile goes on with the queue.
            if (m_deliveryDue || m_received.empty())
                return;
            m_deliveryDue = true;
        }
        if (spent.elapsed() >= DeliveryBudgetMs) {
            // A timer, unlike a posted call, waits for the timers and paint events already due.
            m_deliveryTimer->start(0);
            return;
        }
    }
}

void CMsg::on_rcvLCPMsg(QByteArray msg)
{
    emit sig_rcvLCPMsg(msg);
}

void CMsg::on_rcvIDTMsg(QByteArray msg)
{
    emit sig_rcvIDTMsg(msg);
}

void CMsg::processPortThreadLog(QString text, int level)
{
    log(text, level);
}

void CMsg::log(const QString& text, int level)
{
    if (m_logger)
        m_logger->log(text, level);
}

int CMsg::failOpen(const QString& text)
{
    log(text, 4);
    m_portName.clear();
    return -1;
}

int CMsg::writeFrame(const QByteArray& frame)
{
    // Behind bytes still waiting for the driver, the frame waits too: the order on the wire
    // is the order of the queue.
    const bool behind = !m_pendingOut.isEmpty();
    m_pendingOut.append(frame);
    return behind ? 0 : writePending();
}

void CMsg::flushOutput()
{
    if (writePending() != 0)
        log(QStringLiteral("Send msg by serial port failed."), 1);
}

// As much of the waiting bytes as the driver takes now; the rest goes when the port is writable
// again. A write error drops them all, like a failed overlapped write.
int CMsg::writePending()
{
    if (m_handle < 0 || m_pendingOut.isEmpty()) {
        if (m_writeNotifier)
            m_writeNotifier->setEnabled(false);
        return 0;
    }
    const ssize_t written = ::write(m_handle, m_pendingOut.constData(), size_t(m_pendingOut.size()));
    if (written < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
        m_pendingOut.clear();
        m_writeNotifier->setEnabled(false);
        log(QStringLiteral("GetLastError() != ERROR_IO_PENDING"), 4);
        return -1;
    }
    if (written > 0) {
        m_written = written;
        m_pendingOut.remove(0, int(written));
    }
    m_writeNotifier->setEnabled(!m_pendingOut.isEmpty());
    return 0;
}

void CMsg::dropOutput()
{
    m_pendingOut.clear();
    delete m_writeNotifier;
    m_writeNotifier = nullptr;
}
