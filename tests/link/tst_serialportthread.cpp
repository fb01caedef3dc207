#include <memory>

#include <QtTest>

#include "link/serialportthread.h"
#include "signalrecorder.h"

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

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

} // namespace

class tst_SerialPortThread : public QObject
{
    Q_OBJECT

private slots:
    void firstReset_data();
    void firstReset();
    void stream_data();
    void stream();
    void dispatch_data();
    void dispatch();
    void everyModuleValue();
    void splitAtEveryOffset_data();
    void splitAtEveryOffset();
};

void tst_SerialPortThread::firstReset_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("noise and frames before the reset are dropped unheard")
        << QList<QByteArray>{bytes("0011bb013d01000006cc0002"), bytes("cc000201000031bb013d01000006")}
        << QStringList{"common cc0002010000", badHeader("31"), "gap bb013d010000"};
    QTest::newRow("reset split over chunks")
        << QList<QByteArray>{bytes("cc00"), bytes("020100"), bytes("0031"), bytes("dd01020300112233b7")}
        << QStringList{"common cc0002010000", badHeader("31"), "gap dd01020300112233"};
    QTest::newRow("stray checksum logged once, later resets are plain frames")
        << QList<QByteArray>{bytes("cc000201000031cc000201000031bb013d01000006")}
        << QStringList{"common cc0002010000", badHeader("31"), "common cc0002010000", "gap bb013d010000"};
    QTest::newRow("stray checksum waits for a second byte")
        << QList<QByteArray>{bytes("cc000201000031")} << QStringList{"common cc0002010000"};
    QTest::newRow("reset with a failed status does not open the gate")
        << QList<QByteArray>{bytes("cc000201000130cc0002010000")} << QStringList{"common cc0002010000"};
}

void tst_SerialPortThread::firstReset()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(QStringList, expected);

    auto parser = std::make_unique<SerialPortThread>();
    Recorder recorder(parser.get());
    for (const QByteArray& chunk : chunks)
        parser->parse(chunk);
    QCOMPARE(recorder.events, expected);
}

void tst_SerialPortThread::stream_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QStringList>("expected");

    const QByteArray body5000(5000, '\x5a');
    QTest::newRow("length 5000 accepted")
        << QList<QByteArray>{bytes("dd01028813") + body5000 + bytes("b5")}
        << QStringList{"gap dd01028813" + QString("5a").repeated(5000)};
    QTest::newRow("length 5001 refused, one byte dropped")
        << QList<QByteArray>{bytes("dd01028913bb013d01000006")}
        << QStringList{badLength("dd"), badHeader("01"), badHeader("02"), badHeader("89"), badHeader("13"),
                       "gap bb013d010000"};
    QTest::newRow("download length 5001 refused")
        << QList<QByteArray>{bytes("444700008913bb013d01000006")}
        << QStringList{badLength("44"), badHeader("47"), badHeader("00"), badHeader("00"), badHeader("89"),
                       badHeader("13"), "gap bb013d010000"};
    QTest::newRow("bad checksum with a good frame hidden inside")
        << QList<QByteArray>{bytes("dd01020700bb013d0100000620cc0202010077b8")}
        << QStringList{"log1 The msg check checksum failed.", "log1 Raw Data: dd01020700bb013d0100000620",
                       badHeader("01"), badHeader("02"), badHeader("07"), badHeader("00"), "gap bb013d010000",
                       badHeader("20"), "sm cc0202010077"};
    QTest::newRow("download frame: length+7 emitted, length+8 consumed")
        << QList<QByteArray>{bytes("444701020300aabbccc1c2bb013d01000006")}
        << QStringList{"download 444701020300aabbccc1", "gap bb013d010000"};
    QTest::newRow("0x44 at the end of a chunk waits for the next byte")
        << QList<QByteArray>{bytes("44"), bytes("4701020000c1c2")} << QStringList{"download 444701020000c1"};
    QTest::newRow("0x44 not followed by 0x47 is a bad header")
        << QList<QByteArray>{bytes("4400bb013d01000006")}
        << QStringList{badHeader("44"), badHeader("00"), "gap bb013d010000"};
    QTest::newRow("header byte at the end of a chunk waits")
        << QList<QByteArray>{bytes("bb"), bytes("013d01000006")} << QStringList{"gap bb013d010000"};
    QTest::newRow("noise between frames, one line per byte")
        << QList<QByteArray>{bytes("007fbb013d01000006abdd01020300112233b7")}
        << QStringList{badHeader("00"), badHeader("7f"), "gap bb013d010000", badHeader("ab"),
                       "gap dd01020300112233"};
}

