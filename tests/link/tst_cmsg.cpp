#include <atomic>
#include <memory>
#include <type_traits>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include "frames.h"
#include "link/cheartbeat.h"
#include "link/serialdevice.h"
#include "link/serialportthread.h"
#include "linkbench.h"

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

// Everything a link object emits, in order, as "<signal> <hex>"; the parser's log lines too,
// as "log<level> <text>". SerialPortThread and CMsg carry the same signal names.
template<typename Source>
struct Recorder
{
    explicit Recorder(Source* source)
    {
        const QPair<void (Source::*)(QByteArray), const char*> uplinks[] = {
            {&Source::sig_rcvCommonMsg, "common"}, {&Source::sig_rcvGapMsg, "gap"}, {&Source::sig_rcvSmMsg, "sm"},
            {&Source::sig_rcvGattMsg, "gatt"}, {&Source::sig_rcvL2capMsg, "l2cap"}, {&Source::sig_rcvRfuMsg, "rfu"},
            {&Source::sig_rcvBIGCIGMsg, "bigcig"}, {&Source::sig_rcvDownLoadMsg, "download"},
            {&Source::sig_rcvDongleLog, "dongle"}, {&Source::sig_rcvLCPMsg, "lcp"}, {&Source::sig_rcvIDTMsg, "idt"}};
        for (const auto& uplink : uplinks)
            QObject::connect(source, uplink.first, [this, name = uplink.second](const QByteArray& frame) {
                events << QLatin1String(name) + QLatin1Char(' ') + QString::fromLatin1(frame.toHex());
            });
        if constexpr (std::is_same_v<Source, SerialPortThread>)
            QObject::connect(source, &SerialPortThread::sig_log, [this](const QString& text, int level) {
                events << QStringLiteral("log%1 %2").arg(level).arg(text);
            });
    }
    QStringList events;
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

// Long enough that a busy machine doesn't let two ticks pass between two looks at the log.
constexpr int kTick = 300;

// A running monitor whose clock stands still unless the test moves it.
struct StillClockHeartBeat : CHeartBeat
{
    StillClockHeartBeat(CMsg* msg, LogManager* logs, int tick)
        : CHeartBeat(msg, logs, tick)
    {
        restart();
    }
    QDateTime now() const override { return m_now; }
    QDateTime m_now = QDateTime::currentDateTime();
};

} // namespace

