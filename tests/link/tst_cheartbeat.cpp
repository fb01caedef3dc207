#include <QtTest>

#include "capturelogger.h"
#include "link/cheartbeat.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"

namespace {

const QString kSendFailed = QStringLiteral("send Heart Beat Detect message failed");
// Long enough that a busy machine doesn't let two ticks pass between two looks at the log.
constexpr int kTick = 300;

// A monitor whose clock stands still unless the test moves it.
class StillClockHeartBeat : public CHeartBeat
{
public:
    using CHeartBeat::CHeartBeat;

    void setNow(const QDateTime& time) { m_now = time; }

protected:
    QDateTime now() const override { return m_now.isValid() ? m_now : CHeartBeat::now(); }

private:
    QDateTime m_now;
};

} // namespace

class tst_CHeartBeat : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void answerRefreshesOnlyWhenOneZeroByte_data();
    void answerRefreshesOnlyWhenOneZeroByte();
    void silenceTripsAtTwentyWholeSeconds_data();
    void silenceTripsAtTwentyWholeSeconds();
    void restartWhileRunningOnlyRefreshesTime();
    void restartAfterDeadChecksTwicePerTick();
    void stopDropsBothConnections();
    void heartbeatReachesTheWire();

private:
    int sendFailures() const { return m_capture->texts().count(kSendFailed); }

    LogManager* m_logs = nullptr;
    CaptureLogger* m_capture = nullptr;
    // Never opened, so every heartbeat fails and leaves one failure line per check().
    CMsg* m_msg = nullptr;
};

void tst_CHeartBeat::init()
{
    m_logs = new LogManager(QStringLiteral("tst_cheartbeat"));
    m_capture = new CaptureLogger;
    m_logs->addLogger(m_capture);
    m_msg = new CMsg(m_logs);
}

void tst_CHeartBeat::cleanup()
{
    delete m_msg;
    delete m_logs;
}

void tst_CHeartBeat::answerRefreshesOnlyWhenOneZeroByte_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("refreshes");

    QTest::newRow("success answer") << QByteArray::fromHex("bb0184010000") << true;
    QTest::newRow("non-zero status") << QByteArray::fromHex("bb0184010001") << false;
    QTest::newRow("busy status") << QByteArray::fromHex("bb0184010006") << false;
    QTest::newRow("five bytes, no payload") << QByteArray::fromHex("bb01840000") << false;
    QTest::newRow("seven bytes, leading zero") << QByteArray::fromHex("bb018402000000") << false;
    QTest::newRow("length word disagrees with size") << QByteArray::fromHex("bb0184020000") << false;
    QTest::newRow("other answer on the same signal") << QByteArray::fromHex("bb013d010000") << false;
    QTest::newRow("event of the same opcode") << QByteArray::fromHex("dd0184010000") << false;
}

void tst_CHeartBeat::answerRefreshesOnlyWhenOneZeroByte()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, refreshes);

    StillClockHeartBeat beat(m_msg, m_logs, 1000);
    const QDateTime born = beat.lastHeard();
    const QDateTime later = born.addSecs(10);
    beat.setNow(later);

    emit m_msg->sig_rcvGapMsg(frame);

    QCOMPARE(beat.lastHeard(), refreshes ? later : born);
}

void tst_CHeartBeat::silenceTripsAtTwentyWholeSeconds_data()
{
    QTest::addColumn<int>("silenceMs");
    QTest::addColumn<bool>("trips");

    QTest::newRow("19 s") << 19000 << false;
    QTest::newRow("19.999 s counts as 19") << 19999 << false;
    QTest::newRow("exactly 20 s") << 20000 << true;
    QTest::newRow("a minute") << 60000 << true;
}

