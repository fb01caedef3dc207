#include <array>

#include <QtTest>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

namespace {

// Bytes `from` to `from + size` of a counting pattern, as the SDUs carry it.
QString data(int size, int from = 0)
{
    QByteArray bytes;
    for (int i = from; i < from + size; ++i)
        bytes += char(i);
    return QString(bytes.toHex(' '));
}

// Downlinks.
QString registerPsm(int psm, int level = 0)
{
    return frame("AA 04 0D", le(psm, 1) + le(level, 1) + " 00");
}
QString create(int psm, int cid, int credits, int mtu, int mps, int condix = 0)
{
    return frame("AA 04 01", le(psm) + le(cid) + le(credits) + le(mtu) + le(mps) + le(condix, 1));
}
QString acceptCoc(int accept, int peerCid, int cid, int credits, int mtu, int mps)
{
    return frame("AA 04 07", le(accept, 1) + le(peerCid) + le(cid) + le(credits) + le(mtu) + le(mps) + le(0, 1));
}
QString sendSdu(int cid, int size, int condix = 0, int declared = -1)
{
    return frame("AA 04 03", le(cid) + le(declared < 0 ? size : declared) + le(condix, 1) + " " + data(size));
}
QString grant(int cid, int credits, int condix = 0)
{
    return frame("AA 04 0B", le(cid) + le(credits) + le(condix, 1));
}
QString disconnectCoc(int cid, int condix = 0)
{
    return frame("AA 04 13", le(cid) + le(condix, 1));
}

// Events.
QString created(int status, int psm, int cid, int credits, int peerCredits, int peerMtu, int peerMps, int condix = 0)
{
    return frame("DD 04 02", le(0, 1) + le(status, 1) + le(psm) + le(cid) + le(credits) + le(peerCredits) + le(peerMtu)
                                 + le(peerMps) + le(condix, 1));
}
QString requested(int psm, int peerCid, int mtu, int mps)
{
    return frame("DD 04 06", le(psm) + le(peerCid) + le(mtu) + le(mps) + le(0, 1));
}
QString sending(int cid, int credits, int status, int condix = 0)
{
    return frame("DD 04 04", le(cid) + le(credits) + le(status, 1) + le(condix, 1));
}
QString received(int cid, int credits, const QString& sdu, int condix = 0)
{
    return frame("DD 04 0A", le(cid) + le(credits) + le(hex(sdu).size()) + le(condix, 1) + " " + sdu);
}
QString credited(int status, int cid, int condix = 0)
{
    return frame("DD 04 0C", le(status, 1) + le(cid) + le(condix, 1));
}
QString granted(int cid, int credits, int condix = 0)
{
    return frame("DD 04 15", le(cid) + le(credits) + le(condix, 1));
}
QString closed(int cid, int reason)
{
    return frame("DD 04 14", le(0, 1) + le(cid) + le(reason, 1) + le(0, 1));
}

// A step: the downlink ("A ..." or "B ..."), or "drop" (the link of the two ends), then what A
// and B hear after it.
using Step = std::array<QString, 3>;

// B takes PSM 0x80 and accepts A's channel: A's CID 0x40 (MTU 100, MPS 23, 10 credits) to B's
// 0x50 (MTU 64, MPS 23, `credits`).
QVector<Step> opened(int credits)
{
    return {{"B " + registerPsm(0x80), "", ackFrame("04@0D")},
            {"A " + create(0x80, 0x40, 10, 100, 23), ackFrame("04@01"), requested(0x80, 0x40, 100, 23)},
            {"B " + acceptCoc(1, 0x40, 0x50, credits, 64, 23), created(0, 0x80, 0x40, 10, credits, 64, 23), ackFrame("07@01")}};
}

void row(const char* name, const QVector<Step>& steps)
{
    QStringList down, a, b;
    for (const Step& step : steps) {
        down << step[0];
        a << step[1];
        b << step[2];
    }
    QTest::newRow(name) << down << a << b;
}

} // namespace