void tst_SerialPortThread::stream()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(QStringList, expected);

    auto parser = primedParser();
    Recorder recorder(parser.get());
    for (const QByteArray& chunk : chunks)
        parser->parse(chunk);
    QCOMPARE(recorder.events, expected);
}

void tst_SerialPortThread::dispatch_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("expected");

    QTest::newRow("module 0 common") << bytes("cc000101000a28") << "common cc000101000a";
    QTest::newRow("module 1 gap") << bytes("bb010102003456b7") << "gap bb010102003456";
    QTest::newRow("module 2 sm") << bytes("cc0202010077b8") << "sm cc0202010077";
    QTest::newRow("module 3 gatt") << bytes("dd030301008894") << "gatt dd0303010088";
    QTest::newRow("module 4 l2cap") << bytes("bb0404010099a3") << "l2cap bb0404010099";
    QTest::newRow("module 6 isochronous") << bytes("dd060501000710") << "rfu dd0605010007";
    QTest::newRow("module 9 lcp") << bytes("cc090101001118") << "lcp cc0901010011";
    QTest::newRow("module 10 idt") << bytes("dd0a01010022f5") << "idt dd0a01010022";
    QTest::newRow("module 0x80 unknown") << bytes("dd80010000a2") << "rfu dd80010000";
    QTest::newRow("dongle log with module 9") << bytes("ff09000200686925") << "dongle ff090002006869";
    QTest::newRow("dongle log with module 0") << bytes("ff00030300616263d5") << "dongle ff00030300616263";
}

void tst_SerialPortThread::dispatch()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, expected);

    auto parser = primedParser();
    Recorder recorder(parser.get());
    parser->parse(frame);
    QCOMPARE(recorder.events, QStringList{expected});
}

// All 256 module values under header 0xDD: only 0-4, 9 and 10 have signals of their own.
void tst_SerialPortThread::everyModuleValue()
{
    const QMap<int, QString> ownSignal{{0, "common"}, {1, "gap"}, {2, "sm"},   {3, "gatt"},
                                       {4, "l2cap"},  {9, "lcp"}, {10, "idt"}};
    for (int module = 0; module < 256; ++module) {
        const QByteArray frame = QByteArray::fromHex("dd") + char(module) + QByteArray::fromHex("010000");
        const char checksum = char(-(0xdd + module + 0x01));
        auto parser = primedParser();
        Recorder recorder(parser.get());
        parser->parse(frame + checksum);
        const QString expected = ownSignal.value(module, "rfu") + QLatin1Char(' ') + QString::fromLatin1(frame.toHex());
        QVERIFY2(recorder.events == QStringList{expected}, qPrintable(QString::number(module)));
    }
}

void tst_SerialPortThread::splitAtEveryOffset_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("command, download and dongle log frames")
        << bytes("dd01020300112233b7444701020300aabbccc1c2ff09000200686925")
        << QStringList{"gap dd01020300112233", "download 444701020300aabbccc1", "dongle ff090002006869"};
    QTest::newRow("noise and a corrupted frame around a good one")
        << bytes("00bb013d01000007cc0202010077b8")
        << QStringList{badHeader("00"),
                       "log1 The msg check checksum failed.",
                       "log1 Raw Data: bb013d01000007",
                       badHeader("01"),
                       badHeader("3d"),
                       badHeader("01"),
                       badHeader("00"),
                       badHeader("00"),
                       badHeader("07"),
                       "sm cc0202010077"};
}

void tst_SerialPortThread::splitAtEveryOffset()
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

QTEST_GUILESS_MAIN(tst_SerialPortThread)
#include "tst_serialportthread.moc"
