#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <QMetaEnum>
#include <QRandomGenerator>
#include <QtTest>

#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"

namespace {

// Keeps every line the codec logs as "level|text".
class CaptureLog : public LogManager
{
public:
    CaptureLog()
        : LogManager(QStringLiteral("tst_ccommand"))
    {
    }

    void log(const QString& text, int level) override { lines << QString::number(level) + '|' + text; }

    QStringList lines;
};

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

FieldValueMap startScanDefaults()
{
    return {{"5_0_scan_type", 0},
            {"5_0_scan_properties", 1},
            {"5_0_scan_interval_1m", QString("0060")},
            {"5_0_scan_window_1m", QString("0030")},
            {"5_0_scan_interval_coded", QString("0060")},
            {"5_0_scan_window_coded", QString("0030")},
            {"5_0_scan_duration", 0},
            {"5_0_scan_period", 0},
            {"5_0_scan_duplicate_filter_policy", 1},
            {"5_0_scan_own_addr_type", 0}};
}

FieldValueMap connectDefaults()
{
    FieldValueMap m{{"5_0_conn_type", 0},
                    {"5_0_conn_properties", 1},
                    {"5_0_conn_timeout", QString("01f4")},
                    {"5_0_conn_scan_interval_1m", QString("0060")},
                    {"5_0_conn_scan_window_1m", QString("0030")},
                    {"5_0_conn_scan_interval_coded", QString("0060")},
                    {"5_0_conn_scan_window_coded", QString("0030")},
                    {"addr", QString("C0A1B2C3D4E5")},
                    {"addr_type", 1},
                    {"5_0_conn_own_addr_type", 0}};
    for (const char* phy : {"1m", "2m", "coded"}) {
        const QString p = QString::fromLatin1(phy);
        m.insert("5_0_conn_interval_min_" + p, QString("0018"));
        m.insert("5_0_conn_interval_max_" + p, QString("0028"));
        m.insert("5_0_conn_latency_" + p, QString("0000"));
        m.insert("5_0_conn_supervision_timeout_" + p, QString("01f4"));
        m.insert("5_0_conn_ce_" + p, QString("0002"));
    }
    return m;
}

const char* connectFrame = "AA 01 3F 32 00"
                           "00 01 F4 01 60 00 30 00 60 00 30 00"
                           "18 00 28 00 00 00 F4 01 02 00"
                           "18 00 28 00 00 00 F4 01 02 00"
                           "18 00 28 00 00 00 F4 01 02 00"
                           "E5 D4 C3 B2 A1 C0 01 00";

} // namespace

class TstCCommand : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void sendMsg_data();
    void sendMsg();
    void sendMsgLogText_data();
    void sendMsgLogText();
    void sendMsgPort();
    void sendMsgThroughPort();

    void isInvalidUpLinkMsg_data();
    void isInvalidUpLinkMsg();
    void uplinkId_data();
    void uplinkId();
    void parseUplinkMsg_data();
    void parseUplinkMsg();
    void statusProcs_data();
    void statusProcs();
    void uplinkLogs();
    void uplinkFieldsToDecimal();
    void malformedFramesStayInside();

    void enumerations_data();
    void enumerations();
    void uuidHelpers_data();
    void uuidHelpers();

private:
    std::unique_ptr<CaptureLog> m_log;
};

void TstCCommand::initTestCase()
{
    m_log = std::make_unique<CaptureLog>();
    QVERIFY(!CCfgFileParse::instance()->m_downlinkNameToId.isEmpty());
}

void TstCCommand::init()
{
    m_log->lines.clear();
}

