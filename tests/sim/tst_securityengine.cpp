#include <QtTest>

#include "air/virtualair.h"
#include "dongle/devicelistsengine.h"
#include "dongle/securityengine.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

namespace {

// 5_0_Connect to the thermometer of the default world (C6:5A:10:00:00:03), which shows a passkey
// and insists on MITM: kConnectHr to another address.
QByteArray connectThermo()
{
    QByteArray bytes = hex(kConnectHr);
    bytes.chop(1);
    bytes[bytes.size() - 8] = 0x03;
    return withChecksum(bytes);
}

// Set Security Parameter: level, IO, bond, MITM, SC, keypress, key size, key distributions.
QString parameters(int level, int io, int bond, int mitm, int sc, int keys = 3)
{
    return frame("AA 02 01", le(level, 1) + le(io, 1) + le(bond, 1) + le(mitm, 1) + le(sc, 1) + le(0, 1) + le(16, 1)
                                 + le(keys, 1) + le(keys, 1));
}
QString startPair(int condix)
{
    return frame("AA 02 03", le(condix, 1));
}
// Sending Confirm Information, as the tool builds it.
QString answer(int type, int accept, int condix, qint64 passkey = -1)
{
    return frame("AA 02 07", le(type, 1) + le(accept, 1) + (passkey >= 0 ? le(int(passkey), 4) : QString()) + le(condix, 1));
}
QString linkKey(int condix)
{
    return frame("AA 02 0A", le(condix, 1));
}

} // namespace

