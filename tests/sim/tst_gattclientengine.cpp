#include <QtTest>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/gattclientengine.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "world/worldloader.h"
#include "uplinkbytes.h"

namespace {

// 1 service 1800; 2, 3 Device Name "AB"; 4 service 180D; 5, 6 Heart Rate Measurement (notify),
// 7 its configuration; 8, 9 2A39 (read, write); 10, 11 Temperature Measurement (indicate), 12
// its configuration.
const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01", "intervalMs": 20, "services": [
    {"uuid": "1800", "characteristics": [{"uuid": "2A00", "properties": ["read"], "value": "4142"}]},
    {"uuid": "180D", "characteristics": [
        {"uuid": "2A37", "properties": ["notify"], "value": "0048", "notifyEveryMs": 10},
        {"uuid": "2A39", "properties": ["read", "write"], "value": "00"},
        {"uuid": "2A1C", "properties": ["indicate"], "value": "01", "notifyEveryMs": 10}]}]}]})";

// A GATT command on condix 0 (module 03, the opcode, then the rest of its payload).
QString gatt(const char* opcode, const QString& rest = QString())
{
    const QByteArray payload = hex("00 " + rest);
    return QString(withChecksum(hex(QStringLiteral("AA 03 %1").arg(opcode)) + le16(payload.size()) + payload).toHex(' '));
}

QString ack(const char* opcode, int status = 0)
{
    return QString(withChecksum(hex(QStringLiteral("BB 03 %1 01 00").arg(opcode)) + char(status)).toHex(' '));
}

// A result of module 03 on condix 0.
QString dd(const char* opcode, const QString& rest)
{
    const QByteArray payload = hex("00 " + rest);
    return QString(withChecksum(hex(QStringLiteral("DD 03 %1").arg(opcode)) + le16(payload.size()) + payload).toHex(' '));
}

} // namespace

