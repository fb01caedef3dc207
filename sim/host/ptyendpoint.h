#pragma once

#include <deque>

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include "baudpace.h"

class QSocketNotifier;
class QTimer;

// The terminal end of one simulated dongle: a pseudo-terminal whose slave is published as a
// link in the port folder, where the tool finds it like a serial port.
class PtyEndpoint : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PtyEndpoint)

public:
    // One second of the line. Past it nobody is reading: the tool went away or has not come yet.
    static constexpr int MaxPending = 46080;

    PtyEndpoint(const QString& folder, const QString& portName, QObject* parent = nullptr);
    ~PtyEndpoint() override;

    bool open(QString* error);
    // Removes the link and closes both ends: the tool's descriptor sees a hang-up.
    void close();
    bool isOpen() const { return m_master >= 0; }
    QString portName() const { return m_portName; }
    QString slavePath() const { return m_slavePath; }
    QString linkPath() const;

    // Queues one frame for the tool; delivered() tells when it is on the line whole.
    void write(const QByteArray& bytes);
    // Delivers uplink bytes no faster than 460800 baud would.
    void setBaudPace(bool on) { m_paced = on; }

signals:
    void received(const QByteArray& bytes);
    // A frame went onto the line, its last byte into the terminal.
    void delivered(const QByteArray& frame);

private:
    void readMaster();
    void flush();
    void dropUnsent();

    QString m_folder;
    QString m_portName;
    QString m_slavePath;
    int m_master = -1;
    // Held open so that the master stays usable while the tool has the port closed: without a
    // slave descriptor the master reads EIO.
    int m_slave = -1;
    QSocketNotifier* m_readNotifier = nullptr;
    QSocketNotifier* m_writeNotifier = nullptr;
    QTimer* m_paceTimer = nullptr;
    QElapsedTimer m_paceClock;
    BaudPace m_pace;
    bool m_paced = false;
    QByteArray m_pending;
    // The frames in m_pending, so that it is cut between frames and each is told when delivered.
    std::deque<QByteArray> m_frames;
    int m_headWritten = 0; // bytes of the first frame already on the line
};