void TstCCommand::sendMsg_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<FieldValueMap>("fields");
    QTest::addColumn<FieldValueMap>("extra");
    QTest::addColumn<QByteArray>("frame");    // empty: nothing assembled
    QTest::addColumn<int>("level");           // of the downlink line
    QTest::addColumn<QStringList>("errors");  // every other line, "level|text"

    const FieldValueMap none;
    const QStringList clean;

    QTest::newRow("reset, module 00, no fields") << "Reset" << none << none << hex("AA 00 01 00 00") << 2 << clean;
    QTest::newRow("disconnect, condix int") << "Disconnect" << FieldValueMap{{"condix", 3}} << none
                                            << hex("AA 01 07 01 00 03") << 2 << clean;
    QTest::newRow("disconnect, condix odd hex text") << "Disconnect" << FieldValueMap{{"condix", QString("3")}}
                                                     << none << hex("AA 01 07 01 00 03") << 2 << clean;
    QTest::newRow("heartbeat logs at debug") << "Heart Beat Detect" << none << none << hex("AA 01 84 00 00") << 1
                                             << clean;
    QTest::newRow("5_0_Start Scan defaults")
        << "5_0_Start Scan" << startScanDefaults() << none
        << hex("AA 01 3D 10 00 00 01 60 00 30 00 60 00 30 00 00 00 00 00 01 00") << 2 << clean;
    QTest::newRow("5_0_Connect") << "5_0_Connect" << connectDefaults() << none << hex(connectFrame) << 2 << clean;

    FieldValueMap noAddr = connectDefaults();
    noAddr.remove("addr");
    QTest::newRow("extra supplies a key the fields lack")
        << "5_0_Connect" << noAddr << FieldValueMap{{"addr", QString("C0A1B2C3D4E5")}} << hex(connectFrame) << 2
        << clean;
    QTest::newRow("extra overrides fields") << "Disconnect" << FieldValueMap{{"condix", 1}}
                                            << FieldValueMap{{"condix", 2}} << hex("AA 01 07 01 00 02") << 2 << clean;
    QTest::newRow("security parameters, module 02")
        << "Set Security Parameter"
        << FieldValueMap{{"device_sec_level", 1}, {"device_io_capabilities", 3}, {"use_bond", true},
                         {"use_mitm", false}, {"use_secure_connection", true}, {"use_keypress_notify", false},
                         {"encryption_key_size", 16}, {"initial_key_distribution", 7},
                         {"response_key_distribution", 7}}
        << none << hex("AA 02 01 09 00 01 03 01 00 01 00 10 07 07") << 2 << clean;
    QTest::newRow("gatt write, data tail as typed")
        << "Write Characteristic Value"
        << FieldValueMap{{"condix", 0}, {"attrible_handle", QString("0003")}, {"value", QString("030201")}} << none
        << hex("AA 03 1A 06 00 00 03 00 01 02 03") << 2 << clean;
    QTest::newRow("create COC, module 04")
        << "Create COC"
        << FieldValueMap{{"le_psm", 128}, {"local_cid", 64}, {"local_credits", 255}, {"mtu", 512},
                         {"mps", 251}, {"condix", 0}}
        << none << hex("AA 04 01 0B 00 80 00 40 00 FF 00 00 02 FB 00 00") << 2 << clean;
    QTest::newRow("profile, module 05, number in a tail writes nothing")
        << "Set Profile ID" << FieldValueMap{{"profile", 5}} << none << hex("AA 05 03 00 00") << 2 << clean;
    QTest::newRow("CIG parameters, module 06")
        << "CIG Parameter Set"
        << FieldValueMap{{"cig_id", 1}, {"sdu_interval_m2s", QString("00002710")}, {"sdu_interval_s2m", 10000u},
                         {"sca", QString("0")}, {"packing", QString("0")}, {"framing", QString("1")},
                         {"transport_latency_m2s", QString("000a")}, {"transport_latency_s2m", 10},
                         {"cis_count", 1}, {"cis", hex("00 64 00 64 00 02 02 01 01")}}
        << none
        << hex("AA 06 02 1A 00 01 10 27 00 00 10 27 00 00 00 00 01 0A 00 0A 00 01 00 64 00 64 00 02 02 01 01")
        << 2 << clean;
    QTest::newRow("LCP parameters, module 09, negative int")
        << "LCP Set Parameters" << FieldValueMap{{"Frequency", 2402u}, {"Channel Index", 0}, {"Tx Power", -5}}
        << none << hex("AA 09 03 06 00 62 09 00 00 00 FB") << 2 << clean;
    QTest::newRow("IDT transmit, module 0A, payload tail")
        << "IDT Transmit Data"
        << FieldValueMap{{"Repeat Time", 10}, {"Repeat Interval", QString("00000064")}, {"Length", 2},
                         {"Payload", hex("AB CD")}}
        << none << hex("AA 0A 04 0B 00 0A 00 00 00 64 00 00 00 02 AB CD") << 2 << clean;
    QTest::newRow("short text before a tail goes unchecked")
        << "IDT Transmit Data"
        << FieldValueMap{{"Repeat Time", 10}, {"Repeat Interval", QString("64")}, {"Length", 2},
                         {"Payload", hex("AB CD")}}
        << none << hex("AA 0A 04 08 00 0A 00 00 00 64 02 AB CD") << 2 << clean;

    QTest::newRow("bool in two bytes") << "Appearance Set" << FieldValueMap{{"appearance", true}} << none
                                       << hex("AA 01 5D 02 00 01 00") << 2 << clean;
    QTest::newRow("uint cut to one byte") << "Disconnect" << FieldValueMap{{"condix", 0x1234u}} << none
                                          << hex("AA 01 07 01 00 34") << 2 << clean;
    QTest::newRow("qlonglong widens with its sign") << "RF Calibration Set"
                                                    << FieldValueMap{{"rf_value", qlonglong(-2)}} << none
                                                    << hex("AA 01 83 02 00 FE FF") << 2 << clean;
    QTest::newRow("qulonglong in sixteen bytes")
        << "Local Irk Set" << FieldValueMap{{"key", qulonglong(0x8102030405060708ULL)}} << none
        << hex("AA 01 67 10 00 08 07 06 05 04 03 02 81 00 00 00 00 00 00 00 00") << 2 << clean;
    QTest::newRow("negative int past eight bytes")
        << "Local Irk Set" << FieldValueMap{{"key", -1}} << none
        << hex("AA 01 67 10 00 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF") << 2 << clean;
    QTest::newRow("byte array padded to its field")
        << "Add Whitelist" << FieldValueMap{{"addr", hex("01 02 03")}, {"addr_type", 0}} << none
        << hex("AA 01 09 07 00 01 02 03 00 00 00 00") << 2 << clean;
    QTest::newRow("address text reversed") << "Add Whitelist"
                                           << FieldValueMap{{"addr", QString("AABBCCDDEEFF")}, {"addr_type", 0}}
                                           << none << hex("AA 01 09 07 00 FF EE DD CC BB AA 00") << 2 << clean;
    QTest::newRow("odd hex text gets a leading zero") << "Appearance Set"
                                                      << FieldValueMap{{"appearance", QString("341")}} << none
                                                      << hex("AA 01 5D 02 00 41 03") << 2 << clean;

    QTest::newRow("short hex text caught by the length check")
        << "Appearance Set" << FieldValueMap{{"appearance", QString("41")}} << none << hex("AA 01 5D 01 00 41") << 2
        << QStringList{"4|Send msg:Appearance Set assemble failed, the msg lenth is wrong"};
    QTest::newRow("long hex text caught by the length check")
        << "Disconnect" << FieldValueMap{{"condix", QString("0003")}} << none << hex("AA 01 07 02 00 03 00") << 2
        << QStringList{"4|Send msg:Disconnect assemble failed, the msg lenth is wrong"};
    QTest::newRow("missing key") << "Disconnect" << none << FieldValueMap{{"condixx", 1}} << QByteArray() << 0
                                 << QStringList{"4|Send msg:Disconnect assemble failed."};
    QTest::newRow("hex text that does not parse")
        << "Disconnect" << FieldValueMap{{"condix", QString("0x3")}} << none << QByteArray() << 0
        << QStringList{"1|CCommand::appendFieldValue: convert QString to value failed.",
                       "4|Send msg:Disconnect assemble failed, can't append field value."};
    QTest::newRow("variant of another type")
        << "Disconnect" << FieldValueMap{{"condix", 1.0}} << none << QByteArray() << 0
        << QStringList{"1|CCommand::appendFieldValue: the type of the QVariant is wrong.",
                       "4|Send msg:Disconnect assemble failed, can't append field value."};
    QTest::newRow("unknown command") << "Disconect" << none << none << QByteArray() << 0
                                     << QStringList{"1|CCommand::sendMsg: convert layerId failed."};
}

