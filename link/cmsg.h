#pragma once

#include <deque>
#include <memory>
#include <utility>

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

class LogManager;
class QSocketNotifier;
class QTimer;
class SerialPortThread;

// The serial port of one dongle: opens and closes it, paces downlink frames one per 100 ms tick,
// and re-emits the receive thread's uplink frames on the GUI thread, in their order of arrival.
class CMsg : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(CMsg)

public:
    static constexpr int SendInterval = 100;
    // Uplinks are handed on for at most this long at a time; then timers and painting get their
    // turn before the rest. Queued signals would be delivered all in one go, however many a
    // flood had piled up, and stall the GUI for as long.
    static constexpr int DeliveryBudgetMs = 8;

    // The logger is not owned and may be null.
    explicit CMsg(LogManager* logger, QObject* parent = nullptr);
    ~CMsg() override;

    int openPort(QString portName);
    void closePort();
    // Takes a frame without checksum, adds it and queues the frame.
    int sendMsg(QByteArray msg);
    // Queues bytes that carry their own checksum, such as the firmware loader's frames.
    void sendRaw(QByteArray msg);
    int generateCheckSum(QByteArray msg, unsigned char* sum);
    QString portName() const;
    bool isOpen() const;
    // Bytes of frames already sent that the driver has not taken yet.
    int pendingBytes() const { return m_pendingOut.size(); }
    // Uplinks received and not yet handed on.
    int undelivered() const;

signals:
    void sig_rcvCommonMsg(QByteArray msg);
    void sig_rcvGapMsg(QByteArray msg);
    void sig_rcvSmMsg(QByteArray msg);
    void sig_rcvGattMsg(QByteArray msg);
    void sig_rcvL2capMsg(QByteArray msg);
    void sig_rcvRfuMsg(QByteArray msg);
    void sig_rcvBIGCIGMsg(QByteArray msg);
    void sig_rcvDownLoadMsg(QByteArray msg);
    void sig_rcvDongleLog(QByteArray msg);
    void sig_rcvLCPMsg(QByteArray msg);
    void sig_rcvIDTMsg(QByteArray msg);
    void sig_portThreadInit(QString portName);
    void sig_portThreadReset();
    void sig_portThreadSendData(QByteArray msg);
    void sig_portThreadStart();

public slots:
    void onSendTimer();
    void on_rcvLCPMsg(QByteArray msg);
    void on_rcvIDTMsg(QByteArray msg);
    void processPortThreadLog(QString text, int level);

private:
    using Delivery = void (CMsg::*)(QByteArray);

    // On the receive thread.
    void receive(Delivery delivery, const QByteArray& frame);
    void deliver();
    void log(const QString& text, int level);
    int failOpen(const QString& text);
    int writeFrame(const QByteArray& frame);
    void flushOutput();
    int writePending();
    void dropOutput();

    SerialPortThread* m_portThread = nullptr;
    bool m_opened = false;
    QString m_portName;
    LogManager* m_logger = nullptr;
    int m_handle = -1;
    QTimer* m_sendTimer = nullptr;
    // Exists only while the port is open: a null queue is how sendMsg knows the port is shut.
    std::unique_ptr<QList<QByteArray>> m_sendQueue;
    qint64 m_written = 0;
    // Bytes of frames already taken off the queue that the driver could not take yet. They go
    // out when the port is writable, before the next frame, like a pending overlapped write.
    QByteArray m_pendingOut;
    QSocketNotifier* m_writeNotifier = nullptr;

    mutable QMutex m_receivedMutex;
    std::deque<std::pair<Delivery, QByteArray>> m_received;
    bool m_deliveryDue = false;
    QTimer* m_deliveryTimer = nullptr;
};