// Pairing from the host side: dongle A (0) is central of dongle B (1) on condix 0 at both ends,
// and of the thermometer on A's condix 1.
class tst_SecurityEngine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }

    void init()
    {
        m_air = std::make_unique<VirtualAir>();
        for (int n : {0, 1}) {
            m_dongles[n] = std::make_unique<VirtualDongle>(n, m_air.get());
            m_up[n].clear();
            connect(m_dongles[n].get(), &VirtualDongle::uplink, this, [this, n](const QByteArray& bytes) { m_up[n] += bytes; });
            m_dongles[n]->feed(hex(kReset));
        }
        m_dongles[1]->feed(hex(kAdvertise));
        m_dongles[0]->feed(hex(kConnectDongle1));
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(m_up[1]).contains("DD@01@06"), 5000);
        m_dongles[0]->feed(connectThermo());
        QTRY_COMPARE_WITH_TIMEOUT(uplinkIds(m_up[0]).count("DD@01@06"), 2, 5000);
    }
    void cleanup()
    {
        m_dongles[0].reset();
        m_dongles[1].reset();
        m_air.reset();
    }

    // A keyboard types what the thermometer shows; a mistyped passkey fails its confirm value,
    // and a dongle without a keyboard can't give the MITM protection it insists on.
    void passkeyEntry_data()
    {
        QTest::addColumn<int>("io");
        QTest::addColumn<int>("typo");
        QTest::addColumn<int>("result");
        QTest::newRow("typed right") << 2 << 0 << 0;
        QTest::newRow("typed wrong") << 4 << 1 << 4;
        QTest::newRow("no keyboard") << 3 << 0 << 3;
    }
    void passkeyEntry()
    {
        QFETCH(int, io);
        QFETCH(int, typo);
        QFETCH(int, result);
        send(0, parameters(0, io, 1, 1, 0));
        send(0, startPair(1));
        if (result != 3) {
            // Type 1, byte 1 = 2: the dongle asks its host for a passkey to type.
            QCOMPARE(next(0, "DD@02@06").toHex(' '), frame("DD 02 06", "01 02 01").toLatin1());
            const std::optional<quint32> shown = m_dongles[0]->security()->peerPasskey();
            QVERIFY(shown);
            send(0, answer(1, 1, 1, *shown + typo));
        }
        QCOMPARE(next(0, "DD@02@04").toHex(' '), frame("DD 02 04", le(result, 1) + le(1, 1)).toLatin1());
        const QVector<DeviceListsEngine::Bond>& bonds = m_dongles[0]->deviceLists()->bonds();
        QCOMPARE(bonds.size(), result == 0 ? 1 : 0);
        send(0, linkKey(1));
        if (result != 0) {
            QCOMPARE(next(0, "BB@02@0A").toHex(' '), ackFrame("02@0A", 9).toLatin1());
            return;
        }
        QCOMPARE(bonds.at(0).address.toHex(), QByteArray("030000105ac6"));
        QCOMPARE(next(0, "DD@02@0A").toHex(' '), frame("DD 02 0A", QString(bonds.at(0).ltk.toHex(' ')) + le(1, 1)).toLatin1());
    }

    // Two dongles compare a number: B is asked about A's request first, then both show the same
    // value; a refusal at either end fails both with 12.
    void numericComparison_data()
    {
        QTest::addColumn<int>("bAgrees");
        QTest::addColumn<int>("result");
        QTest::newRow("both agree") << 1 << 0;
        QTest::newRow("B refuses") << 0 << 12;
    }
    void numericComparison()
    {
        QFETCH(int, bAgrees);
        QFETCH(int, result);
        for (int n : {0, 1})
            send(n, parameters(2, 1, 1, 1, 1));
        send(0, startPair(0));
        QCOMPARE(next(1, "DD@02@06").toHex(' '), frame("DD 02 06", "00 00").toLatin1());
        send(1, answer(0, 1, 0));
        const QByteArray asked[2] = {next(0, "DD@02@06"), next(1, "DD@02@06")};
        QCOMPARE(asked[0].mid(5, 1).toHex(), QByteArray("03"));
        QCOMPARE(asked[0], asked[1]);
        QVERIFY(quint32(quint8(asked[0].at(6)) | quint8(asked[0].at(7)) << 8 | quint8(asked[0].at(8)) << 16) <= 999999);
        send(0, answer(3, 1, 0));
        send(1, answer(3, bAgrees, 0));
        for (int n : {0, 1})
            QCOMPARE(next(n, "DD@02@04").toHex(' '), frame("DD 02 04", le(result, 1) + le(0, 1)).toLatin1());
        if (result != 0)
            return;
        // Both ends bonded with each other's identity and hold the same key.
        const DeviceListsEngine::Bond& aBond = m_dongles[0]->deviceLists()->bonds().value(0);
        const DeviceListsEngine::Bond& bBond = m_dongles[1]->deviceLists()->bonds().value(0);
        QCOMPARE(aBond.address.toHex(), QByteArray("1153005e0000"));
        QCOMPARE(aBond.peerIrk, m_dongles[1]->deviceLists()->localIrk());
        QCOMPARE(aBond.ltk, bBond.ltk);
        QCOMPARE(aBond.ltk.size(), 16);
    }

    // What the host may not ask: an answer to no question, a pairing on no link or while one
    // runs, and one with the pairing switch off.
    void refusals()
    {
        send(0, answer(3, 1, 0));
        QCOMPARE(next(0, "BB@02@07").toHex(' '), ackFrame("02@07", 15).toLatin1());
        send(0, startPair(5));
        QCOMPARE(next(0, "BB@02@03").toHex(' '), ackFrame("02@03", 3).toLatin1());
        send(0, parameters(0, 2, 0, 1, 0));
        send(0, startPair(1));
        send(0, startPair(1));
        QCOMPARE(next(0, "BB@02@03").toHex(' '), ackFrame("02@03", 0).toLatin1());
        QCOMPARE(next(0, "BB@02@03").toHex(' '), ackFrame("02@03", 6).toLatin1());
        send(1, frame("AA 02 09", "00"));
        send(1, startPair(0));
        QCOMPARE(next(1, "BB@02@03").toHex(' '), ackFrame("02@03", 15).toLatin1());
        send(0, startPair(0));
        QCOMPARE(next(0, "DD@02@04").toHex(' '), frame("DD 02 04", "05 00").toLatin1());
    }

private:
    void send(int n, const QString& frameText) { m_dongles[n]->feed(hex(frameText)); }

    // The first frame of this id that dongle n sent since the last one taken, waiting for it.
    QByteArray next(int n, const char* id)
    {
        QByteArray found;
        const auto take = [&] {
            const QList<QByteArray> list = cut(m_up[n]);
            int at = 0;
            for (const QByteArray& frame : list) {
                at += frame.size();
                if (QString(frame.left(3).toHex('@')).toUpper() == QLatin1String(id)) {
                    found = frame;
                    m_up[n].remove(0, at);
                    return true;
                }
            }
            return false;
        };
        // The macro tests its condition once more at the end: a frame taken stays taken.
        [&] { QTRY_VERIFY_WITH_TIMEOUT(!found.isEmpty() || take(), 5000); }();
        return found;
    }

    std::unique_ptr<VirtualAir> m_air;
    std::unique_ptr<VirtualDongle> m_dongles[2];
    QByteArray m_up[2];
};

QTEST_GUILESS_MAIN(tst_SecurityEngine)
#include "tst_securityengine.moc"