void TstCCommand::sendMsg()
{
    QFETCH(QString, command);
    QFETCH(FieldValueMap, fields);
    QFETCH(FieldValueMap, extra);
    QFETCH(QByteArray, frame);
    QFETCH(int, level);
    QFETCH(QStringList, errors);

    // No port: the frame is only seen in the log, and the result is false in any case.
    QVERIFY(!CCommand::sendMsg(nullptr, m_log.get(), command, fields, extra));

    QStringList others;
    QByteArray sent;
    for (const QString& line : m_log->lines) {
        const int at = line.indexOf("|Downlink Command Name: ");
        if (at < 0) {
            others << line;
            continue;
        }
        QVERIFY2(sent.isEmpty(), "one downlink line per send");
        QCOMPARE(line.left(at).toInt(), level);
        const int raw = line.indexOf("\r\nRaw Data: ");
        const int end = line.indexOf("\r\nField Data: ");
        QVERIFY(raw > 0 && end > raw);
        sent = QByteArray::fromHex(line.mid(raw + 12, end - raw - 12).toLatin1());
    }
    QCOMPARE(sent.toHex(' '), frame.toHex(' '));
    QCOMPARE(others, errors);
}

void TstCCommand::sendMsgLogText_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<FieldValueMap>("fields");
    QTest::addColumn<QString>("text");

    QTest::newRow("one field") << "Disconnect" << FieldValueMap{{"condix", 3}}
                               << "2|Downlink Command Name: Disconnect\r\nRaw Data: aa0107010003\r\n"
                                  "Field Data: condix->03  ";
    QTest::newRow("a tail shows no bytes")
        << "Write Characteristic Value"
        << FieldValueMap{{"condix", 0}, {"attrible_handle", QString("0003")}, {"value", hex("01 02")}}
        << "2|Downlink Command Name: Write Characteristic Value\r\nRaw Data: aa031a05000003000102\r\n"
           "Field Data: condix->00  attrible_handle->03:00  value->  ";
    QTest::newRow("no fields") << "Stop Scan" << FieldValueMap()
                               << "2|Downlink Command Name: Stop Scan\r\nRaw Data: aa01030000\r\nField Data: ";
}

