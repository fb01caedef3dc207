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
};

QTEST_GUILESS_MAIN(tst_SerialPortThread)
#include "tst_serialportthread.moc"
