#include <QtTest>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/isoengine.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

namespace {

const char* const kConnectThermo = CONNECT("00 01 00 00", "03 00 00 10 5A C6 01 00 14");

// A stream of a group: id, and max SDU, PHY and retransmissions the same both ways.
QString cis(int id, int sdu = 20, int phy = 2, int rtn = 2)
{
    return le(id, 1) + le(sdu) + le(sdu) + le(phy, 1) + le(phy, 1) + le(rtn, 1) + le(rtn, 1);
}
// CIG Parameter Set: SDUs every `interval` us both ways, latency 20 ms, unframed.
QString cigSet(int cigId, const QStringList& streams, int interval = 10000, int latency = 20, int count = -1,
               int framing = 0, int sca = 0)
{
    return frame("AA 06 02", le(cigId, 1) + le(interval, 4) + le(interval, 4) + le(sca, 1) + " 00" + le(framing, 1)
                                 + le(latency) + le(latency) + le(count < 0 ? streams.size() : count, 1) + streams.join(""));
}
QString handleCommand(const char* head, int handle, const QString& rest = QString())
{
    return frame(head, le(handle) + rest);
}
QString createCis(int handle, int condix = 0)
{
    return frame("AA 06 03", "01" + le(handle) + le(condix, 1));
}
QString sendIso(int handle, const QByteArray& sdu)
{
    return frame("AA 06 0E", le(handle) + le(sdu.size()) + " " + sdu.toHex(' '));
}
QString setGroupVerdict(int status, int cigId, int count, const QList<int>& handles = {})
{
    QString given;
    for (int handle : handles)
        given += le(handle);
    return frame("DD 06 02", le(status, 1) + le(cigId, 1) + le(count, 1) + given);
}

// The uplink frames of a stream whose id starts with `id`.
QList<QByteArray> framesOf(const QByteArray& stream, const char* id)
{
    QList<QByteArray> found;
    for (const QByteArray& f : cut(stream)) {
        if (f.startsWith(hex(QString(id).replace('@', ' '))))
            found.append(f);
    }
    return found;
}
quint32 number(const QByteArray& frame, int at, int bytes)
{
    quint32 value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = value << 8 | quint8(frame.at(at + i));
    return value;
}

} // namespace

