#include <QtTest>

#include "air/virtualair.h"
#include "dongle/loaderengine.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

namespace {

constexpr quint32 kLoad = 0x00010000;

QByteArray le32(quint32 value)
{
    return hex(le(int(value), 4));
}

QByteArray text12(const QByteArray& text)
{
    return text.leftJustified(12, '\0', true);
}

// A firmware file: body, then the short trailer with the whole size, load address, version and
// tag.
QByteArray image(int size, const QByteArray& version, quint32 load = kLoad)
{
    const QByteArray trailer = "DG" + hex("01 00 00 00 00 00") + le32(quint32(size)) + le32(load) + text12(version)
                               + text12("ble_tool_fw") + QByteArray(8, '\0');
    QByteArray bytes(size - trailer.size(), '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7);
    return bytes + trailer;
}

// "DG", command, length, payload, 16-bit sum of all bytes after "DG".
QByteArray dg(int command, const QByteArray& payload)
{
    QByteArray frame = "DG" + hex(le(command)) + hex(le(payload.size())) + payload;
    quint16 sum = 0;
    for (int i = 2; i < frame.size(); ++i)
        sum += quint8(frame.at(i));
    return frame + hex(le(sum));
}

QByteArray startOf(const QByteArray& file)
{
    return dg(35, QByteArray(9, '\0') + file.right(48).mid(8, 32));
}
QByteArray flashOf(quint32 address, const QByteArray& data)
{
    return dg(36, "\x01" + le32(address) + hex(le(data.size())) + data);
}
QByteArray endOf(const QByteArray& file)
{
    quint32 sum = 0;
    for (char byte : file)
        sum += quint8(byte);
    return dg(37, QByteArray(1, '\0') + le32(sum));
}
QByteArray resetOf(const QByteArray& file)
{
    return dg(2, QByteArray(4, '\0') + file.right(48).mid(8, 20));
}

// A whole pass as the tool sends it, blocks of 1024 bytes.
QList<QByteArray> pass(const QByteArray& file, quint32 load = kLoad)
{
    QList<QByteArray> frames{startOf(file)};
    for (int at = 0; at < file.size(); at += 1024)
        frames.append(flashOf(load + quint32(at), file.mid(at, 1024)));
    return frames << endOf(file) << resetOf(file);
}

const char* const kProbe = "AA 00 00 00 00 56";
const char* const kVersionGet = "AA 01 6F 00 00 E6";

} // namespace

// The firmware loader: a pass of "DG" frames checked step by step, and the dongle restarting on
// what was written.
class tst_LoaderEngine : public QObject
{
    Q_OBJECT

    std::unique_ptr<VirtualAir> m_air;
    std::unique_ptr<VirtualDongle> m_dongle;
    QByteArray m_up;

    // Feeds the frames and gives the status of each answer, -1 where none came.
    QList<int> statuses(const QList<QByteArray>& frames)
    {
        QList<int> result;
        for (const QByteArray& frame : frames) {
            m_up.clear();
            m_dongle->feed(frame);
            if (m_up.isEmpty()) {
                result.append(-1);
                continue;
            }
            // "DG", the command echoed, length 1, status, and a sum the tool can read from its low
            // byte alone.
            [&] {
                QCOMPARE(m_up.size(), 9);
                QCOMPARE(m_up.left(4), frame.left(4));
                QCOMPARE(m_up.mid(4, 2), hex("01 00"));
                const int sum = quint8(m_up.at(2)) + quint8(m_up.at(3)) + 1 + quint8(m_up.at(6));
                QVERIFY(sum <= 255);
                QCOMPARE(m_up.mid(7), hex(le(sum)));
            }();
            result.append(quint8(m_up.at(6)));
        }
        return result;
    }

private slots:
    void initTestCase() { Responder::setChecking(true); }
    void init()
    {
        m_air = std::make_unique<VirtualAir>();
        m_dongle = std::make_unique<VirtualDongle>(0, m_air.get());
        connect(m_dongle.get(), &VirtualDongle::uplink, this, [this](const QByteArray& bytes) { m_up += bytes; });
        m_dongle->feed(hex(kReset));
        m_up.clear();
    }
    void cleanup()
    {
        m_dongle.reset();
        m_air.reset();
    }

