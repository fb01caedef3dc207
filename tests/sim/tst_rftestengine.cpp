#include <QtTest>

#include "air/virtualair.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

namespace {

// LCP on 2402 MHz, channel index 37, the default access address and CRC init, 0 dBm.
QString startLcp(int frequency = 2402, quint32 accessAddress = 0x6730363B, int power = 0, int protocol = 2)
{
    return frame("AA 09 01", le(protocol, 1) + le(power, 1) + le(37, 1) + le(frequency, 4) + le(int(accessAddress), 4)
                                 + le(0x555555, 4));
}
QString startIdt(int channel = 159) { return frame("AA 0A 01", le(0x6730363B, 4) + le(channel, 1)); }
QString lcpTransmit(int repeat, int interval, const QString& payload, int length = -1)
{
    const int size = hex(payload).size();
    return frame("AA 09 04", le(repeat, 4) + le(interval, 4) + " 4C" + le(length < 0 ? size : length, 1) + " " + payload);
}
QString idtTransmit(int repeat, int interval, const QString& payload)
{
    return frame("AA 0A 04", le(repeat, 4) + le(interval, 4) + le(hex(payload).size(), 1) + " " + payload);
}
QString command(const char* head) { return frame(head, ""); }

} // namespace

// The radio test modes: commands refused as a test firmware refuses them, a transmission
// acknowledged packet by packet, and a second dongle on the same tuning hearing it.
class tst_RfTestEngine : public QObject
{
    Q_OBJECT

    std::unique_ptr<VirtualAir> m_air;
    std::unique_ptr<VirtualDongle> m_dongles[2];
    QByteArray m_up[2];

    void feed(int n, const QString& text) { m_dongles[n]->feed(hex(text)); }
    QList<QByteArray> uplinks(int n, const char* head) const
    {
        QList<QByteArray> found;
        for (const QByteArray& f : cut(m_up[n]))
            if (f.startsWith(hex(head)))
                found.append(f);
        return found;
    }

private slots:
    void initTestCase() { Responder::setChecking(true); }
    void init()
    {
        m_air = std::make_unique<VirtualAir>();
        for (int n : {0, 1}) {
            m_dongles[n] = std::make_unique<VirtualDongle>(n, m_air.get());
            connect(m_dongles[n].get(), &VirtualDongle::uplink, this, [this, n](const QByteArray& bytes) { m_up[n] += bytes; });
            m_dongles[n]->feed(hex(kReset));
            m_up[n].clear();
        }
    }
    void cleanup()
    {
        m_dongles[0].reset();
        m_dongles[1].reset();
        m_air.reset();
    }

    // Each command, after the ones before it, gets the last ack of the row's id.
    void refusals_data()
    {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("ack");

        QTest::newRow("set while off") << QStringList{frame("AA 09 03", le(2402, 4) + " 00 00")} << ackFrame("09@03", 15);
        QTest::newRow("receive while off") << QStringList{command("AA 0A 05")} << ackFrame("0A@05", 15);
        QTest::newRow("idt while lcp is on") << QStringList{startLcp(), startIdt()} << ackFrame("0A@01", 15);
        QTest::newRow("frequency below") << QStringList{startLcp(2359)} << ackFrame("09@01", 1);
        QTest::newRow("power below") << QStringList{startLcp(2402, 0x6730363B, -21)} << ackFrame("09@01", 1);
        QTest::newRow("protocol unknown") << QStringList{startLcp(2402, 0x6730363B, 0, 4)} << ackFrame("09@01", 1);
        QTest::newRow("channel 160") << QStringList{startIdt(160)} << ackFrame("0A@01", 1);
        QTest::newRow("channel 159") << QStringList{startIdt(159)} << ackFrame("0A@01", 0);
        QTest::newRow("repeat 0") << QStringList{startLcp(), lcpTransmit(0, 10, "01")} << ackFrame("09@04", 1);
        QTest::newRow("interval 9") << QStringList{startLcp(), lcpTransmit(1, 9, "01")} << ackFrame("09@04", 1);
        QTest::newRow("lcp length FE") << QStringList{startLcp(), lcpTransmit(1, 10, QString(" 00").repeated(0xFE))}
                                       << ackFrame("09@04", 1);
        QTest::newRow("idt length FC") << QStringList{startIdt(), idtTransmit(1, 10, QString(" 00").repeated(0xFC))}
                                       << ackFrame("0A@04", 1);
        QTest::newRow("length and payload disagree") << QStringList{startLcp(), lcpTransmit(1, 10, "01 02", 3)}
                                                     << ackFrame("09@04", 14);
        QTest::newRow("second transmission") << QStringList{startLcp(), lcpTransmit(5, 1000, "01"), lcpTransmit(5, 1000, "01")}
                                             << ackFrame("09@04", 15);
    }
    void refusals()
    {
        QFETCH(QStringList, commands);
        QFETCH(QString, ack);
        for (const QString& c : commands)
            feed(0, c);
        const QList<QByteArray> acks = uplinks(0, qPrintable(ack.left(8)));
        QVERIFY(!acks.isEmpty());
        QCOMPARE(acks.last().toHex(' '), hex(ack).toHex(' '));
    }