// Connected isochronous streams from the host side: a dongle and the heart-rate sensor of the
// default world, which takes streams and echoes what it receives, and two dongles at the two ends
// of a stream.
class tst_IsoEngine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }
    void init()
    {
        m_air = std::make_unique<VirtualAir>();
        for (int n : {0, 1}) {
            m_up[n].clear();
            m_dongles[n] = std::make_unique<VirtualDongle>(n, m_air.get());
            connect(m_dongles[n].get(), &VirtualDongle::uplink, this, [this, n](const QByteArray& bytes) { m_up[n] += bytes; });
            m_dongles[n]->feed(hex(kReset));
        }
    }
    void cleanup()
    {
        m_dongles[0].reset();
        m_dongles[1].reset();
        m_air.reset();
    }

    // What the stack refuses, and the handles it gives; on a dongle without links.
    void refusals_data()
    {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("answer");
        const QString ack = ackFrame("06@02") + " | ";
        const auto refused = [&](const char* name, const QString& command, int cigId, int count, const char* why) {
            QTest::newRow(name) << QStringList{command}
                                << ack + setGroupVerdict(162, cigId, count) + " | log: CIG Parameter Set: " + why;
        };
        refused("CIG id past 0xEF", cigSet(0xF0, {cis(1)}), 0xF0, 1, "CIG id 240 past 0xEF");
        refused("SDU interval below 255 us", cigSet(1, {cis(1)}, 254), 1, 1, "SDU interval 254 us outside 255 to 1048575");
        refused("transport latency past 4 s", cigSet(1, {cis(1)}, 10000, 4001), 1, 1, "transport latency 4001 ms outside 5 to 4000");
        refused("framing past 1", cigSet(1, {cis(1)}, 10000, 20, -1, 2), 1, 1, "packing 0 or framing 2 past 1");
        refused("sleep clock accuracy past 7", cigSet(1, {cis(1)}, 10000, 20, -1, 0, 8), 1, 1, "sleep clock accuracy 8 past 7");
        refused("streams that disagree with their count", cigSet(1, {cis(1)}, 10000, 20, 2), 1, 2, "9 bytes for 2 streams of 9");
        refused("a CIS id twice", cigSet(1, {cis(3), cis(3)}), 1, 2, "CIS id 3 twice");
        refused("max SDU past 4095", cigSet(1, {cis(1, 4096)}), 1, 1, "max SDU 4096 past 4095");
        refused("PHY with an unknown bit", cigSet(1, {cis(1, 20, 8)}), 1, 1, "PHY 8 unknown");
        refused("16 retransmissions", cigSet(1, {cis(1, 20, 2, 16)}), 1, 1, "16 retransmissions, 15 at most");
        QTest::newRow("a group set again keeps the handles of its streams")
            << QStringList{cigSet(1, {cis(1), cis(2)}), cigSet(2, {cis(1)}), cigSet(1, {cis(2), cis(3)}), cigSet(3, {})}
            << ack + setGroupVerdict(0, 1, 2, {0x100, 0x101}) + " | " + ack + setGroupVerdict(0, 2, 1, {0x102}) + " | " + ack
                   + setGroupVerdict(0, 1, 2, {0x101, 0x100}) + " | " + ack + setGroupVerdict(0, 3, 0);
        QTest::newRow("a fifth group")
            << QStringList{cigSet(1, {}), cigSet(2, {}), cigSet(3, {}), cigSet(4, {}), cigSet(5, {})}
            << ack + setGroupVerdict(0, 1, 0) + " | " + ack + setGroupVerdict(0, 2, 0) + " | " + ack + setGroupVerdict(0, 3, 0)
                   + " | " + ack + setGroupVerdict(0, 4, 0) + " | " + ack + setGroupVerdict(151, 5, 0)
                   + " | log: CIG Parameter Set: 4 CIGs are set already";
        QStringList sixteen;
        for (int id = 0; id < 16; ++id)
            sixteen << cis(id);
        QList<int> handles;
        for (int handle = 0x100; handle < 0x110; ++handle)
            handles << handle;
        QTest::newRow("a 17th stream") << QStringList{cigSet(1, sixteen), cigSet(2, {cis(1)})}
                                       << ack + setGroupVerdict(0, 1, 16, handles) + " | " + ack + setGroupVerdict(151, 2, 1)
                                              + " | log: CIG Parameter Set: 17 streams in all, 16 at most";
        QTest::newRow("Remove CIG of a group not set") << QStringList{frame("AA 06 04", "07")}
            << ackFrame("06@04") + " | " + frame("DD 06 04", "92 07") + " | log: Remove CIG: CIG 7 is not set";
        QTest::newRow("Create CIS of no stream, of a handle no group gave, on no link")
            << QStringList{frame("AA 06 03", "00"), createCis(0x100), cigSet(1, {cis(1)}), createCis(0x100, 2)}
            << ackFrame("06@03", 1) + " | log: Create CIS: 0 bytes for 0 streams of 3 | " + ackFrame("06@03", 4)
                   + " | log: Create CIS: handle 0x0100 belongs to no CIG | " + ack + setGroupVerdict(0, 1, 1, {0x100})
                   + " | " + ackFrame("06@03", 3) + " | log: Create CIS: no link 2";
        QTest::newRow("a stream that does not stand")
            << QStringList{handleCommand("AA 06 0B", 0x100, "F6 F6"), handleCommand("AA 06 01", 0x100),
                           handleCommand("AA 06 0D", 0x100), sendIso(0x100, "A"), handleCommand("AA 06 05", 0x100)}
            << ackFrame("06@0B") + " | " + frame("DD 06 09", "92 00 01") + " | log: Setup ISO data path: CIS 0x0100 does not stand | "
                   + ackFrame("06@01") + " | " + frame("DD 06 01", "92 00 01 00 00 00 00 00 00 00 00 00 00")
                   + " | log: Read ISO TX Sync: CIS 0x0100 does not stand | " + ackFrame("06@0D", 4)
                   + " | log: Disconnect CIS: CIS 0x0100 does not stand | " + ackFrame("06@0E", 4)
                   + " | log: Send ISO data: CIS 0x0100 does not stand | " + ackFrame("06@05", 4)
                   + " | log: Accept CIS Established: no CIS request waits with handle 0x0100";
    }
    void refusals()
    {
        QFETCH(QStringList, commands);
        QFETCH(QString, answer);
        m_up[0].clear();
        for (const QString& command : commands)
            m_dongles[0]->feed(hex(command));
        QTRY_COMPARE_WITH_TIMEOUT(m_up[0].toHex(' '), frames(answer).toHex(' '), 5000);
    }

    // A stream to the heart-rate sensor, which has LE 1M and LE 2M: the PHYs asked, or LE 1M.
    void sensor_data()
    {
        QTest::addColumn<int>("phy");
        QTest::addColumn<int>("taken");
        QTest::newRow("LE 2M") << 2 << 2;
        QTest::newRow("LE Coded, which the sensor lacks") << 4 << 1;
    }
    void sensor()
    {
        QFETCH(int, phy);
        QFETCH(int, taken);
        VirtualDongle& dongle = *m_dongles[0];
        dongle.feed(hex(kConnectHr));
        await(0, "DD@01@06");
        dongle.feed(hex(cigSet(1, {cis(1, 20, phy)})) + hex(createCis(0x100)));
        const QByteArray established = await(0, "DD@06@03");
        QCOMPARE(established.mid(5, 3).toHex(' '), QByteArray("00 00 01"));
        const quint32 cigDelay = number(established, 8, 4);
        QVERIFY(cigDelay > 0 && number(established, 12, 4) == cigDelay); // the group's only stream
        QVERIFY(number(established, 16, 4) >= cigDelay && number(established, 20, 4) >= cigDelay);
        QCOMPARE(established.mid(24, 2).toHex(' '), QString("%1 %1").arg(taken, 2, 10, QChar('0')).toLatin1());

        // Before any SDU of the host the stack has no time to tell; then the sensor's SDUs come,
        // one each 10 ms, with the pattern of their sequence numbers.
        dongle.feed(hex(handleCommand("AA 06 01", 0x100)));
        QCOMPARE(await(0, "DD@06@01").at(5), char(156));
        dongle.feed(hex(handleCommand("AA 06 0B", 0x100, "F6 F6")));
        QCOMPARE(await(0, "DD@06@09").toHex(' '), frame("DD 06 09", "00 00 01").toLatin1());
        QTRY_VERIFY_WITH_TIMEOUT(framesOf(m_up[0], "DD@06@0F").size() >= 3, 5000);
        const QList<QByteArray> sdus = framesOf(m_up[0], "DD@06@0F");
        for (int i = 1; i < sdus.size(); ++i) {
            QCOMPARE(quint16(number(sdus.at(i), 11, 2)), quint16(number(sdus.at(i - 1), 11, 2) + 1));
            QCOMPARE(number(sdus.at(i), 7, 4), number(sdus.at(i - 1), 7, 4) + 10000);
            QCOMPARE(number(sdus.at(i), 14, 2), quint32(20));
            QCOMPARE(sdus.at(i).at(16), char(number(sdus.at(i), 11, 2)));
        }

        // The host's SDUs come back; the sync of the last one sent advances with them.
        quint32 sync[2][2];
        for (const QByteArray& sdu : {QByteArray("ping"), QByteArray("pong")}) {
            m_up[0].clear();
            dongle.feed(hex(sendIso(0x100, sdu)));
            QTRY_VERIFY_WITH_TIMEOUT(m_up[0].contains(le16(4) + sdu), 5000);
            dongle.feed(hex(handleCommand("AA 06 01", 0x100)));
            const QByteArray read = await(0, "DD@06@01");
            QCOMPARE(read.at(5), char(0));
            sync[sdu == "pong"][0] = number(read, 8, 2);
            sync[sdu == "pong"][1] = number(read, 10, 4);
        }
        QVERIFY(sync[1][0] > sync[0][0]);
        QCOMPARE(sync[1][1] - sync[0][1], (sync[1][0] - sync[0][0]) * 10000);

        // A group is set only while none of its streams stands.
        m_up[0].clear();
        dongle.feed(hex(frame("AA 06 04", "01")));
        QCOMPARE(await(0, "DD@06@04").toHex(' '), frame("DD 06 04", "9C 01").toLatin1());
        dongle.feed(hex(handleCommand("AA 06 0D", 0x100)));
        QCOMPARE(await(0, "DD@06@0B").toHex(' '), frame("DD 06 0B", "00 01 16").toLatin1());
        m_up[0].clear();
        dongle.feed(hex(frame("AA 06 04", "01")));
        QCOMPARE(await(0, "DD@06@04").toHex(' '), frame("DD 06 04", "00 01").toLatin1());
    }

    void withoutStreams()
    {
        m_dongles[0]->feed(hex(kConnectThermo));
        await(0, "DD@01@06");
        m_dongles[0]->feed(hex(cigSet(1, {cis(1)})) + hex(createCis(0x100)));
        QCOMPARE(await(0, "DD@06@03").toHex(' '), frame("DD 06 03", "AA 00 01" + QString(" 00").repeated(18)).toLatin1());
    }

    // Dongle 0 central, dongle 1 peripheral: how the peripheral's host answers, and how it ends.
    void twoDongles_data()
    {
        QTest::addColumn<QString>("ending");
        QTest::newRow("accepted, ended by the central") << "disconnect";
        QTest::newRow("accepted, ended with the link") << "drop";
        QTest::newRow("rejected") << "reject";
        QTest::newRow("left unanswered") << "unanswered";
    }
    void twoDongles()
    {
        QFETCH(QString, ending);
        VirtualDongle& central = *m_dongles[0];
        VirtualDongle& peripheral = *m_dongles[1];
        peripheral.feed(hex(kAdvertise));
        central.feed(hex(kConnectDongle1));
        await(1, "DD@01@06");
        // The peripheral's own stream, from its pool, takes 0x0100; the central's is 0x0101.
        central.feed(hex(cigSet(1, {cis(1)}) + cigSet(2, {cis(5)})) + hex(createCis(0x101)));
        QCOMPARE(await(1, "DD@06@10").toHex(' '), frame("DD 06 10", "00 00 01 02 05").toLatin1());
        if (ending == "reject") {
            peripheral.feed(hex(handleCommand("AA 06 06", 0x100)));
            QCOMPARE(await(0, "DD@06@03").mid(5, 3).toHex(' '), QByteArray("9d 01 01")); // 157
            QVERIFY(framesOf(m_up[1], "DD@06@03").isEmpty());
            return;
        }
        if (ending == "unanswered") {
            // The peripheral's controller refuses once its accept timeout has passed, and tells
            // both hosts: the link layer's 0x10, as 160.
            QTRY_VERIFY_WITH_TIMEOUT(!framesOf(m_up[0], "DD@06@03").isEmpty(), IsoEngine::AcceptTimeoutMs + 5000);
            QCOMPARE(await(0, "DD@06@03").mid(5, 3).toHex(' '), QByteArray("a0 01 01"));
            QCOMPARE(await(1, "DD@06@03").mid(5, 3).toHex(' '), QByteArray("a0 00 01"));
            m_up[1].clear();
            peripheral.feed(hex(handleCommand("AA 06 05", 0x100)));
            QCOMPARE(await(1, "BB@06@05").toHex(' '), frames(ackFrame("06@05", 4)).toHex(' '));
            return;
        }
        peripheral.feed(hex(handleCommand("AA 06 05", 0x100)));
        QCOMPARE(await(0, "DD@06@03").mid(5, 3).toHex(' '), QByteArray("00 01 01"));
        QCOMPARE(await(1, "DD@06@03").mid(5, 3).toHex(' '), QByteArray("00 00 01"));
        QCOMPARE(await(0, "DD@06@03").mid(8, 18), await(1, "DD@06@03").mid(8, 18)); // the same stream at both ends

        central.feed(hex(handleCommand("AA 06 0B", 0x101, "F6 F6")) + hex(sendIso(0x101, "to the peripheral")));
        peripheral.feed(hex(handleCommand("AA 06 0B", 0x100, "F6 F6")) + hex(sendIso(0x100, "to the central")));
        QTRY_VERIFY_WITH_TIMEOUT(m_up[1].contains("to the peripheral"), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(m_up[0].contains("to the central"), 5000);

        // Each end hears its stream end, with the reason of its link's end and before it.
        m_up[0].clear();
        m_up[1].clear();
        QString heard[2];
        if (ending == "drop") {
            QVERIFY(central.connections()->drop(0));
            heard[0] = frame("DD 06 0B", "01 01 13") + " | " + frame("DD 01 08", "00 13 00");
            heard[1] = frame("DD 06 0B", "00 01 16") + " | " + frame("DD 01 08", "00 16 00");
        } else {
            central.feed(hex(handleCommand("AA 06 0D", 0x101)));
            heard[0] = ackFrame("06@0D") + " | " + frame("DD 06 0B", "01 01 16");
            heard[1] = frame("DD 06 0B", "00 01 13");
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_up[0].toHex(' '), frames(heard[0]).toHex(' '), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(m_up[1].toHex(' '), frames(heard[1]).toHex(' '), 5000);
    }

private:
    // The last frame of this id from dongle n, once there is one.
    QByteArray await(int n, const char* id)
    {
        [&] { QTRY_VERIFY_WITH_TIMEOUT(!framesOf(m_up[n], id).isEmpty(), 5000); }();
        const QList<QByteArray> found = framesOf(m_up[n], id);
        return found.isEmpty() ? QByteArray() : found.last();
    }

    std::unique_ptr<VirtualAir> m_air;
    std::unique_ptr<VirtualDongle> m_dongles[2];
    QByteArray m_up[2];
};

QTEST_GUILESS_MAIN(tst_IsoEngine)
#include "tst_isoengine.moc"
