#include <QSignalSpy>
#include <QtTest>

#include "proto/framereader.h"

static QByteArray hex(const QString& text) { return QByteArray::fromHex(text.toLatin1()); }

static const char* const kHeartBeat = "AA 01 84 00 00 D1";
static const char* const kAddWhitelist = "AA 01 09 07 00 01 02 03 04 05 06 01 2F";
// ProgramEnd of the firmware loader: "DG", command 37, five bytes, their 16-bit sum.
static const char* const kProgramEnd = "44 47 25 00 05 00 00 10 20 30 40 CA 00";

class tst_FrameReader : public QObject
{
    Q_OBJECT

private slots:
    // Chunks go in one after the other; "silence" waits until the reader gives up on what it
    // holds. Out come the events in order: "frame HEX", "loader HEX" or "dropped REASON".
    void cutting_data()
    {
        QTest::addColumn<QStringList>("chunks");
        QTest::addColumn<QStringList>("events");

        for (const char* whole : {kAddWhitelist, kProgramEnd}) {
            const QByteArray bytes = hex(whole);
            const QString kind = bytes.startsWith("DG") ? "loader" : "frame";
            for (int at = 1; at < bytes.size(); ++at) {
                QTest::addRow("%s split after byte %d", qPrintable(kind), at)
                    << QStringList{bytes.left(at).toHex(), bytes.mid(at).toHex()} << QStringList{kind + " " + whole};
            }
        }
        QTest::newRow("partial frame, silence, then a good frame")
            << QStringList{"AA 01 84 10 00", "silence", kHeartBeat}
            << QStringList{"dropped frame cut short after 5 bytes, header dropped",
                           "dropped dropped 4 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("a whole frame inside an unfinished one is found after the silence")
            << QStringList{QString("AA 00 30 20 00 ") + kHeartBeat, "silence"}
            << QStringList{"dropped frame cut short after 11 bytes, header dropped",
                           "dropped dropped 4 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("good frame hidden behind a bad checksum")
            << QStringList{QString("AA 01 84 05 00 ") + kHeartBeat}
            << QStringList{"dropped checksum error in 01@84, header dropped",
                           "dropped dropped 4 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("length 5001 refused")
            << QStringList{QString("AA 01 84 89 13 ") + kHeartBeat}
            << QStringList{"dropped length 5001 too long, header dropped",
                           "dropped dropped 4 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("loader frame, then a command frame")
            << QStringList{QString(kProgramEnd) + " " + kHeartBeat}
            << QStringList{QString("loader ") + kProgramEnd, QString("frame ") + kHeartBeat};
        QTest::newRow("loader frame with a bad sum")
            << QStringList{QString("44 47 25 00 05 00 00 10 20 30 40 CB 00 ") + kHeartBeat}
            << QStringList{"dropped sum error in loader command 37, header dropped",
                           "dropped dropped 12 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("loader frame longer than 1039 bytes")
            << QStringList{QString("44 47 24 00 08 04 ") + kHeartBeat}
            << QStringList{"dropped loader frame length 1032 too long, header dropped",
                           "dropped dropped 5 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("D without G is garbage")
            << QStringList{QString("44 00 44 ") + kHeartBeat}
            << QStringList{"dropped dropped 3 bytes without frame header", QString("frame ") + kHeartBeat};
        QTest::newRow("D at the end waits for its G")
            << QStringList{QString(kHeartBeat) + " 44", QString(kProgramEnd).mid(3)}
            << QStringList{QString("frame ") + kHeartBeat, QString("loader ") + kProgramEnd};
    }
    void cutting()
    {
        QFETCH(QStringList, chunks);
        QFETCH(QStringList, events);

        FrameReader reader;
        QStringList seen;
        const auto record = [&seen](const QString& kind) {
            return [&seen, kind](const QByteArray& bytes) { seen.append(kind + " " + bytes.toHex(' ').toUpper()); };
        };
        connect(&reader, &FrameReader::frame, this, record("frame"));
        connect(&reader, &FrameReader::loaderFrame, this, record("loader"));
        connect(&reader, &FrameReader::dropped, this, [&seen](const QString& reason) { seen.append("dropped " + reason); });
        for (const QString& chunk : chunks) {
            if (chunk == "silence") {
                QSignalSpy dropped(&reader, &FrameReader::dropped);
                QVERIFY(dropped.wait(5000));
            } else {
                reader.feed(hex(chunk));
            }
        }
        QCOMPARE(seen, events);
    }
};

QTEST_GUILESS_MAIN(tst_FrameReader)
#include "tst_framereader.moc"