// Credit-based channels from the host side of two dongles, A (0) and B (1), on one link, condix 0
// at both ends; A is also central of the heart-rate sensor of the default world, on condix 1.
class tst_L2capEngine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }

    // SDUs cut by B's MPS of 23 (21 bytes in the first K-frame), a credit for each K-frame.
    void credits_data()
    {
        columns();
        const auto sent = [](int size, int frames) {
            return opened(10) + QVector<Step>{{"A " + sendSdu(0x40, size), ackFrame("04@03") + " | " + sending(0x40, frames, 0),
                                               received(0x50, frames, data(size))}};
        };
        row("1 byte", sent(1, 1));
        row("21 bytes fill the first K-frame", sent(21, 1));
        row("22 bytes take a second", sent(22, 2));
        row("64 bytes, B's MTU, take three", sent(64, 3));
        row("65 bytes pass B's MTU",
            opened(10) + QVector<Step>{{"A " + sendSdu(0x40, 65), ackFrame("04@03") + " | " + sending(0x40, 0, 49), ""}});
        row("credits run out within an SDU; a grant sends the rest",
            opened(2) + QVector<Step>{{"A " + sendSdu(0x40, 64), ackFrame("04@03"), ""},
                                      {"B " + grant(0x50, 1), granted(0x40, 1) + " | " + sending(0x40, 3, 0),
                                       ackFrame("04@0B") + " | " + credited(0, 0x50) + " | " + received(0x50, 3, data(64))}});
        row("no credits: 42 and nothing sent, then the same SDU after a grant",
            opened(0) + QVector<Step>{{"A " + sendSdu(0x40, 5), ackFrame("04@03") + " | " + sending(0x40, 0, 42), ""},
                                      {"B " + grant(0x50, 1), granted(0x40, 1), ackFrame("04@0B") + " | " + credited(0, 0x50)},
                                      {"A " + sendSdu(0x40, 5), ackFrame("04@03") + " | " + sending(0x40, 1, 0),
                                       received(0x50, 1, data(5))}});
        row("an SDU behind one that waits is queued, and both go in order",
            opened(1) + QVector<Step>{{"A " + sendSdu(0x40, 22) + " " + sendSdu(0x40, 1), ackFrame("04@03") + " | " + ackFrame("04@03"), ""},
                                      {"B " + grant(0x50, 2),
                                       granted(0x40, 2) + " | " + sending(0x40, 2, 0) + " | " + sending(0x40, 1, 0),
                                       ackFrame("04@0B") + " | " + credited(0, 0x50) + " | " + received(0x50, 2, data(22)) + " | "
                                           + received(0x50, 1, data(1))}});
        row("B's SDUs to A, cut by A's MPS", opened(10) + QVector<Step>{{"B " + sendSdu(0x50, 30), received(0x40, 2, data(30)),
                                                                         ackFrame("04@03") + " | " + sending(0x50, 2, 0)}});
        row("a length that disagrees with the data; an unknown CID",
            opened(10) + QVector<Step>{{"A " + sendSdu(0x40, 3, 0, 4), ackFrame("04@03") + " | " + sending(0x40, 0, 52), ""},
                                       {"A " + sendSdu(0x41, 1) + " " + grant(0x41, 1),
                                        ackFrame("04@03") + " | " + sending(0x41, 0, 51) + " | " + ackFrame("04@0B") + " | " + credited(51, 0x41),
                                        ""}});
        row("credits past 65535", opened(10) + QVector<Step>{{"B " + grant(0x50, 65526), "", ackFrame("04@0B") + " | " + credited(61, 0x50)}});
    }
    void credits() { run(); }

    // Opening, refusing and closing channels, between the dongles and to the sensor.
    void channels_data()
    {
        columns();
        const QVector<Step> asked = opened(10).mid(0, 2); // B has heard A's request
        row("B refuses: A hears 55, and has no channel",
            asked + QVector<Step>{{"B " + acceptCoc(0, 0x40, 0x50, 10, 64, 23), created(55, 0x80, 0x40, 10, 0, 0, 0), ackFrame("07@01")},
                                  {"A " + sendSdu(0x40, 1), ackFrame("04@03") + " | " + sending(0x40, 0, 51), ""}});
        row("B accepts with an MTU below 23: A hears 64",
            asked + QVector<Step>{{"B " + acceptCoc(1, 0x40, 0x50, 10, 22, 23), created(64, 0x80, 0x40, 10, 0, 0, 0),
                                   ackFrame("07@01", 1) + " | log: Accept Create COC Request: MTU 22 below 23"}});
        row("a PSM B has not registered: 58",
            {{"A " + create(0x81, 0x40, 10, 100, 23), ackFrame("04@01") + " | " + created(58, 0x81, 0x40, 10, 0, 0, 0), ""}});
        row("a PSM that asks for encryption: 57",
            {{"B " + registerPsm(0x80, 1), "", ackFrame("04@0D")},
             {"A " + create(0x80, 0x40, 10, 100, 23), ackFrame("04@01") + " | " + created(57, 0x80, 0x40, 10, 0, 0, 0), ""}});
        row("the sensor's PSM that asks for authentication: 54",
            {{"A " + create(0x82, 0x40, 10, 100, 23, 1), ackFrame("04@01") + " | " + created(54, 0x82, 0x40, 10, 0, 0, 0, 1), ""}});
        row("the sensor takes two channels, not three: 53",
            {{"A " + create(0x80, 0x40, 10, 100, 23, 1) + " " + create(0x81, 0x41, 10, 100, 23, 1) + " "
                  + create(0x80, 0x42, 10, 100, 23, 1),
              ackFrame("04@01") + " | " + ackFrame("04@01") + " | " + ackFrame("04@01") + " | " + created(0, 0x80, 0x40, 10, 10, 512, 247, 1)
                  + " | " + created(0, 0x81, 0x41, 10, 10, 512, 247, 1) + " | " + created(53, 0x80, 0x42, 10, 0, 0, 0, 1),
              ""}});
        row("A disconnects", opened(10) + QVector<Step>{{"A " + disconnectCoc(0x40), ackFrame("04@13") + " | " + closed(0x40, 0x16),
                                                         closed(0x50, 0x13)}});
        row("B disconnects", opened(10) + QVector<Step>{{"B " + disconnectCoc(0x50), closed(0x40, 0x13),
                                                         ackFrame("04@13") + " | " + closed(0x50, 0x16)}});
        row("the link ends: its channels go without a word",
            opened(10) + QVector<Step>{{"drop", frame("DD 01 08", "00 13 00"), frame("DD 01 08", "00 16 00")},
                                       {"A " + sendSdu(0x40, 1), ackFrame("04@03", 3), ""}});
    }
    void channels() { run(); }

    // An echo sends each SDU back within A's MTU and credits, and gives its credits back once the
    // echo is out; a sink gives them back at once.
    void worldDevice_data()
    {
        columns();
        const Step echo = {"A " + create(0x80, 0x40, 10, 100, 23, 1),
                           ackFrame("04@01") + " | " + created(0, 0x80, 0x40, 10, 10, 512, 247, 1), ""};
        row("an SDU comes back whole",
            {echo, {"A " + sendSdu(0x40, 60, 1), ackFrame("04@03") + " | " + sending(0x40, 1, 0, 1) + " | "
                                                     + received(0x40, 3, data(60), 1) + " | " + granted(0x40, 1, 1), ""}});
        row("an SDU past A's MTU comes back in pieces, held back by A's credits",
            {echo,
             {"A " + sendSdu(0x40, 250, 1), ackFrame("04@03") + " | " + sending(0x40, 2, 0, 1) + " | " + received(0x40, 5, data(100), 1)
                                                + " | " + received(0x40, 5, data(100, 100), 1), ""},
             {"A " + grant(0x40, 3, 1), ackFrame("04@0B") + " | " + credited(0, 0x40, 1) + " | " + received(0x40, 3, data(50, 200), 1)
                                            + " | " + granted(0x40, 2, 1), ""}});
        row("the sink",
            {{"A " + create(0x81, 0x40, 10, 100, 23, 1), ackFrame("04@01") + " | " + created(0, 0x81, 0x40, 10, 10, 512, 247, 1), ""},
             {"A " + sendSdu(0x40, 300, 1), ackFrame("04@03") + " | " + sending(0x40, 2, 0, 1) + " | " + granted(0x40, 2, 1), ""}});
    }
    void worldDevice() { run(); }

    // Each refused command gets its status and a log line.
    void refusals_data()
    {
        columns();
        const auto refused = [](const char* name, const QString& command, const QString& answer) {
            row(name, {{"A " + command, answer, ""}});
        };
        refused("PSM 0", registerPsm(0), ackFrame("04@0D", 23) + " | log: Register PSM: PSM 0 is no PSM");
        row("a PSM twice", {{"A " + registerPsm(0x80) + " " + registerPsm(0x80),
                             ackFrame("04@0D") + " | " + ackFrame("04@0D", 24) + " | log: Register PSM: PSM 128 is registered already", ""}});
        refused("a CID below the dynamic ones", create(0x80, 0x3F, 10, 100, 23),
                ackFrame("04@01", 1) + " | log: Create COC: local CID 0x003F outside 0x0040 to 0x007F");
        row("a CID in use", {{"A " + create(0x80, 0x40, 10, 100, 23) + " " + create(0x80, 0x40, 10, 100, 23),
                              ackFrame("04@01") + " | " + ackFrame("04@01", 1) + " | log: Create COC: local CID 0x0040 is in use on link 0 | "
                                  + created(58, 0x80, 0x40, 10, 0, 0, 0),
                              ""}});
        refused("no link", create(0x80, 0x40, 10, 100, 23, 5), ackFrame("04@01", 3));
        refused("an answer to no request", acceptCoc(1, 0x40, 0x50, 10, 64, 23),
                ackFrame("07@01", 1) + " | log: Accept Create COC Request: no request from CID 0x0040 waits on link 0");
        refused("a disconnection of no channel", disconnectCoc(0x40),
                ackFrame("04@13", 1) + " | log: Disconnect COC: local CID 0x0040 is not open on link 0");
    }
    void refusals() { run(); }

