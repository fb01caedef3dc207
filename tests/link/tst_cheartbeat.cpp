#include <QtTest>

#include "capturelogger.h"
#include "link/cheartbeat.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// Long enough that a busy machine doesn't let two ticks pass between two looks at the log.
constexpr int kTick = 300;

// A monitor whose clock stands still unless the test moves it.
class StillClockHeartBeat : public CHeartBeat
{
public:
    StillClockHeartBeat(CMsg* msg, LogManager* logs, int tick)
        : CHeartBeat(msg, logs, tick)
    {
        m_now = QDateTime::currentDateTime();
        restart();
    }
    void setNow(const QDateTime& time) { m_now = time; }

protected:
    QDateTime now() const override { return m_now.isValid() ? m_now : CHeartBeat::now(); }

private:
    QDateTime m_now;
};

} // namespace

// The CMsg is never opened, so every heartbeat sent leaves one failure line in the log.
class tst_CHeartBeat : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_logs = new LogManager(QStringLiteral("tst_cheartbeat"));
        m_capture = new CaptureLogger;
        m_logs->addLogger(m_capture);
        m_msg = new CMsg(m_logs);
    }
    void cleanup()
    {
        delete m_msg;
        delete m_logs;
    }

    void answerRefreshesOnlyWhenOneZeroByte_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<bool>("refreshes");
        QTest::newRow("success answer") << QByteArray::fromHex("bb0184010000") << true;
        QTest::newRow("non-zero status") << QByteArray::fromHex("bb0184010001") << false;
        QTest::newRow("seven bytes, leading zero") << QByteArray::fromHex("bb018402000000") << false;
        QTest::newRow("other answer on the same signal") << QByteArray::fromHex("bb013d010000") << false;
    }
    void answerRefreshesOnlyWhenOneZeroByte()
    {
        QFETCH(QByteArray, frame);
        QFETCH(bool, refreshes);
        StillClockHeartBeat beat(m_msg, m_logs, 100000);
        const QDateTime born = beat.lastHeard();
        beat.setNow(born.addSecs(10));
        emit m_msg->sig_rcvGapMsg(frame);
        QCOMPARE(beat.lastHeard(), refreshes ? born.addSecs(10) : born);
    }

    void silenceTripsAtTwentySeconds_data()
    {
        QTest::addColumn<int>("silence");
        QTest::addColumn<bool>("trips");
        QTest::newRow("19 s") << 19 << false;
        QTest::newRow("20 s") << 20 << true;
    }
    void silenceTripsAtTwentySeconds()
    {
        QFETCH(int, silence);
        QFETCH(bool, trips);
        StillClockHeartBeat beat(m_msg, m_logs, 100000);
        QSignalSpy dead(&beat, &CHeartBeat::dead);
        beat.setNow(beat.lastHeard().addSecs(silence));
        beat.check();
        QCOMPARE(dead.count(), trips ? 1 : 0);
        QCOMPARE(beat.isActive(), !trips);
        QCOMPARE(m_capture->contains(QStringLiteral("system busy or firmware dead"), 1), trips);
        // A tripped check sends nothing.
        QCOMPARE(sendFailures(), trips ? 0 : 1);
    }

    void restartWhileRunningOnlyRefreshesTime()
    {
        StillClockHeartBeat beat(m_msg, m_logs, kTick);
        const QDateTime later = beat.lastHeard().addSecs(15);
        beat.setNow(later);
        beat.restart();
        QCOMPARE(beat.lastHeard(), later);
        QTRY_VERIFY(sendFailures() > 0);
        beat.stop();
        QCOMPARE(sendFailures(), 1);
    }

    void restartAfterDeadChecksTwicePerTick()
    {
        StillClockHeartBeat beat(m_msg, m_logs, kTick);
        QSignalSpy dead(&beat, &CHeartBeat::dead);
        beat.setNow(beat.lastHeard().addSecs(20));
        QTRY_COMPARE(dead.count(), 1);
        QCOMPARE(sendFailures(), 0);
        beat.restart();
        // Both connections fire within the same tick, so the count moves from 0 straight to 2.
        QTRY_VERIFY(sendFailures() > 0);
        beat.stop();
        QCOMPARE(sendFailures(), 2);
    }

private:
    int sendFailures() const
    {
        return m_capture->texts().count(QStringLiteral("send Heart Beat Detect message failed"));
    }

    LogManager* m_logs = nullptr;
    CaptureLogger* m_capture = nullptr;
    CMsg* m_msg = nullptr;
};

QTEST_GUILESS_MAIN(tst_CHeartBeat)
#include "tst_cheartbeat.moc"