    // Five packets at 10 ms: an ack for each at the transmitter, each packet at the receiver on
    // the same tuning with its header, length and payload; none at one with another access address.
    void lcpPacketsHeard()
    {
        feed(0, startLcp());
        feed(1, startLcp());
        feed(1, command("AA 09 05"));
        m_up[0].clear();
        m_up[1].clear();
        feed(0, lcpTransmit(5, 10, "AA BB CC"));
        QTRY_COMPARE(uplinks(0, "BB 09 04").size(), 5);
        QCOMPARE(uplinks(0, "BB 09 04"), QVector<QByteArray>(5, hex(ackFrame("09@04"))).toList());
        QCOMPARE(uplinks(1, "DD 09 05"), QVector<QByteArray>(5, hex(frame("DD 09 05", "4C 03 AA BB CC"))).toList());
        QVERIFY(uplinks(0, "DD 09 05").isEmpty()); // a radio does not hear itself

        feed(1, startLcp(2402, 0x12345678));
        feed(0, lcpTransmit(2, 10, "01"));
        QTRY_COMPARE(uplinks(0, "BB 09 04").size(), 7);
        QCOMPARE(uplinks(1, "DD 09 05").size(), 5);
    }

    void idtPacketsHeard()
    {
        feed(0, startIdt());
        feed(1, startIdt());
        feed(1, command("AA 0A 05"));
        feed(0, idtTransmit(3, 10, "01 02"));
        QTRY_COMPARE(uplinks(1, "DD 0A 05").size(), 3);
        QCOMPARE(uplinks(1, "DD 0A 05").first().toHex(' '), hex(frame("DD 0A 05", "02 01 02")).toHex(' '));
        QCOMPARE(uplinks(0, "BB 0A 04").size(), 3);
    }

    // Stop Transmit, Stop Mode and a reset each end a transmission: no ack more.
    void transmissionEnds_data()
    {
        QTest::addColumn<QString>("ending");
        QTest::addColumn<QString>("ack");
        QTest::newRow("stop transmit") << command("AA 09 07") << ackFrame("09@07");
        QTest::newRow("stop mode") << command("AA 09 02") << ackFrame("09@02");
        QTest::newRow("reset") << QString(kReset) << ackFrame("00@01");
    }
    void transmissionEnds()
    {
        QFETCH(QString, ending);
        QFETCH(QString, ack);
        feed(0, startLcp());
        feed(0, lcpTransmit(1000, 10, "01"));
        QTRY_VERIFY(uplinks(0, "BB 09 04").size() >= 2);
        feed(0, ending);
        const int acks = uplinks(0, "BB 09 04").size();
        QVERIFY(m_up[0].contains(hex(ack)));
        // Five intervals go by on the other dongle: a transmission still running would ack in them.
        feed(1, startLcp());
        feed(1, lcpTransmit(6, 10, "01"));
        QTRY_COMPARE(uplinks(1, "BB 09 04").size(), 6);
        QCOMPARE(uplinks(0, "BB 09 04").size(), acks);
    }
};

QTEST_GUILESS_MAIN(tst_RfTestEngine)
#include "tst_rftestengine.moc"