// The dongle's GATT client against a device of the world: the host's commands in, the results
// the tool reads out, over a link with the device's attribute server at its far end.
class tst_GattClientEngine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }
    void init()
    {
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader("world.json");
        QVERIFY2(loader.parse(kWorld, &devices), qPrintable(loader.error()));
        m_air = std::make_unique<VirtualAir>();
        m_air->setWorld(devices);
        m_dongle = std::make_unique<VirtualDongle>(0, m_air.get());
        connect(m_dongle.get(), &VirtualDongle::uplink, this, [this](const QByteArray& bytes) { m_up += bytes; });
        m_dongle->feed(hex(kReset));
        m_dongle->feed(withChecksum(hex(CONNECT("00 01 00 00", "01 00 00 20 5A C6 01 00"))));
        QTRY_VERIFY_WITH_TIMEOUT(uplinkIds(m_up).contains("DD@01@06"), 5000);
        m_up.clear();
    }
    void cleanup()
    {
        m_dongle.reset();
        m_air.reset();
        m_up.clear();
    }

    // Each step is a command (or several), and after it comes all the uplink of its row.
    void dialogues_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("ups");
        const auto row = [](const char* name, const QStringList& steps, const QStringList& ups) {
            QTest::newRow(name) << steps << ups;
        };
        row("Discover All Attributes: each service whole, in handle order, then the end of the handles",
            {gatt("29")},
            {QStringList{ack("29"), dd("30", "0100 0300 0018"), dd("32", "0200 02 0300 002A"), dd("30", "0400 0C00 0D18"),
                         dd("32", "0500 10 0600 372A"), dd("33", "0700 0229"), dd("32", "0800 0A 0900 392A"),
                         dd("32", "0A00 20 0B00 1C2A"), dd("33", "0C00 0229"), dd("34", "0A")}
                 .join(" | ")});
        row("primary services: one list a response, then the end of the range",
            {gatt("02")}, {ack("02") + " | " + dd("03", "00 0200 0100 0300 02 0018 0400 0C00 02 0D18") + " | " + dd("03", "0A 0000")});
        row("characteristics by UUID: the client filters; a response without one gives no list",
            {gatt("0A", "0100 FFFF 392A")},
            {ack("0A") + " | " + dd("0B", "00 0100 0800 0900 0A 02 392A") + " | " + dd("0B", "0A 0000")});
        row("descriptors of a range that starts past its end", {gatt("0C", "0800 0700")}, {ack("0C") + " | " + dd("0D", "01 0000")});
        row("reads: a value, and handle 0", {gatt("0E", "0300"), gatt("0E", "0000")},
            {ack("0E") + " | " + dd("0F", "00 0100 0300 0000 0200 4142"), ack("0E") + " | " + dd("0F", "01 0000")});
        row("two reads at once are answered in turn", {gatt("0E", "0900") + " " + gatt("20", "0700")},
            {ack("0E") + " | " + ack("20") + " | " + dd("0F", "00 0100 0900 0000 0100 00") + " | " + dd("21", "00 0100 0700 0000 0200 0000")});
        row("write refused: a read-only value", {gatt("1A", "0300 41")}, {ack("1A") + " | " + dd("1B", "03 0300")});
        row("a long write in prepared parts, read back long in blobs",
            {gatt("1C", "0900 0000 " + QString("A1").repeated(30)), gatt("12", "0900 0000")},
            {ack("1C") + " | " + dd("1D", "00 0900"),
             ack("12") + " | " + dd("13", "00 0100 0900 0000 1E00 " + QString("A1").repeated(30))});
        row("MTU exchanged once", {gatt("00"), gatt("00")},
            {ack("00") + " | " + dd("01", "00 F700"), ack("00", 15) + " | log: Exchange GATT MTU: link 0 has exchanged its MTU already"});
        row("write without response that does not fit the MTU", {gatt("16", "0900 " + QString("00").repeated(21))},
            {ack("16", 19) + " | log: Write Characteristic Value without Response: 21 bytes do not fit the MTU's 20"});
        row("a command on a condix without a link", {QString(withChecksum(hex("AA 03 0E 03 00 05 03 00")).toHex(' '))},
            {QString(withChecksum(hex("BB 03 0E 01 00 03")).toHex(' '))});
    }
    void dialogues()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, ups);
        for (int i = 0; i < steps.size(); ++i) {
            m_up.clear();
            m_dongle->feed(hex(steps.at(i)));
            QTRY_COMPARE_WITH_TIMEOUT(m_up.toHex(' '), frames(ups.at(i)).toHex(' '), 5000);
        }
    }

    // Notifications come up as they arrive; an indication is confirmed by the dongle, so the
    // next one follows.
    void valuesFromTheServer()
    {
        m_dongle->feed(hex(gatt("24", "0700 0100")));
        m_dongle->feed(hex(gatt("24", "0C00 0200")));
        const QByteArray notified = hex(dd("28", "01 0600 0048"));
        const QByteArray indicated = hex(dd("28", "02 0B00 01"));
        QTRY_VERIFY_WITH_TIMEOUT(cut(m_up).count(indicated) >= 3 && cut(m_up).count(notified) >= 3, 5000);
        QVERIFY(cut(m_up).contains(hex(dd("25", "00 0700"))));
    }

    // A link that ends under a discovery ends it too: the host hears of the link first.
    void linkEndsUnderADiscovery()
    {
        m_dongle->feed(hex(gatt("29")));
        QVERIFY(m_dongle->connections()->drop(0));
        QTRY_COMPARE_WITH_TIMEOUT(uplinkIds(m_up), (QStringList{"BB@03@29", "DD@01@08", "DD@03@34"}), 5000);
        QCOMPARE(cut(m_up).last().toHex(' '), hex(dd("34", "46")).toHex(' '));
        QCOMPARE(m_dongle->gattClient()->mtu(0), 0);
    }

private:
    std::unique_ptr<VirtualAir> m_air;
    std::unique_ptr<VirtualDongle> m_dongle;
    QByteArray m_up;
};

QTEST_GUILESS_MAIN(tst_GattClientEngine)
#include "tst_gattclientengine.moc"
