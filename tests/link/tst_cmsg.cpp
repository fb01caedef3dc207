#include <QtTest>

#include "capturelogger.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"
#include "signalrecorder.h"

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

} // namespace

// Each case gets a pseudo-terminal published as a port; the test plays the dongle at the master.
class tst_CMsg : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pty = new PtyPair(QStringLiteral("ttySIMTEST0"));
        QVERIFY(m_pty->isValid());
        m_logs = new LogManager(QStringLiteral("tst_cmsg"));
        m_capture = new CaptureLogger;
        m_logs->addLogger(m_capture);
    }
    void cleanup()
    {
        delete m_logs;
        delete m_pty;
    }

    void send_data()
    {
        QTest::addColumn<bool>("raw");
        QTest::addColumn<QByteArray>("msg");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("frame gets its checksum") << false << bytes("aa01020300112233") << bytes("aa01020300112233ea");
        QTest::newRow("raw bytes leave as given") << true << bytes("44470a0b0200abcde6") << bytes("44470a0b0200abcde6");
    }
    void send()
    {
        QFETCH(bool, raw);
        QFETCH(QByteArray, msg);
        QFETCH(QByteArray, expected);
        CMsg port(m_logs);
        QCOMPARE(port.openPort(m_pty->portName()), 0);
        if (raw)
            port.sendRaw(msg);
        else
            QCOMPARE(port.sendMsg(msg), 0);
        QByteArray got;
        QVERIFY(receive(got, expected.size()));
        QCOMPARE(got, expected);
    }

    // Whatever is refused must not be sitting in the queue: the next good frame is the first to leave.
    void refusedFramesQueueNothing()
    {
        CMsg port(m_logs);
        QCOMPARE(port.sendMsg(bytes("aa013d0000")), -1);
        QVERIFY(m_capture->contains("CMsg::sendMsg: port has been closed.", 1));
        port.sendRaw(bytes("4447"));
        QCOMPARE(port.openPort(m_pty->portName()), 0);
        QCOMPARE(port.sendMsg(bytes("aa013d00")), -1);
        QVERIFY(m_capture->contains("CMsg::sendMsg: generateCheckSum failed.", 1));
        QCOMPARE(port.sendMsg(bytes("aa0001010007")), 0);
        QByteArray got;
        QVERIFY(receive(got, 7));
        QCOMPARE(got, bytes("aa00010100074d"));
    }

    void burstLeavesInOrderAtTenPerSecond()
    {
        CMsg port(m_logs);
        QCOMPARE(port.openPort(m_pty->portName()), 0);
        QByteArray expected;
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 50; ++i) {
            const QByteArray frame = bytes("aa05010100") + char(i);
            QCOMPARE(port.sendMsg(frame), 0);
            expected += frame + char(-(0xaa + 0x05 + 0x01 + 0x01 + i));
        }
        QByteArray got;
        QVERIFY(receive(got, expected.size()));
        QVERIFY2(clock.elapsed() >= 4900, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(got, expected);
    }

    void closeDropsQueuedFramesAndReopenRestarts()
    {
        CMsg port(m_logs);
        SignalRecorder<CMsg> recorder(&port);
        QCOMPARE(port.openPort(m_pty->portName()), 0);
        QCOMPARE(port.sendMsg(bytes("aa013d0000")), 0);
        QCOMPARE(port.sendMsg(bytes("aa01020300112233")), 0);
        port.closePort();
        QCOMPARE(port.openPort(m_pty->portName()), 0);
        QCOMPARE(port.sendMsg(bytes("aa0901000000")), 0);
        QByteArray got;
        QVERIFY(receive(got, 7));
        QCOMPARE(got, bytes("aa09010000004c"));
        QVERIFY(m_pty->write(bytes("cc000201000031cc030302001234e6")));
        QTRY_COMPARE(recorder.events, (QStringList{"common cc0002010000", "gatt cc030302001234"}));
    }

    void portHeldElsewhereIsRefused()
    {
        CMsg first(m_logs);
        SignalRecorder<CMsg> recorder(&first);
        QCOMPARE(first.openPort(m_pty->portName()), 0);
        QCOMPARE(first.openPort(m_pty->portName()), -1);
        QVERIFY(m_capture->contains("CMsg::openPort, serial port has already been opened.", 1));
        LogManager otherLogs(QStringLiteral("tst_cmsg_other"));
        auto* otherCapture = new CaptureLogger;
        otherLogs.addLogger(otherCapture);
        CMsg second(&otherLogs);
        QCOMPARE(second.openPort(m_pty->portName()), -1);
        QVERIFY(otherCapture->contains("Create File Error", 4));
        QCOMPARE(first.sendMsg(bytes("aa013d0000")), 0);
        QByteArray got;
        QVERIFY(receive(got, 6));
        QCOMPARE(got, bytes("aa013d000018"));
        QVERIFY(m_pty->write(bytes("cc000201000031bb060100003e")));
        QTRY_COMPARE(recorder.events, (QStringList{"common cc0002010000", "rfu bb06010000"}));
    }

    void uplinkChunksReachSignalsInOrder()
    {
        CMsg port(m_logs);
        SignalRecorder<CMsg> recorder(&port);
        QCOMPARE(port.openPort(m_pty->portName()), 0);
        const QByteArray stream = bytes("cc000201000031"          // first reset and its stray checksum
                                        "bb013d01000006"          // GAP
                                        "dd0a05000014"            // IDT
                                        "cc090101001118"          // LCP
                                        "bb06010000" "3e"         // isochronous
                                        "ff010003006f6b2102"      // dongle log
                                        "444701020300aabbccc1c2"  // loader answer
                                        "dd01020300112233b7");    // GAP
        const int cuts[] = {3, 7, 8, 20, 21, 22, 40, 41, stream.size()};
        int from = 0;
        for (const int to : cuts) {
            QVERIFY(m_pty->write(stream.mid(from, to - from)));
            from = to;
            // Lets the read loop see some chunks alone.
            QTest::qWait(3);
        }
        const QStringList expected{"common cc0002010000",   "gap bb013d010000",
                                   "idt dd0a050000",        "lcp cc0901010011",
                                   "rfu bb06010000",        "dongle ff010003006f6b21",
                                   "download 444701020300aabbccc1", "gap dd01020300112233"};
        QTRY_COMPARE(recorder.events, expected);
        QVERIFY(m_capture->contains(
            "The fix header of the uplink msg is 0x31,it should be 0xBB or 0xCC or 0xDD or 0xFF", 1));
    }

private:
    // Reads the far end until `count` bytes have come.
    bool receive(QByteArray& into, int count)
    {
        QDeadlineTimer deadline(10000);
        while (into.size() < count && !deadline.hasExpired()) {
            into += m_pty->readAll();
            QTest::qWait(5);
        }
        return into.size() >= count;
    }

    PtyPair* m_pty = nullptr;
    LogManager* m_logs = nullptr;
    CaptureLogger* m_capture = nullptr;
};

QTEST_GUILESS_MAIN(tst_CMsg)
#include "tst_cmsg.moc"