void TstCCommand::sendMsgLogText()
{
    QFETCH(QString, command);
    QFETCH(FieldValueMap, fields);
    QFETCH(QString, text);

    CCommand::sendMsg(nullptr, m_log.get(), command, fields);
    QCOMPARE(m_log->lines, QStringList{text});
}

void TstCCommand::sendMsgPort()
{
    const FieldValueMap fields{{"condix", 3}};
    QVERIFY(!CCommand::sendMsg(nullptr, m_log.get(), "Disconnect", fields));

    // A closed port refuses the frame, after the codec logged it.
    CMsg closed(nullptr);
    m_log->lines.clear();
    QVERIFY(!CCommand::sendMsg(&closed, m_log.get(), "Disconnect", fields));
    QCOMPARE(m_log->lines.size(), 1);

    CCommand::logSendFailed(m_log.get(), "Disconnect");
    QCOMPARE(m_log->lines.last(), QString("4|send Disconnect message failed"));
}

// A port that accepts the frame makes the send succeed; the wire then carries it with its checksum.
void TstCCommand::sendMsgThroughPort()
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
        QSKIP("no pseudo-terminal");
    const QString slave = QString::fromLocal8Bit(::ptsname(master));

    CMsg port(nullptr);
    QCOMPARE(port.openPort(slave), 0);
    QVERIFY(CCommand::sendMsg(&port, m_log.get(), "Disconnect", FieldValueMap{{"condix", 3}}));

    QByteArray wire;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            char buffer[64];
            const ssize_t n = ::read(master, buffer, sizeof buffer);
            if (n > 0)
                wire.append(buffer, int(n));
            return wire.size() >= 7;
        }(),
        2000);
    port.closePort();
    ::close(master);
    QCOMPARE(wire.toHex(' '), QByteArray("aa 01 07 01 00 03 4a"));
}

void TstCCommand::isInvalidUpLinkMsg_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("passes");
    QTest::addColumn<QStringList>("lines");

    const QStringList quiet;
    const QStringList tooShort{"2|uplink-msg: 0xbb010700", "2|the length of msg is too short"};
    QTest::newRow("empty") << QByteArray() << false
                           << QStringList{"2|uplink-msg: 0x", "2|the length of msg is too short"};
    QTest::newRow("four bytes") << hex("BB 01 07 00") << false << tooShort;
    QTest::newRow("five bytes, length 0") << hex("BB 01 07 00 00") << true << quiet;
    QTest::newRow("exact, one status byte") << hex("BB 01 07 01 00 00") << true << quiet;
    QTest::newRow("length word says more") << hex("BB 01 07 02 00 00") << false << quiet;
    QTest::newRow("length word says less") << hex("DD 01 08 02 00 00 13 02") << false << quiet;
    QTest::newRow("length word is little-endian") << hex("DD 01 02 00 01") + QByteArray(256, '\x5a') << true
                                                  << quiet;
    QTest::newRow("big-endian reading would pass") << hex("DD 01 02 01 00") + QByteArray(256, '\x5a') << false
                                                   << quiet;
}

void TstCCommand::isInvalidUpLinkMsg()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, passes);
    QFETCH(QStringList, lines);

    QCOMPARE(CCommand::isInvalidUpLinkMsg(m_log.get(), frame), passes);
    QCOMPARE(m_log->lines, lines);
}