private:
    static void columns()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("a");
        QTest::addColumn<QStringList>("b");
    }
    void run()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, a);
        QFETCH(QStringList, b);
        QByteArray up[2];
        VirtualAir air;
        VirtualDongle dongles[2] = {{0, &air}, {1, &air}};
        for (int n : {0, 1}) {
            connect(&dongles[n], &VirtualDongle::uplink, this, [&up, n](const QByteArray& bytes) { up[n] += bytes; });
            dongles[n].feed(hex(kReset));
        }
        dongles[1].feed(hex(kAdvertise));
        dongles[0].feed(hex(kConnectDongle1));
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(up[1]).contains("DD@01@2A"), 5000); // B's set ended with the link
        dongles[0].feed(hex(kConnectHr));
        QTRY_COMPARE_WITH_TIMEOUT(uplinkIds(up[0]).count("DD@01@06"), 2, 5000);
        for (int i = 0; i < steps.size(); ++i) {
            up[0].clear();
            up[1].clear();
            const QString& step = steps.at(i);
            if (step == "drop")
                QVERIFY(dongles[0].connections()->drop(0));
            else
                dongles[step.startsWith('A') ? 0 : 1].feed(hex(step.mid(2)));
            QTRY_COMPARE_WITH_TIMEOUT(up[0].toHex(' '), frames(a.at(i)).toHex(' '), 5000);
            QTRY_COMPARE_WITH_TIMEOUT(up[1].toHex(' '), frames(b.at(i)).toHex(' '), 5000);
        }
    }
};

QTEST_GUILESS_MAIN(tst_L2capEngine)
#include "tst_l2capengine.moc"
