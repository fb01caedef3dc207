#include <QtTest>

#include "air/link.h"
#include "air/peer.h"
#include "air/worlddevice.h"
#include "world/worldloader.h"
#include "uplinkbytes.h"

namespace {

// 1 service 1800; 2, 3 Device Name (read); 4 service 180D; 5, 6 Heart Rate Measurement (notify),
// 7 its configuration; 8, 9 2A39 (read, write); 10, 11 Temperature Measurement (indicate), 12 its
// configuration.
const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01", "services": [
    {"uuid": "1800", "characteristics": [{"uuid": "2A00", "properties": ["read"], "value": "4142"}]},
    {"uuid": "180D", "characteristics": [
        {"uuid": "2A37", "properties": ["notify"], "value": "0048", "notifyEveryMs": 10},
        {"uuid": "2A39", "properties": ["read", "write"], "value": "00"},
        {"uuid": "2A1C", "properties": ["indicate"], "value": "01", "notifyEveryMs": 10}]}]}]})";

// The client end of a link: it keeps what the server sends on the attribute channel.
class Client final : public Peer
{
public:
    bool acceptsCentral() const override { return true; }
    const ControllerInfo& controller() const override { return m_controller; }
    void linkUp(Link*) override {}
    void linkDown(Link*, quint8) override {}
    void received(Link*, quint16 channel, const QByteArray& data) override
    {
        if (channel == 0x0004)
            pdus.append(data);
    }
    void parametersRequested(Link*, const Link::ParameterRequest&) override {}
    void linkChanged(Link*, Link::Change, quint8) override {}

    QList<QByteArray> pdus;

private:
    ControllerInfo m_controller;
};

} // namespace