void TstCCommand::uplinkId_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("id");

    QTest::newRow("ack, letters upper case") << hex("BB 01 0A 01 00 00") << "BB@01@0A";
    QTest::newRow("reset notice") << hex("CC 00 02 01 00 00") << "CC@00@02";
    QTest::newRow("event, zero-filled") << hex("DD 03 1B 00 00") << "DD@03@1B";
    QTest::newRow("high bytes") << hex("FF AB CD") << "FF@AB@CD";
}

void TstCCommand::uplinkId()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, id);
    QCOMPARE(CCommand::uplinkId(frame), id);
}

void TstCCommand::parseUplinkMsg_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("result");
    QTest::addColumn<UplinkFieldMap>("fields");
    QTest::addColumn<QStringList>("lines");

    const QStringList quiet;
    const QByteArray report = hex("DD 01 02 14 00 C0 A1 B2 C3 D4 E5 01 7F C4 01 01 01 00 FF 00 00 FF 02 01 06");
    const UplinkFieldMap reportFields{
        {"addr", hex("C0 A1 B2 C3 D4 E5")}, {"addr_type", hex("01")},       {"tx_power", hex("7F")},
        {"rssi", hex("C4")},                {"adv_type", hex("01")},        {"adv_classification", hex("01")},
        {"phy_prim", hex("01")},            {"phy_second", hex("00")},      {"adv_sid", hex("FF")},
        {"period_adv_intv", hex("00 00")},  {"per_sync_idx", hex("FF")},    {"adv_data_response_data", hex("02 01 06")}};
    QTest::newRow("advertising report with a tail") << report << 0 << reportFields << quiet;

    UplinkFieldMap emptyTail = reportFields;
    emptyTail["adv_data_response_data"] = QByteArray();
    QTest::newRow("advertising report, empty tail") << report.left(22) << 0 << emptyTail << quiet;

    QTest::newRow("disconnect event") << hex("DD 01 08 03 00 00 13 02") << 0
                                      << UplinkFieldMap{{"status", hex("00")}, {"reason", hex("13")},
                                                        {"condix", hex("02")}}
                                      << quiet;
    QTest::newRow("surplus bytes ignored") << hex("DD 01 08 05 00 00 13 02 AA BB") << 0
                                           << UplinkFieldMap{{"status", hex("00")}, {"reason", hex("13")},
                                                             {"condix", hex("02")}}
                                           << quiet;
    QTest::newRow("too short for the last row")
        << hex("DD 01 08 01 00 00") << -1 << UplinkFieldMap()
        << QStringList{"4|Parse uplink Command:Disconnect failed,the msg length is wrong."};
    QTest::newRow("last row starts at the end")
        << hex("DD 01 08 02 00 00 13") << -1
        << UplinkFieldMap{{"status", hex("00")}, {"reason", hex("13")}, {"condix", QByteArray()}}
        << QStringList{"4|Parse uplink Command:Disconnect failed,the file up_link_command.xml is wrong."};
    QTest::newRow("header only, with a tail row")
        << hex("DD 03 28 00 00") << -1 << UplinkFieldMap()
        << QStringList{"4|Parse uplink Command:Notification and Indication failed,the msg length is wrong."};
    QTest::newRow("last field cut in its middle")
        << hex("DD 01 44 0A 00 00 01 1B 00 48 01 1B 00 48") << -1
        << UplinkFieldMap{{"status", hex("00")},          {"index", hex("01")},
                          {"max_tx_octets", hex("1B 00")}, {"max_tx_time", hex("48 01")},
                          {"max_rx_octets", hex("1B 00")}, {"max_rx_time", hex("48")}}
        << QStringList{"4|Parse uplink Command:Data Length Update failed,the file up_link_command.xml is wrong."};
    QTest::newRow("notification, tail only header") << hex("DD 03 28 04 00 01 00 2A 00") << 0
                                                    << UplinkFieldMap{{"condix", hex("01")}, {"type", hex("00")},
                                                                      {"handle", hex("2A 00")},
                                                                      {"value", QByteArray()}}
                                                    << quiet;
    QTest::newRow("duplicate id, later row's keys")
        << hex("DD 06 03 15 00 00 20 00 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 02 02") << 0
        << UplinkFieldMap{{"status", hex("00")},
                          {"cis_connection_handle", hex("20 00")},
                          {"cig_sync_delay", hex("01 00 00 00")},
                          {"cis_sync_delay", hex("02 00 00 00")},
                          {"transport_latency_m2s", hex("03 00 00 00")},
                          {"transport_latency_s2m", hex("04 00 00 00")},
                          {"phy_m2s", hex("02")},
                          {"phy_s2m", hex("02")}}
        << quiet;
    QTest::newRow("nameless RF TX Power Set ack") << hex("BB 01 81 01 00 00") << 0 << UplinkFieldMap() << quiet;
    QTest::newRow("unknown id") << hex("DD 0F EE 01 00 00") << 0 << UplinkFieldMap() << quiet;
}

