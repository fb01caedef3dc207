#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QString>

#include "schema/uplinkdispatch.h"

class CMsg;
class LogManager;
class QTimer;

// Sends "Heart Beat Detect" every tick and reports dead() once the dongle has not answered for
// 20 seconds.
class CHeartBeat : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(CHeartBeat)

public:
    static constexpr int DeadAfterSeconds = 20;

    // Neither the port nor the logger is owned. The monitor starts stopped.
    CHeartBeat(CMsg* msg, LogManager* logger, int intervalMs, QObject* parent = nullptr);
    ~CHeartBeat() override;

    void restart();
    void stop();
    bool isActive() const;
    QDateTime lastHeard() const { return m_lastHeard; }

signals:
    void dead();

public slots:
    void onRcvMsg(QByteArray rcvMsg);
    void check();

protected:
    // The clock that silence is measured by; a test replaces it to skip the 20 seconds.
    virtual QDateTime now() const;

private:
    void heartBeatProc(const QByteArray& frame);

    UplinkTable<CHeartBeat> procTable;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QDateTime m_lastHeard;
    QTimer* m_timer = nullptr;
};