// The attribute server of a world device, spoken to as a client does, PDU by PDU over a link.
class tst_AttributeServer : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVector<VirtualAdvertiser> devices;
        WorldLoader loader("world.json");
        QVERIFY2(loader.parse(kWorld, &devices), qPrintable(loader.error()));
        m_device = std::make_unique<WorldDevice>(devices.at(0), 1);
        open();
    }
    void cleanup()
    {
        if (m_link)
            m_link->terminate(Link::Central, Link::ReasonRemoteUser);
        m_device.reset();
    }

    // Each step: a request and the server's answer, "-" for none.
    void answers_data()
    {
        QTest::addColumn<QStringList>("steps");
        const auto row = [](const char* name, const QStringList& steps) { QTest::newRow(name) << steps; };
        row("read of handle 0", {"0A 0000 > 01 0A 0000 01"});
        row("read past the last handle", {"0A 0D00 > 01 0A 0D00 01"});
        row("read of a value that only notifies", {"0A 0600 > 01 0A 0600 02"});
        row("declarations and configurations are readable", {"0A 0500 > 0B 10 0600 372A", "0A 0700 > 0B 0000"});
        row("write to a value that is only read", {"12 0300 41 > 01 12 0300 03"});
        row("write to a declaration", {"12 0200 00 > 01 12 0200 03"});
        row("configuration of three bytes", {"12 0700 010000 > 01 12 0700 0D"});
        row("indications of a value that only notifies", {"12 0700 0200 > 01 12 0700 13"});
        row("write command without the property: no answer, no change", {"52 0300 41 > -", "0A 0300 > 0B 4142"});
        row("write, then read back", {"12 0900 0507 > 13", "0A 0900 > 0B 0507"});
        row("group type that is not a service", {"10 0100 FFFF 0328 > 01 10 0100 10"});
        row("range from 0", {"08 0000 FFFF 0328 > 01 08 0000 01"});
        row("range that starts past its end", {"04 0500 0400 > 01 04 0500 01"});
        row("services, then nothing past the last",
            {"10 0100 FFFF 0028 > 11 06 0100 0300 0018 0400 0C00 0D18", "10 0D00 FFFF 0028 > 01 10 0D00 0A"});
        row("characteristics three to a response at MTU 23, then nothing",
            {"08 0400 0C00 0328 > 09 07 0500 10 0600 372A 0800 0A 0900 392A 0A00 20 0B00 1C2A",
             "08 0B00 0C00 0328 > 01 08 0B00 0A"});
        row("descriptors of one characteristic", {"04 0700 0700 > 05 01 0700 0229", "04 0C00 FFFF > 05 01 0C00 0229"});
        row("service by its UUID", {"06 0100 FFFF 0028 0D18 > 07 0400 0C00", "06 0D00 FFFF 0028 0D18 > 01 06 0D00 0A"});
        row("read blob at the end and past it", {"0C 0300 0200 > 0D", "0C 0300 0300 > 01 0C 0300 07"});
        row("read multiple with an unreadable value", {"0E 0300 0900 > 0F 414200", "0E 0300 0600 > 01 0E 0600 02"});
        row("MTU: the smaller of the two", {"02 F700 > 03 F700", "02 1000 > 03 F700"});
        row("prepared writes taken whole at execution",
            {"16 0900 0000 0102 > 17 0900 0000 0102", "16 0900 0200 03 > 17 0900 0200 03", "18 01 > 19",
             "0A 0900 > 0B 010203"});
        row("prepared writes cancelled", {"16 0900 0000 0102 > 17 0900 0000 0102", "18 00 > 19", "0A 0900 > 0B 00"});
        row("prepared write past the value", {"16 0900 0500 01 > 17 0900 0500 01", "18 01 > 01 18 0900 07"});
        row("prepared write to a read-only value", {"16 0300 0000 01 > 01 16 0300 03"});
        row("request the server lacks", {"20 0300 0900 > 01 20 0000 06"});
        row("request cut short", {"0A 03 > 01 0A 0000 04"});
    }
    void answers()
    {
        QFETCH(QStringList, steps);
        for (const QString& step : steps) {
            m_client.pdus.clear();
            send(step.section(" > ", 0, 0));
            const QString expected = step.section(" > ", 1);
            if (expected == "-") {
                send("0A 0300"); // a read's answer comes after whatever the step caused
                QTRY_COMPARE_WITH_TIMEOUT(m_client.pdus.size(), 1, 5000);
                QCOMPARE(m_client.pdus.first().toHex(' '), hex("0B 4142").toHex(' '));
                continue;
            }
            QTRY_COMPARE_WITH_TIMEOUT(m_client.pdus.size(), 1, 5000);
            QCOMPARE(m_client.pdus.first().toHex(' '), hex(expected).toHex(' '));
        }
    }

    // Notifications come while the client configuration asks for them and stop with its answer.
    void notificationsStartAndStop()
    {
        send("12 0700 0100");
        QTRY_VERIFY_WITH_TIMEOUT(count("1B 0600") >= 3, 5000);
        QCOMPARE(m_client.pdus.first().toHex(' '), hex("13").toHex(' '));
        QCOMPARE(m_client.pdus.at(1).toHex(' '), hex("1B 0600 0048").toHex(' '));
        send("12 0700 0000");
        QTRY_VERIFY_WITH_TIMEOUT(m_client.pdus.count(hex("13")) == 2, 5000);
        const int stoppedAt = m_client.pdus.lastIndexOf(hex("13"));
        // Two round trips later nothing has come behind the answer but the reads' answers.
        send("0A 0700");
        QTRY_VERIFY_WITH_TIMEOUT(m_client.pdus.contains(hex("0B 0000")), 5000);
        send("0A 0300");
        QTRY_VERIFY_WITH_TIMEOUT(m_client.pdus.contains(hex("0B 4142")), 5000);
        QCOMPARE(m_client.pdus.size(), stoppedAt + 3);
    }

    // One indication is out at a time: the next waits for the confirmation, however many fall due.
    void indicationWaitsForConfirmation()
    {
        send("12 0C00 0200");
        send("12 0700 0100");
        QTRY_COMPARE_WITH_TIMEOUT(count("1D 0B00"), 1, 5000);
        // The notifications tick at the same pace: five of them, and the indication stays alone.
        const int notified = count("1B 0600");
        QTRY_VERIFY_WITH_TIMEOUT(count("1B 0600") >= notified + 5, 5000);
        QCOMPARE(count("1D 0B00"), 1);
        send("1E");
        QTRY_COMPARE_WITH_TIMEOUT(count("1D 0B00"), 2, 5000);
        QCOMPARE(m_client.pdus.count(hex("1D 0B00 01")), 2);
    }

    // What a client configured is its link's: a new link starts with nothing switched on.
    void configurationEndsWithTheLink()
    {
        send("12 0700 0100");
        QTRY_VERIFY_WITH_TIMEOUT(count("1B 0600") >= 1, 5000);
        const Link* first = m_link;
        QCOMPARE(m_device->database()->clientConfiguration(first, 7), quint16(1));
        m_link->terminate(Link::Central, Link::ReasonRemoteUser);
        QCOMPARE(m_device->database()->clientConfiguration(first, 7), quint16(0));
        QTRY_VERIFY(!m_link);
        open();
        send("0A 0700");
        QTRY_VERIFY_WITH_TIMEOUT(m_client.pdus.contains(hex("0B 0000")), 5000);
        send("0A 0300");
        QTRY_VERIFY_WITH_TIMEOUT(m_client.pdus.contains(hex("0B 4142")), 5000);
        QCOMPARE(count("1B"), 0);
    }

private:
    void open()
    {
        m_client.pdus.clear();
        Link::Parameters parameters;
        m_link = new Link({&m_client, hex("010000000000"), 0}, {m_device.get(), hex("010000205AC6"), 1}, parameters, -50, this);
        m_link->open();
    }
    void send(const QString& pdu) { m_link->send(Link::Central, 0x0004, hex(pdu)); }
    int count(const QString& prefix) const
    {
        return int(std::count_if(m_client.pdus.cbegin(), m_client.pdus.cend(),
                                 [&](const QByteArray& pdu) { return pdu.startsWith(hex(prefix)); }));
    }

    Client m_client;
    std::unique_ptr<WorldDevice> m_device;
    QPointer<Link> m_link;
};

QTEST_GUILESS_MAIN(tst_AttributeServer)
#include "tst_attributeserver.moc"
