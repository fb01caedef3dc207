#pragma once

#include <atomic>

#include <QByteArray>
#include <QString>
#include <QThread>

class CMsg;

// Reads one open serial port on its own thread, cuts the byte stream into uplink frames and
// hands each, without its checksum, to the signal of its module.
class SerialPortThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(SerialPortThread)

public:
    static constexpr int BufferSize = 0x100000;
    static constexpr quint64 MaxUplinkLength = 5000;

    explicit SerialPortThread(CMsg* parent = nullptr);
    ~SerialPortThread() override;

    // The descriptor stays owned by the caller. Setting it arms the loop, so that a stop() that
    // comes before run() has begun still ends it.
    void setHandle(int handle);
    void stop();

    // Appends the bytes to the queue and emits every frame that is complete. Runs on the read
    // thread in service, and is public so that a test can drive it without a port.
    void parse(const QByteArray& data);

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
    void sig_log(QString text, int level);

protected:
    void run() override;

private:
    enum State {
        Idle = 0,
        Header = 1,
        Body = 2,
        DownloadHeader = 3,
        DownloadBody = 4,
        WaitFirstReset = 5,
    };

    void dispatch(const QByteArray& frame);
    void logBadHeader(unsigned char byte);
    void logBadLength(unsigned char byte);

    int m_state = WaitFirstReset;
    QByteArray m_header;
    QByteArray m_payload;
    quint64 m_length = 0;
    // Bytes received and not yet consumed; parse() keeps only the unfinished tail between calls.
    QByteArray m_queue;
    int m_handle = -1;
    std::atomic<bool> m_running{false};
    char m_buffer[BufferSize];
};
