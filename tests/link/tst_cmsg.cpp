#include <memory>

#include <QtTest>

#include "capturelogger.h"
#include "link/cheartbeat.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "link/serialportthread.h"
#include "ptypair.h"

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

// Everything a link object emits on its eleven uplink signals, in order, as "<signal> <hex>".
// Works for SerialPortThread and CMsg, which carry the same signal names.
template<typename Source>
class SignalRecorder
{
public:
    explicit SignalRecorder(Source* source)
    {
        watch(source, &Source::sig_rcvCommonMsg, "common");
        watch(source, &Source::sig_rcvGapMsg, "gap");
        watch(source, &Source::sig_rcvSmMsg, "sm");
        watch(source, &Source::sig_rcvGattMsg, "gatt");
        watch(source, &Source::sig_rcvL2capMsg, "l2cap");
        watch(source, &Source::sig_rcvRfuMsg, "rfu");
        watch(source, &Source::sig_rcvBIGCIGMsg, "bigcig");
        watch(source, &Source::sig_rcvDownLoadMsg, "download");
        watch(source, &Source::sig_rcvDongleLog, "dongle");
        watch(source, &Source::sig_rcvLCPMsg, "lcp");
        watch(source, &Source::sig_rcvIDTMsg, "idt");
    }

    QStringList events;

private:
    template<typename Signal>
    void watch(Source* source, Signal signal, const char* name)
    {
        QObject::connect(source, signal, [this, name](const QByteArray& frame) {
            events << QLatin1String(name) + QLatin1Char(' ') + QString::fromLatin1(frame.toHex());
        });
    }
};

QString badHeader(const char* byte)
{
    return QStringLiteral("log1 The fix header of the uplink msg is 0x%1,it should be 0xBB or 0xCC or 0xDD or 0xFF")
        .arg(QLatin1String(byte));
}

QString badLength(const char* byte)
{
    return QStringLiteral("log1 The uplink msg's length is wrong.Throw the head is 0x%1.").arg(QLatin1String(byte));
}

// The parser's uplink signals and its log lines, as "log<level> <text>", in one ordered list.
class Recorder : public SignalRecorder<SerialPortThread>
{
public:
    explicit Recorder(SerialPortThread* thread)
        : SignalRecorder(thread)
    {
        QObject::connect(thread, &SerialPortThread::sig_log, [this](const QString& text, int level) {
            events << QStringLiteral("log%1 %2").arg(level).arg(text);
        });
    }
};

// A parser past its first reset, without the reset's stray checksum byte in the queue.
std::unique_ptr<SerialPortThread> primedParser()
{
    auto parser = std::make_unique<SerialPortThread>();
    parser->parse(bytes("cc0002010000"));
    return parser;
}

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