void TstCCommand::parseUplinkMsg()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, result);
    QFETCH(UplinkFieldMap, fields);
    QFETCH(QStringList, lines);

    UplinkFieldMap parsed;
    QCOMPARE(CCommand::parseUplinkMsg(m_log.get(), frame, parsed), result);
    QCOMPARE(parsed, fields);
    QCOMPARE(m_log->lines, lines);
}

void TstCCommand::statusProcs_data()
{
    QTest::addColumn<QString>("proc");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("SDK failure") << "SDKProc" << hex("BB 01 3D 01 00 05")
                                 << QStringList{"1|[SDKProc] bb013d010005",
                                                "4|[SDK Result] Uplink Command Name:Start Extended Scan "
                                                "Result:SDK ERR PROFILE COUNT"};
    QTest::newRow("SDK success is quiet") << "SDKProc" << hex("BB 01 3D 01 00 00")
                                          << QStringList{"1|[SDKProc] bb013d010000"};
    QTest::newRow("SDK code past the table") << "SDKProc" << hex("BB 01 3D 01 00 1F")
                                             << QStringList{"1|[SDKProc] bb013d01001f",
                                                            "4|[SDK Result] Uplink Command Name:Start Extended "
                                                            "Scan Result:"};
    QTest::newRow("SDK last, success at info") << "lastSDKProc" << hex("BB 01 07 01 00 00")
                                               << QStringList{"1|[lastSDKProc] bb0107010000",
                                                              "2|[SDK Result] Uplink Command Name:Disconnect "
                                                              "Result:SDK SUCCESS"};
    QTest::newRow("complete, GAP timeout") << "completeProc" << hex("DD 01 4A 01 00 45")
                                           << QStringList{"1|[completeProc] dd014a010045",
                                                          "4|[Complete Result] Uplink Command Name:Cancel Connect "
                                                          "Result:BLE GAP ERR TIMEOUT"};
    QTest::newRow("complete, link layer top") << "completeProc" << hex("DD 01 4A 01 00 CE")
                                              << QStringList{"1|[completeProc] dd014a0100ce",
                                                             "4|[Complete Result] Uplink Command Name:Cancel "
                                                             "Connect Result:BLE LL ERR CONN FAILED TO BE EST"};
    QTest::newRow("complete, gap 187 has no word") << "completeProc" << hex("DD 01 4A 01 00 BB")
                                                   << QStringList{"1|[completeProc] dd014a0100bb",
                                                                  "4|[Complete Result] Uplink Command Name:Cancel "
                                                                  "Connect Result:"};
    QTest::newRow("complete success is quiet") << "completeProc" << hex("DD 01 4A 01 00 00")
                                               << QStringList{"1|[completeProc] dd014a010000"};
    QTest::newRow("complete last, success at info") << "lastCompleteProc" << hex("DD 01 4A 01 00 00")
                                                    << QStringList{"1|[lastCompleteProc] dd014a010000",
                                                                   "2|[Complete Result] Uplink Command Name:Cancel "
                                                                   "Connect Result:BLE SUCCESS"};
    QTest::newRow("nameless BB@01@81") << "SDKProc" << hex("BB 01 81 01 00 01")
                                       << QStringList{"1|[SDKProc] bb0181010001",
                                                      "4|[SDK Result] Uplink Command Name: Result:SDK ERR "
                                                      "INVALID PARAM"};
    QTest::newRow("five bytes, internal error") << "completeProc" << hex("DD 01 4A 00 00")
                                                << QStringList{"1|[completeProc] dd014a0000",
                                                               "1|FUNCTION:CCommand::completeProc Internal error."};
    QTest::newRow("seven bytes, internal error") << "lastSDKProc" << hex("BB 01 07 02 00 00 00")
                                                 << QStringList{"1|[lastSDKProc] bb010702000000",
                                                                "1|FUNCTION:CCommand::lastSDKProc Internal error."};
}