    // The application writes the boot image and restarts into the loader, which speaks only "DG";
    // the loader writes the firmware and restarts into it, and the probe and Device Version Get
    // tell its version.
    void bootImageThenFirmware()
    {
        const QByteArray boot = image(4096, "boot-c4", 0x10000000);
        QCOMPARE(statuses(pass(boot, 0x10000000)), QList<int>({1, 1, 1, 1, 1, 1, 1}));
        QTRY_VERIFY(m_dongle->inLoader());
        m_up.clear();
        m_dongle->feed(hex(kProbe));
        QVERIFY(m_up.isEmpty());

        const QByteArray firmware = image(2100, "2.3.17");
        QCOMPARE(statuses(pass(firmware)), QList<int>({1, 1, 1, 1, 1, 1}));
        QTRY_VERIFY(!m_dongle->inLoader());
        QCOMPARE(m_dongle->firmwareVersion(), QString("2.3.17"));
        m_up.clear();
        m_dongle->feed(hex(kProbe));
        QVERIFY(m_up.contains("\x06\x00" "2.3.17"));
        // A restart forgets the host: nothing but the probe is answered before a Reset.
        m_up.clear();
        m_dongle->feed(hex(kVersionGet));
        QVERIFY(m_up.isEmpty());
        m_dongle->feed(hex(kReset));
        m_up.clear();
        m_dongle->feed(hex(kVersionGet));
        QCOMPARE(m_up, frames(ackFrame("01@6F") + " | " + frame("DD 01 70", "09 09 02 00 00 00 00 3D 01 FF FF")));
    }

    // Each row: frames after a good start of `file`, and the status each one gets.
    void refusals_data()
    {
        QTest::addColumn<QList<QByteArray>>("frames");
        QTest::addColumn<QList<int>>("expected");

        const QByteArray file = image(2100, "2.0.0");
        const QList<QByteArray> whole = pass(file);
        const QByteArray first = file.left(1024);
        QTest::newRow("flash before a start") << QList<QByteArray>{flashOf(kLoad, first)} << QList<int>{2};
        QTest::newRow("start without the tag")
            << QList<QByteArray>{dg(35, QByteArray(9, '\0') + file.right(48).mid(8, 20) + text12("other"))}
            << QList<int>{2};
        QTest::newRow("start of an empty image")
            << QList<QByteArray>{dg(35, QByteArray(13, '\0') + le32(kLoad) + text12("x") + text12("ble_tool_fw"))}
            << QList<int>{2};
        QTest::newRow("block skips ahead") << QList<QByteArray>{whole.at(0), flashOf(kLoad + 1024, first)}
                                           << QList<int>{1, 2};
        QTest::newRow("block outside the image") << QList<QByteArray>{whole.at(0), flashOf(kLoad - 1024, first)}
                                                 << QList<int>{1, 2};
        QTest::newRow("empty block") << QList<QByteArray>{whole.at(0), flashOf(kLoad, QByteArray())} << QList<int>{1, 2};
        QTest::newRow("count that disagrees with the data")
            << QList<QByteArray>{whole.at(0), dg(36, "\x01" + le32(kLoad) + hex(le(1000)) + first)} << QList<int>{1, 2};
        QTest::newRow("end before the last block")
            << QList<QByteArray>{whole.at(0), whole.at(1), endOf(file)} << QList<int>{1, 1, 2};
        QTest::newRow("end with a wrong sum")
            << QList<QByteArray>{whole.at(0), whole.at(1), whole.at(2), whole.at(3), endOf(file + "x")}
            << QList<int>{1, 1, 1, 1, 3};
        QTest::newRow("reset before the end") << QList<QByteArray>{whole.at(0), resetOf(file)} << QList<int>{1, 2};
        QTest::newRow("reset for another address")
            << whole.mid(0, 5) + QList<QByteArray>{resetOf(image(2100, "2.0.0", kLoad + 4))} << QList<int>{1, 1, 1, 1, 1, 2};
        QTest::newRow("unknown command") << QList<QByteArray>{dg(7, "\x00")} << QList<int>{2};
    }
    void refusals()
    {
        QFETCH(QList<QByteArray>, frames);
        QFETCH(QList<int>, expected);
        QCOMPARE(statuses(frames), expected);
    }

    // The control line's failures, step by step; unplugging leaves the loader's pass behind.
    void behaviours()
    {
        const QList<QByteArray> whole = pass(image(1500, "3.1"));
        LoaderEngine* loader = m_dongle->loader();
        loader->setBehaviour(LoaderEngine::ProgramFlash, LoaderEngine::Refuse);
        loader->setBehaviour(LoaderEngine::ProgramEnd, LoaderEngine::Silent);
        QCOMPARE(statuses(whole), QList<int>({1, 2, 2, -1, 2}));
        loader->setAllNormal();
        QCOMPARE(statuses(whole.mid(0, 3)), QList<int>({1, 1, 1}));
        m_dongle->powerCycle();
        QCOMPARE(statuses(whole.mid(3)), QList<int>({2, 2}));
        QCOMPARE(statuses(whole), QList<int>({1, 1, 1, 1, 1}));
        QTRY_VERIFY(m_dongle->inLoader());
        m_dongle->powerCycle();
        QVERIFY(!m_dongle->inLoader());
        QCOMPARE(m_dongle->firmwareVersion(), QString("1.0.0-sim"));
    }
};

QTEST_GUILESS_MAIN(tst_LoaderEngine)
#include "tst_loaderengine.moc"