// Each case gets a pseudo-terminal published as a port; the test plays the dongle at the master.
// The heartbeat cases use a CMsg that is never opened, so every heartbeat sent leaves one
// failure line in the log.
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
        m_msg = new CMsg(m_logs);
    }
    void cleanup()
    {
        delete m_msg;
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

    // The frame parser on its own.
    void stream_data()
    {
        QTest::addColumn<bool>("primed");
        QTest::addColumn<QList<QByteArray>>("chunks");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("noise and frames before the first reset are dropped unheard") << false
            << QList<QByteArray>{bytes("0011bb013d01000006cc0002"), bytes("cc000201000031bb013d01000006")}
            << QStringList{"common cc0002010000", badHeader("31"), "gap bb013d010000"};
        QTest::newRow("stray checksum logged once, later resets are plain frames") << false
            << QList<QByteArray>{bytes("cc000201000031cc000201000031bb013d01000006")}
            << QStringList{"common cc0002010000", badHeader("31"), "common cc0002010000", "gap bb013d010000"};
        QTest::newRow("length 5000 accepted") << true
            << QList<QByteArray>{bytes("dd01028813") + QByteArray(5000, '\x5a') + bytes("b5")}
            << QStringList{"gap dd01028813" + QString("5a").repeated(5000)};
        QTest::newRow("length 5001 refused, one byte dropped") << true
            << QList<QByteArray>{bytes("dd01028913bb013d01000006")}
            << QStringList{badLength("dd"), badHeader("01"), badHeader("02"), badHeader("89"), badHeader("13"),
                           "gap bb013d010000"};
        QTest::newRow("download length 5001 refused") << true
            << QList<QByteArray>{bytes("444700008913bb013d01000006")}
            << QStringList{badLength("44"), badHeader("47"), badHeader("00"), badHeader("00"), badHeader("89"),
                           badHeader("13"), "gap bb013d010000"};
        QTest::newRow("bad checksum with a good frame hidden inside") << true
            << QList<QByteArray>{bytes("dd01020700bb013d0100000620cc0202010077b8")}
            << QStringList{"log1 The msg check checksum failed.", "log1 Raw Data: dd01020700bb013d0100000620",
                           badHeader("01"), badHeader("02"), badHeader("07"), badHeader("00"), "gap bb013d010000",
                           badHeader("20"), "sm cc0202010077"};
        QTest::newRow("download frame: length+7 emitted, length+8 consumed") << true
            << QList<QByteArray>{bytes("444701020300aabbccc1c2bb013d01000006")}
            << QStringList{"download 444701020300aabbccc1", "gap bb013d010000"};
        QTest::newRow("0x44 at the end of a chunk waits for the next byte") << true
            << QList<QByteArray>{bytes("44"), bytes("4701020000c1c2")} << QStringList{"download 444701020000c1"};
        QTest::newRow("0x44 not followed by 0x47 is a bad header") << true
            << QList<QByteArray>{bytes("4400bb013d01000006")}
            << QStringList{badHeader("44"), badHeader("00"), "gap bb013d010000"};
        QTest::newRow("dongle log on module 9 is not LCP") << true
            << QList<QByteArray>{bytes("ff09000200686925")} << QStringList{"dongle ff090002006869"};
    }
    void stream()
    {
        QFETCH(bool, primed);
        QFETCH(QList<QByteArray>, chunks);
        QFETCH(QStringList, expected);
        auto parser = primed ? primedParser() : std::make_unique<SerialPortThread>();
        Recorder recorder(parser.get());
        for (const QByteArray& chunk : chunks)
            parser->parse(chunk);
        QCOMPARE(recorder.events, expected);
    }

    // All 256 module values under header 0xDD: only 0-4, 9 and 10 have signals of their own.
    void everyModuleValue()
    {
        const QMap<int, QString> ownSignal{{0, "common"}, {1, "gap"}, {2, "sm"},   {3, "gatt"},
                                           {4, "l2cap"},  {9, "lcp"}, {10, "idt"}};
        for (int module = 0; module < 256; ++module) {
            const QByteArray frame = bytes("dd") + char(module) + bytes("010000");
            auto parser = primedParser();
            Recorder recorder(parser.get());
            parser->parse(frame + char(-(0xdd + module + 0x01)));
            const QString expected = ownSignal.value(module, "rfu") + ' ' + QString::fromLatin1(frame.toHex());
            QVERIFY2(recorder.events == QStringList{expected}, qPrintable(QString::number(module)));
        }
    }

    void splitAtEveryOffset_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("command, download and dongle log frames")
            << bytes("dd01020300112233b7444701020300aabbccc1c2ff09000200686925")
            << QStringList{"gap dd01020300112233", "download 444701020300aabbccc1", "dongle ff090002006869"};
        QTest::newRow("noise and a corrupted frame around a good one")
            << bytes("00bb013d01000007cc0202010077b8")
            << QStringList{badHeader("00"), "log1 The msg check checksum failed.", "log1 Raw Data: bb013d01000007",
                           badHeader("01"), badHeader("3d"), badHeader("01"), badHeader("00"), badHeader("00"),
                           badHeader("07"), "sm cc0202010077"};
    }
    void splitAtEveryOffset()
    {
        QFETCH(QByteArray, stream);
        QFETCH(QStringList, expected);
        for (int offset = 1; offset < stream.size(); ++offset) {
            auto parser = primedParser();
            Recorder recorder(parser.get());
            parser->parse(stream.left(offset));
            parser->parse(stream.mid(offset));
            QVERIFY2(recorder.events == expected, qPrintable(QStringLiteral("split at %1").arg(offset)));
        }
        auto parser = primedParser();
        Recorder recorder(parser.get());
        for (const char byte : qAsConst(stream))
            parser->parse(QByteArray(1, byte));
        QCOMPARE(recorder.events, expected);
    }
private:
    int sendFailures() const
    {
        return m_capture->texts().count(QStringLiteral("send Heart Beat Detect message failed"));
    }

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
    CMsg* m_msg = nullptr;
};

QTEST_GUILESS_MAIN(tst_CMsg)
#include "tst_cmsg.moc"