void TstCCommand::statusProcs()
{
    QFETCH(QString, proc);
    QFETCH(QByteArray, frame);
    QFETCH(QStringList, lines);

    using Proc = void (*)(LogManager*, const QByteArray&);
    const QMap<QString, Proc> procs{{"SDKProc", &CCommand::SDKProc},
                                    {"lastSDKProc", &CCommand::lastSDKProc},
                                    {"completeProc", &CCommand::completeProc},
                                    {"lastCompleteProc", &CCommand::lastCompleteProc}};
    procs.value(proc)(m_log.get(), frame);

    QCOMPARE(m_log->lines.size(), lines.size());
    for (int i = 0; i < lines.size(); ++i) {
        if (lines[i].contains("Internal error.")) {
            // The file and line stand before the function name and are of no interest.
            QVERIFY2(m_log->lines[i].startsWith("1|FILE:"), qPrintable(m_log->lines[i]));
            QVERIFY2(m_log->lines[i].contains(" LINE:"), qPrintable(m_log->lines[i]));
            QVERIFY2(m_log->lines[i].endsWith(" " + lines[i].mid(2)), qPrintable(m_log->lines[i]));
        } else {
            QCOMPARE(m_log->lines[i], lines[i]);
        }
    }
}

void TstCCommand::uplinkLogs()
{
    const QByteArray frame = hex("DD 01 08 03 00 00 13 02");
    UplinkFieldMap fields;
    QCOMPARE(CCommand::parseUplinkMsg(m_log.get(), frame, fields), 0);
    fields.insert("wide", hex("01 02 03"));

    CCommand::logUplink(m_log.get(), frame, fields);
    CCommand::logUplinkRaw(m_log.get(), frame);
    CCommand::logUplinkResult(m_log.get(), frame, 0x13);
    CCommand::logUplinkResult(m_log.get(), hex("BB 01 81 01 00 01"), 0xBB);
    QCOMPARE(m_log->lines,
             (QStringList{"2|Uplink Command Name: Disconnect\r\nRaw Data: dd01080300001302\r\n"
                          "Field Data: condix->02  reason->13  status->00  wide->01:02:03  ",
                          "2|Uplink Command Name: Disconnect\r\nRaw Data: dd01080300001302\r\n",
                          "4|Uplink Command Name:Disconnect Result:BLE ATT ERR VALUE NOT ALLOWED",
                          "4|Uplink Command Name: Result:"}));
}

void TstCCommand::uplinkFieldsToDecimal()
{
    const UplinkFieldMap fields{{"handle", hex("34 12")},
                                {"empty", QByteArray()},
                                {"eight", hex("FF FF FF FF FF FF FF FF")},
                                {"nine", hex("01 00 00 00 00 00 00 00 00")}};
    const QMap<QString, QString> expected{
        {"handle", "4660"}, {"empty", "0"}, {"eight", "18446744073709551615"}, {"nine", "0"}};
    QCOMPARE(CCommand::uplinkFieldsToDecimal(fields), expected);
}

// Random and truncated frames of every known uplink id: whatever the parser accepts must be
// cut from inside the frame, and nothing may crash.
void TstCCommand::malformedFramesStayInside()
{
    const auto table = CCfgFileParse::instance()->m_uplinkIdToFields;
    QVERIFY(table.size() > 200);
    QRandomGenerator random(20240611);
    int cases = 0;
    int accepted = 0;
    for (auto it = table.constBegin(); it != table.constEnd(); ++it) {
        const QStringList id = it.key().split('@');
        if (id.size() != 3)
            continue;
        QByteArray head;
        for (const QString& part : id)
            head.append(static_cast<char>(part.toUInt(nullptr, 16)));
        int full = 5;
        for (const CmdField& row : it.value())
            full = qMax<int>(full, row.index + 1 + row.length);
        for (int n = 0; n < 16; ++n) {
            const int size = n < 12 ? static_cast<int>(random.bounded(full + 8)) : full - (n - 12);
            QByteArray frame = head.left(qMin(size, 3));
            while (frame.size() < size)
                frame.append(static_cast<char>(random.bounded(256)));
            for (int cut = frame.size(); cut >= qMax(0, frame.size() - 3); --cut) {
                const QByteArray piece = frame.left(cut);
                ++cases;
                UplinkFieldMap fields;
                const int result = CCommand::parseUplinkMsg(m_log.get(), piece, fields);
                for (const CmdField& row : it.value()) {
                    if (!fields.contains(row.key))
                        continue;
                    const QByteArray value = fields.value(row.key);
                    const QByteArray expect = row.length == 0 ? piece.mid(row.index + 1)
                                                              : piece.mid(row.index + 1, row.length);
                    QCOMPARE(value, expect);
                    if (result == 0 && row.length != 0)
                        QCOMPARE(value.size(), int(row.length));
                }
                accepted += result == 0;
                CCommand::isInvalidUpLinkMsg(m_log.get(), piece);
                CCommand::SDKProc(m_log.get(), piece);
                CCommand::lastSDKProc(m_log.get(), piece);
                CCommand::completeProc(m_log.get(), piece);
                CCommand::lastCompleteProc(m_log.get(), piece);
                CCommand::logUplink(m_log.get(), piece, fields);
                CCommand::uplinkFieldsToDecimal(fields);
                m_log->lines.clear();
            }
        }
    }
    QVERIFY(cases > 3000);
    QVERIFY(accepted > 0 && accepted < cases);
}