// Each case gets a pseudo-terminal published as a port; the test plays the dongle at the master.
// The heartbeat cases leave the port closed, so every heartbeat sent leaves one failure line in the log.
class tst_CMsg : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_bench = std::make_unique<LinkBench>(false); }
    void cleanup() { m_bench.reset(); }

    void burstLeavesInOrderAtTenPerSecond()
    {
        QCOMPARE(m_bench->msg.openPort(m_bench->pty.portName()), 0);
        QByteArray expected;
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 50; ++i) {
            const QByteArray frame = bytes("aa05010100") + char(i);
            QCOMPARE(m_bench->msg.sendMsg(frame), 0);
            expected += withChecksum(frame);
        }
        QCOMPARE(m_bench->pty.read(expected.size(), 10000), expected);
        QVERIFY2(clock.elapsed() >= 4900, qPrintable(QString::number(clock.elapsed())));
    }

    // A far end that stops reading fills the driver: a frame goes out in part, the rest and the
    // frames behind it wait until the port drains, and all arrive whole and in order.
    void partialWritesFinishInOrder()
    {
        QCOMPARE(m_bench->msg.openPort(m_bench->pty.portName()), 0);
        QByteArray expected;
        for (char fill : {'a', 'b', 'c'}) {
            const QByteArray frame = bytes("aa0501ffff") + QByteArray(0xffff, fill);
            QCOMPARE(m_bench->msg.sendMsg(frame), 0);
            expected += withChecksum(frame);
        }
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->msg.pendingBytes() > 0, 10000);
        QVERIFY(m_bench->pty.read(expected.size(), 20000) == expected); // not QCOMPARE: 196 KiB would flood the log
        QCOMPARE(m_bench->msg.pendingBytes(), 0);
    }

    // A far end so slow that the driver takes nothing: the frame waits whole, then goes whole.
    void fullDriverTakesTheFrameLater()
    {
        // Opened before the tool locks the port, to keep the driver full from behind its back.
        const int filler = ::open(QFile::encodeName(m_bench->pty.slavePath()).constData(), O_WRONLY | O_NONBLOCK | O_NOCTTY);
        QVERIFY(filler >= 0);
        QCOMPARE(m_bench->msg.openPort(m_bench->pty.portName()), 0);
        std::atomic<bool> filling{true};
        QByteArray filled;
        std::unique_ptr<QThread> fill(QThread::create([&] {
            const QByteArray block(256, 'f');
            pollfd room{filler, POLLOUT, 0};
            while (filling) {
                const ssize_t n = ::write(filler, block.constData(), size_t(block.size()));
                if (n > 0)
                    filled += block.left(int(n));
                else
                    ::poll(&room, 1, 1);
            }
        }));
        fill->start();
        const auto stop = qScopeGuard([&] {
            filling = false;
            fill->wait();
            ::close(filler);
        });

        const QByteArray frame = bytes("aa05010200abcd");
        QCOMPARE(m_bench->msg.sendMsg(frame), 0);
        QTRY_VERIFY(m_bench->msg.pendingBytes() > 0);
        filling = false;
        QVERIFY(fill->wait(5000));
        const QByteArray expected = withChecksum(frame);
        QByteArray got = m_bench->pty.read(filled.size() + expected.size(), 10000);
        // The filler's bytes may come between parts of the frame; the frame's own, none of them
        // an 'f', arrive whole and in order.
        QCOMPARE(got.count('f'), filled.size());
        QCOMPARE(got.replace('f', QByteArray()).toHex(), expected.toHex());
    }

    // The receive thread dumps a crash of its own, a stack overflow too: it runs the handler on
    // a stack of its own.
    void receiveThreadHasItsOwnSignalStack()
    {
        QString failure;
        const int fd = SerialDevice::open(m_bench->pty.portName(), &failure);
        QVERIFY2(fd >= 0, qPrintable(failure));
        SerialPortThread thread;
        stack_t seen{};
        seen.ss_flags = SS_DISABLE;
        QObject::connect(&thread, &SerialPortThread::sig_rcvCommonMsg, &thread,
                         [&seen] { sigaltstack(nullptr, &seen); }, Qt::DirectConnection);
        thread.setHandle(fd);
        thread.start();
        const auto stop = qScopeGuard([&] {
            thread.stop();
            thread.wait();
            SerialDevice::release(fd);
        });
        QVERIFY(m_bench->pty.write(bytes("cc000201000031")));
        QTRY_VERIFY(seen.ss_sp != nullptr);
        QCOMPARE(seen.ss_flags & SS_DISABLE, 0);
        QVERIFY(seen.ss_size >= 16 * 1024);
    }

    // A closed port refuses frames and drops raw bytes; one holder per port; frames get their
    // checksum and raw bytes leave as given; closing drops the queue, and a reopened port sends
    // and hears again, every parser signal and log line passed on; a write to a far end that is
    // gone fails.
    void sendsAndHears()
    {
        Recorder<CMsg> recorder(&m_bench->msg);
        QCOMPARE(m_bench->msg.sendMsg(bytes("aa013d0000")), -1);
        QVERIFY(m_bench->log->contains("CMsg::sendMsg: port has been closed.", 1));
        m_bench->msg.sendRaw(bytes("4447"));
        QCOMPARE(m_bench->msg.openPort(m_bench->pty.portName()), 0);
        QCOMPARE(m_bench->msg.openPort(m_bench->pty.portName()), -1);
        QVERIFY(m_bench->log->contains("CMsg::openPort, serial port has already been opened.", 1));
        QCOMPARE(CMsg(&m_bench->logger).openPort(m_bench->pty.portName()), -1);
        QVERIFY(m_bench->log->contains("Create File Error", 4));
        QCOMPARE(m_bench->msg.sendMsg(bytes("aa013d00")), -1);
        QVERIFY(m_bench->log->contains("CMsg::sendMsg: generateCheckSum failed.", 1));
        QCOMPARE(m_bench->msg.sendMsg(bytes("aa01020300112233")), 0);
        m_bench->msg.sendRaw(bytes("44470a0b0200abcde6"));
        QCOMPARE(m_bench->pty.read(18, 10000), bytes("aa01020300112233ea" "44470a0b0200abcde6"));

        QCOMPARE(m_bench->msg.sendMsg(bytes("aa013d0000")), 0);
        QCOMPARE(m_bench->msg.sendMsg(bytes("aa01020300112233")), 0);
        m_bench->msg.closePort();
        QCOMPARE(m_bench->msg.openPort(m_bench->pty.portName()), 0);
        QCOMPARE(m_bench->msg.sendMsg(bytes("aa0901000000")), 0);
        QCOMPARE(m_bench->pty.read(7, 10000), bytes("aa09010000004c"));
        QVERIFY(m_bench->pty.write(bytes("cc000201000031" "bb013d01000006" "cc0202010077b8" "cc030302001234e6"
                                   "dd040100001e" "bb060100003e" "444701020300aabbccc1c2"
                                   "ff010003006f6b2102" "cc090101001118" "dd0a05000014")));
        QTRY_COMPARE(recorder.events,
                     (QStringList{"common cc0002010000", "gap bb013d010000", "sm cc0202010077",
                                  "gatt cc030302001234", "l2cap dd04010000", "rfu bb06010000",
                                  "download 444701020300aabbccc1", "dongle ff010003006f6b21",
                                  "lcp cc0901010011", "idt dd0a050000"}));
        QVERIFY(m_bench->log->contains(badHeader("31").mid(5), 1));

        // The far end gone, as when a dongle is pulled out: the write fails, and says so.
        m_bench->pty.close();
        QCOMPARE(m_bench->msg.sendMsg(bytes("aa01840000")), 0);
        QTRY_VERIFY(m_bench->log->contains("Send msg by serial port failed.", 1));
    }

    // A pile of uplinks whose handling is slow is handed on in slices, a timer getting its turn
    // between them; none is lost or overtaken.
    void floodIsHandedOnInSlices()
    {
        constexpr int kFrames = 40;
        QVector<int> order;
        connect(&m_bench->msg, &CMsg::sig_rcvGapMsg, this, [&order](const QByteArray& frame) {
            QElapsedTimer handling; // a page that takes a millisecond for each frame
            handling.start();
            while (handling.elapsed() < 1) {
            }
            order << quint8(frame.at(5));
        });
        SerialPortThread* port = m_bench->msg.findChild<SerialPortThread*>();
        for (int i = 0; i < kFrames; ++i)
            emit port->sig_rcvGapMsg(bytes("dd0102010000").replace(5, 1, QByteArray(1, char(i))));
        int handedOnBeforeTimer = -1;
        QTimer::singleShot(0, this, [&] { handedOnBeforeTimer = order.size(); });
        QTRY_COMPARE(order.size(), kFrames);
        QVERIFY2(handedOnBeforeTimer >= 0 && handedOnBeforeTimer < kFrames,
                 qPrintable(QString::number(handedOnBeforeTimer)));
        for (int i = 0; i < kFrames; ++i)
            QCOMPARE(order.at(i), i);
    }

    // A receiver that waits in an event loop of its own, as behind a message box, still hears
    // the uplinks that come meanwhile, in order.
    void uplinksReachAReceiverThatWaits()
    {
        QVector<int> order;
        bool waited = false;
        connect(&m_bench->msg, &CMsg::sig_rcvGapMsg, this, [&](const QByteArray& frame) {
            order << quint8(frame.at(5));
            if (order.size() == 1)
                waited = QTest::qWaitFor([&] { return order.size() == 3; }, 5000);
        });
        SerialPortThread* port = m_bench->msg.findChild<SerialPortThread*>();
        emit port->sig_rcvGapMsg(bytes("dd0102010000"));
        QTimer::singleShot(50, this, [&] {
            emit port->sig_rcvGapMsg(bytes("dd0102010001"));
            emit port->sig_rcvGapMsg(bytes("dd0102010002"));
        });
        QTRY_VERIFY(waited);
        QCOMPARE(order, (QVector<int>{0, 1, 2}));
    }

    // The frame parser on its own, fed each stream whole, cut in two at every offset, and byte by byte.
    void parse_data()
    {
        QTest::addColumn<bool>("primed"); // past its first reset
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("all before the first reset is dropped, its stray checksum logged, later resets plain")
            << false << bytes("0011bb013d01000006cc0002cc000201000031cc000201000031bb013d01000006")
            << QStringList{"common cc0002010000", badHeader("31"), "common cc0002010000", "gap bb013d010000"};
        QTest::newRow("length 5000 accepted") << true << bytes("dd01028813") + QByteArray(5000, '\x5a') + bytes("b5")
                                              << QStringList{"gap dd01028813" + QString("5a").repeated(5000)};
        QTest::newRow("length 5001 refused, one byte dropped, also for download")
            << true << bytes("dd01028913" "444700008913" "bb013d01000006")
            << QStringList{badLength("dd"), badHeader("01"), badHeader("02"), badHeader("89"), badHeader("13"),
                           badLength("44"), badHeader("47"), badHeader("00"), badHeader("00"), badHeader("89"),
                           badHeader("13"), "gap bb013d010000"};
        QTest::newRow("garbage, 0x44 without 0x47, bad checksum with a good frame hidden inside")
            << true << bytes("4400dd01020700bb013d0100000620cc0202010077b8")
            << QStringList{badHeader("44"), badHeader("00"), "log1 The msg check checksum failed.",
                           "log1 Raw Data: dd01020700bb013d0100000620", badHeader("01"), badHeader("02"),
                           badHeader("07"), badHeader("00"), "gap bb013d010000", badHeader("20"), "sm cc0202010077"};
        QTest::newRow("download: length+7 emitted, length+8 consumed; dongle log on module 9 is not LCP")
            << true << bytes("dd01020300112233b7444701020300aabbccc1c2ff09000200686925")
            << QStringList{"gap dd01020300112233", "download 444701020300aabbccc1", "dongle ff090002006869"};
        // Only modules 0-4, 9 and 10 have signals of their own.
        const QMap<int, QString> ownSignal{{0, "common"}, {1, "gap"}, {2, "sm"},   {3, "gatt"},
                                           {4, "l2cap"},  {9, "lcp"}, {10, "idt"}};
        QByteArray all;
        QStringList heard;
        for (int module = 0; module < 256; ++module) {
            const QByteArray frame = bytes("dd") + char(module) + bytes("010000");
            all += frame + char(-(0xdd + module + 0x01));
            heard << ownSignal.value(module, "rfu") + ' ' + QString::fromLatin1(frame.toHex());
        }
        QTest::newRow("every module value under 0xDD") << true << all << heard;
    }
    void parse()
    {
        QFETCH(bool, primed);
        QFETCH(QByteArray, stream);
        QFETCH(QStringList, expected);
        const auto feed = [primed](const QList<QByteArray>& chunks) {
            SerialPortThread parser;
            if (primed) // without the reset's stray checksum byte in the queue
                parser.parse(bytes("cc0002010000"));
            Recorder<SerialPortThread> recorder(&parser);
            for (const QByteArray& chunk : chunks)
                parser.parse(chunk);
            return recorder.events;
        };
        QCOMPARE(feed({stream}), expected);
        for (int offset = 1; offset < stream.size(); ++offset)
            QVERIFY2(feed({stream.left(offset), stream.mid(offset)}) == expected, qPrintable(QString::number(offset)));
        QList<QByteArray> single;
        for (const char byte : qAsConst(stream))
            single << QByteArray(1, byte);
        QCOMPARE(feed(single), expected);
    }

    // Only a one-byte success answer counts as a sign of life; twenty seconds without one trip
    // the monitor, and a tripped check sends nothing.
    void heartbeatAnswerAndTrip()
    {
        StillClockHeartBeat beat(&m_bench->msg, &m_bench->logger, 100000);
        QSignalSpy dead(&beat, &CHeartBeat::dead);
        const QDateTime born = beat.lastHeard();
        beat.m_now = born.addSecs(10);
        // Non-zero status, seven bytes with a leading zero, another answer on the same signal.
        for (const char* frame : {"bb0184010001", "bb018402000000", "bb013d010000"})
            emit m_bench->msg.sig_rcvGapMsg(bytes(frame));
        QCOMPARE(beat.lastHeard(), born);
        emit m_bench->msg.sig_rcvGapMsg(bytes("bb0184010000"));
        QCOMPARE(beat.lastHeard(), born.addSecs(10));
        beat.m_now = born.addSecs(29);
        beat.check();
        QCOMPARE(sendFailures(), 1);
        QVERIFY(dead.isEmpty() && beat.isActive() && !m_bench->log->texts().contains("system busy or firmware dead"));
        beat.m_now = born.addSecs(30);
        beat.check();
        QCOMPARE(sendFailures(), 1);
        QVERIFY(dead.count() == 1 && !beat.isActive());
        QVERIFY(m_bench->log->contains(QStringLiteral("system busy or firmware dead"), 1));
    }

    // A restart while running refreshes the time and leaves the one timer as it was: a tick
    // checks once.
    void heartbeatRestartWhileRunning()
    {
        StillClockHeartBeat beat(&m_bench->msg, &m_bench->logger, kTick);
        const QDateTime later = beat.lastHeard().addSecs(15);
        beat.m_now = later;
        QCOMPARE(sendFailures(), 0);
        beat.restart();
        QCOMPARE(beat.lastHeard(), later);
        QTRY_VERIFY(sendFailures() > 0);
        beat.stop();
        QCOMPARE(sendFailures(), 1);
    }

private:
    int sendFailures() const
    {
        return m_bench->log->texts().count(QStringLiteral("send Heart Beat Detect message failed"));
    }

    std::unique_ptr<LinkBench> m_bench;
};

QTEST_GUILESS_MAIN(tst_CMsg)
#include "tst_cmsg.moc"
