#include <QtTest>

#include "air/link.h"
#include "air/peer.h"
#include "air/worlddevice.h"
#include "world/worldloader.h"
#include "uplinkbytes.h"

namespace {

// An echo on PSM 0x80 that takes SDUs of 100 bytes in K-frames of 23, two at first.
const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01",
    "l2cap": [{"psm": 128, "service": "echo", "mtu": 100, "mps": 23, "credits": 2}]}]})";

// The central end of a link: it keeps what comes on L2CAP's channels, as hex of the channel and PDU.
class Central final : public Peer
{
public:
    bool acceptsCentral() const override { return true; }
    const ControllerInfo& controller() const override { return m_controller; }
    void linkUp(Link*) override {}
    void linkDown(Link*, quint8) override {}
    void received(Link*, quint16 channel, const QByteArray& data) override
    {
        heard.append(QString("%1%2").arg(channel, 4, 16, QChar('0')).arg(QString(data.toHex())).toUpper());
    }
    void parametersRequested(Link*, const Link::ParameterRequest&) override {}
    void linkChanged(Link*, Link::Change, quint8) override {}

    QStringList heard;

private:
    ControllerInfo m_controller;
};

} // namespace

// L2CAP's signaling and K-frames as they are on the link, at a device of the world: the far end
// here is a central that speaks in bytes.
class tst_CreditChannels : public QObject
{
    Q_OBJECT

private slots:
    // Each step: "CHANNEL PDU" from the central, then what comes back, " | " between PDUs.
    void bytes_data()
    {
        QTest::addColumn<QStringList>("steps");
        // The central's CID 0x0050, MTU and MPS 23, with `credits` for the device.
        const auto open = [](int credits) {
            return QString("0005 14 01 0A00 8000 5000 1700 1700 %1 00 > 0005 15 01 0A00 4000 6400 1700 0200 0000")
                .arg(credits, 2, 16, QChar('0'));
        };
        QTest::newRow("a channel, an SDU echoed, its credit back")
            << QStringList{open(5), "0040 0300 414243 > 0050 0300 414243 | 0005 16 01 0400 4000 0100"};
        QTest::newRow("refusals: PSM, source CID, MPS, a CID in use")
            << QStringList{"0005 14 01 0A00 9000 5000 1700 1700 0500 > 0005 15 01 0A00 0000 0000 0000 0000 0200",
                           "0005 14 02 0A00 8000 3F00 1700 1700 0500 > 0005 15 02 0A00 0000 0000 0000 0000 0900",
                           "0005 14 03 0A00 8000 5000 1700 1600 0500 > 0005 15 03 0A00 0000 0000 0000 0000 0B00", open(5),
                           "0005 14 04 0A00 8000 5000 1700 1700 0500 > 0005 15 04 0A00 0000 0000 0000 0000 0A00"};
        // Without credits for the echoes, the device keeps the two it may take; a third K-frame
        // breaks the count, and the device ends the channel.
        QTest::newRow("a K-frame past the credits")
            << QStringList{open(0), "0040 0100 41 > ", "0040 0100 42 > ", "0040 0100 43 > 0005 06 01 0400 5000 4000"};
        QTest::newRow("disconnection, then of a channel no more")
            << QStringList{open(5), "0005 06 07 0400 4000 5000 > 0005 07 07 0400 4000 5000",
                           "0005 06 08 0400 4000 5000 > 0005 01 08 0600 0200 4000 5000"};
        QTest::newRow("commands it does not know, or cut short")
            << QStringList{"0005 0A 09 0200 0200 > 0005 01 09 0200 0000", "0005 14 0A 0800 8000 5000 1700 1700 > 0005 01 0A 0200 0000"};
    }
    void bytes()
    {
        QFETCH(QStringList, steps);
        QVector<VirtualAdvertiser> devices;
        QVERIFY(WorldLoader("world.json").parse(kWorld, &devices));
        WorldDevice device(devices.at(0));
        Central central;
        QPointer<Link> link = new Link({&central, hex("010000000000"), 0}, {&device, hex("010000205AC6"), 1}, {}, -50, this);
        link->open();
        for (const QString& step : steps) {
            central.heard.clear();
            const QByteArray pdu = hex(step.section(" > ", 0, 0));
            link->send(Link::Central, quint16(quint8(pdu.at(0)) << 8 | quint8(pdu.at(1))), pdu.mid(2));
            QStringList expected = step.section(" > ", 1).remove(' ').split('|', Qt::SkipEmptyParts);
            // A step that expects nothing waits for a round trip that shows nothing came: a
            // command the device rejects.
            if (expected.isEmpty()) {
                link->send(Link::Central, 0x0005, hex("0A FF 0000"));
                expected = QStringList{"000501FF02000000"};
            }
            QTRY_COMPARE_WITH_TIMEOUT(central.heard, expected, 5000);
        }
        link->terminate(Link::Central, Link::ReasonRemoteUser);
    }
};

QTEST_GUILESS_MAIN(tst_CreditChannels)
#include "tst_creditchannels.moc"