void TstCCommand::enumerations_data()
{
    QTest::addColumn<QString>("enumeration");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("key");

    QTest::newRow("OP_TYPE") << "OP_TYPE" << 2 << 1 << "PEER_RPA";
    QTest::newRow("PEER_ADDR_TYPE") << "PEER_ADDR_TYPE" << 2 << 0 << "PUBLIC";
    QTest::newRow("property bits, odd spelling") << "en_PROPERTYES" << 8 << 64 << "Authenticaed_Signed_Writes";
    QTest::newRow("pair result") << "en_PAIR_RESULT" << 16 << 15 << "ENC_FAIL_LTK_MISSING";
    QTest::newRow("SDK status") << "SDK_STATUS_RSP" << 31 << 24 << "SDK_ERR_INVALID_PSM_ALREADY_REGISTERED";
    QTest::newRow("status, L2CAP") << "STATUS_RSP" << 114 << 62 << "BLE_L2C_ERR_CID_ALREADY_ALLOC";
    QTest::newRow("status, link layer after a gap") << "STATUS_RSP" << 114 << 188 << "BLE_LL_ERR_QOS_UNACCEPTABLE_PARAM";
    QTest::newRow("status, gap 201") << "STATUS_RSP" << 114 << 201 << "";
    QTest::newRow("UUID, duplicate value keeps the first") << "en_UUID" << 306 << 0x2710 << "ATT_UNIT_SQ_METRE";
    QTest::newRow("UUID, service") << "en_UUID" << 306 << 0x180F << "ATT_SVC_BATTERY_SERVICE";
    QTest::newRow("UUID, last") << "en_UUID" << 306 << 0x2AC9 << "Resolvable_Private_Address_Only";
    QTest::newRow("UUID, absent 180B") << "en_UUID" << 306 << 0x180B << "";
}

void TstCCommand::enumerations()
{
    QFETCH(QString, enumeration);
    QFETCH(int, count);
    QFETCH(int, value);
    QFETCH(QString, key);

    const QMetaObject& meta = CCommand::staticMetaObject;
    const int index = meta.indexOfEnumerator(enumeration.toLatin1());
    QVERIFY(index >= 0);
    const QMetaEnum e = meta.enumerator(index);
    QCOMPARE(e.keyCount(), count);
    QCOMPARE(QString::fromLatin1(e.valueToKey(value)), key);
    if (!key.isEmpty())
        QCOMPARE(e.keyToValue(key.toLatin1()), value);
}

void TstCCommand::uuidHelpers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("uuid16");
    QTest::addColumn<bool>("equal");

    const QByteArray battery = hex("0F 18 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    QTest::newRow("two bytes") << hex("0F 18") << "0x180f" << 0x180F << false;
    QTest::newRow("sixteen bytes of a 16-bit uuid") << battery << "0x180f" << 0x180F << true;
    QTest::newRow("other 16-bit value") << battery << "0x180f" << 0x180A << false;
    QTest::newRow("one byte, zero-filled") << hex("0F") << "0x000f" << 0x000F << false;
    QTest::newRow("all zero") << QByteArray(16, '\0') << "0x0000" << 0 << true;
    QTest::newRow("inner zero kept") << hex("00 28 00") << "0x2800" << 0x2800 << false;
    QTest::newRow("128-bit")
        << hex("FB 34 9B 5F 80 00 00 80 00 10 00 00 0D 18 00 01")
        << "0x0100180d00001000800000805f9b34fb" << 0x180D << false;
}

void TstCCommand::uuidHelpers()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    QFETCH(int, uuid16);
    QFETCH(bool, equal);

    QCOMPARE(CCommand::uuidDisplayText(bytes), text);
    QCOMPARE(CCommand::cmpUuid16(bytes, quint16(uuid16)) == 0, equal);
    const QByteArray array = CCommand::uuid16ToArray(quint16(uuid16));
    QCOMPARE(array.size(), 16);
    QCOMPARE(array.mid(2), QByteArray(14, '\0'));
}

QTEST_GUILESS_MAIN(TstCCommand)
#include "tst_ccommand.moc"