void tst_CHeartBeat::silenceTripsAtTwentyWholeSeconds()
{
    QFETCH(int, silenceMs);
    QFETCH(bool, trips);

    StillClockHeartBeat beat(m_msg, m_logs, 1000);
    QSignalSpy dead(&beat, &CHeartBeat::dead);
    beat.setNow(QDateTime::currentDateTime());
    beat.restart();
    beat.setNow(beat.lastHeard().addMSecs(silenceMs));

    beat.check();

    QCOMPARE(dead.count(), trips ? 1 : 0);
    QCOMPARE(beat.isActive(), !trips);
    QCOMPARE(m_capture->contains(QStringLiteral("system busy or firmware dead"), 1), trips);
    // A tripped check sends nothing.
    QCOMPARE(sendFailures(), trips ? 0 : 1);
}

void tst_CHeartBeat::restartWhileRunningOnlyRefreshesTime()
{
    StillClockHeartBeat beat(m_msg, m_logs, kTick);
    beat.setNow(QDateTime::currentDateTime());
    beat.restart();
    const QDateTime later = beat.lastHeard().addSecs(15);
    beat.setNow(later);

    beat.restart();

    QCOMPARE(beat.lastHeard(), later);
    QTRY_VERIFY(sendFailures() > 0);
    beat.stop();
    QCOMPARE(sendFailures(), 1);
}

void tst_CHeartBeat::restartAfterDeadChecksTwicePerTick()
{
    StillClockHeartBeat beat(m_msg, m_logs, kTick);
    QSignalSpy dead(&beat, &CHeartBeat::dead);
    beat.setNow(QDateTime::currentDateTime());
    beat.restart();
    beat.setNow(beat.lastHeard().addSecs(20));
    QTRY_COMPARE(dead.count(), 1);
    QVERIFY(!beat.isActive());
    QCOMPARE(sendFailures(), 0);

    beat.restart();

    // Both connections fire within the same tick, so the count moves from 0 straight to 2.
    QTRY_VERIFY(sendFailures() > 0);
    beat.stop();
    QCOMPARE(sendFailures(), 2);
}

void tst_CHeartBeat::stopDropsBothConnections()
{
    StillClockHeartBeat beat(m_msg, m_logs, kTick);
    QSignalSpy dead(&beat, &CHeartBeat::dead);
    beat.setNow(QDateTime::currentDateTime());
    beat.restart();
    beat.setNow(beat.lastHeard().addSecs(20));
    QVERIFY(dead.wait());
    beat.restart();
    QTRY_VERIFY(sendFailures() > 0);
    beat.stop();
    QVERIFY(!beat.isActive());

    // A stop after the doubled ticks leaves no stale connection behind: one check per tick again.
    const int before = sendFailures();
    beat.restart();
    QTRY_VERIFY(sendFailures() > before);
    beat.stop();
    QCOMPARE(sendFailures(), before + 1);
}

void tst_CHeartBeat::heartbeatReachesTheWire()
{
    PtyPair pty(QStringLiteral("ttyBEATTEST0"));
    QVERIFY(pty.isValid());
    QCOMPARE(m_msg->openPort(pty.portName()), 0);
    CHeartBeat beat(m_msg, m_logs, 100);

    beat.restart();

    QByteArray wire;
    QDeadlineTimer deadline(5000);
    while (wire.size() < 6 && !deadline.hasExpired()) {
        wire += pty.readAll();
        QTest::qWait(5);
    }
    beat.stop();
    m_msg->closePort();
    // AA 01 84 00 00, checksum -(0xAA + 0x01 + 0x84) = -0x2F = 0xD1.
    QCOMPARE(wire.left(6), QByteArray::fromHex("aa01840000d1"));
    // The codec keeps the heartbeat out of the user's pane: downlink text only at debug level.
    for (const auto& line : qAsConst(m_capture->lines)) {
        if (line.second.startsWith(QLatin1String("Downlink Command Name: Heart Beat Detect")))
            QCOMPARE(line.first, 1);
    }
}

QTEST_GUILESS_MAIN(tst_CHeartBeat)
#include "tst_cheartbeat.moc"
