#include <QDir>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include "capturelogger.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"
#include "schema/cutil.h"

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

using Proc = void (*)(LogManager*, const QByteArray&);
const QMap<QString, Proc> procByName{{"SDKProc", &CCommand::SDKProc},
                                     {"lastSDKProc", &CCommand::lastSDKProc},
                                     {"completeProc", &CCommand::completeProc},
                                     {"lastCompleteProc", &CCommand::lastCompleteProc}};

// "result value" of CUtil::arrayToValue, the value in hex.
QString toValue(int byteOrder, const char* bytes)
{
    quint64 value = 0xdeadbeef;
    const int result = CUtil::arrayToValue(byteOrder, QByteArray::fromHex(bytes), value);
    return QStringLiteral("%1 %2").arg(result).arg(value, 0, 16);
}

// "lowest..highest" of many draws of CUtil::randomInRange.
QString draws(int low, int high)
{
    int lowest = INT_MAX, highest = INT_MIN;
    for (int i = 0; i < 2000; ++i) {
        const int v = CUtil::randomInRange(low, high);
        lowest = qMin(lowest, v);
        highest = qMax(highest, v);
    }
    return QStringLiteral("%1..%2").arg(lowest).arg(highest);
}

} // namespace

class TstCCommand : public QObject
{
    Q_OBJECT
    // Every line logged since init(), as "level|text".
    QStringList logged() const
    {
        QStringList lines;
        for (const auto& line : m_capture->lines)
            lines << QString::number(line.first) + '|' + line.second;
        return lines;
    }

    LogManager m_log{"tst_ccommand"};
    CaptureLogger* m_capture = new CaptureLogger; // owned by m_log

private slots:
    void initTestCase()
    {
        // Only the capture: the fuzz case would flood the console and the file.
        m_log.removeLogger("mainConsole");
        m_log.removeLogger("file_logger");
        m_log.addLogger(m_capture);
    }
    void cleanupTestCase() { QDir(m_log.logFolder()).removeRecursively(); }
    void init() { m_capture->clear(); }

    void sendMsg_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<FieldValueMap>("fields");
        QTest::addColumn<FieldValueMap>("extra");
        QTest::addColumn<QByteArray>("frame");   // empty: nothing assembled
        QTest::addColumn<QStringList>("errors"); // every other line, "level|text"
        QTest::addColumn<int>("level");          // of the downlink line
        const auto row = [](const char* name, const QString& command, const FieldValueMap& fields, const char* frame,
                            const QStringList& errors = {}, const FieldValueMap& extra = {}, int level = 2) {
            QTest::newRow(name) << command << fields << extra << hex(frame) << errors << level;
        };
        const QString failed = "4|Send msg:Disconnect assemble failed, can't append field value.";
        // Commands of modules 00 to 0A.
        row("reset, module 00", "Reset", {}, "AA 00 01 00 00");
        row("disconnect, condix int", "Disconnect", {{"condix", 3}}, "AA 01 07 01 00 03");
        row("heartbeat logs at debug", "Heart Beat Detect", {}, "AA 01 84 00 00", {}, {}, 1);
        row("5_0_Start Scan", "5_0_Start Scan",
            {{"5_0_scan_type", 0}, {"5_0_scan_properties", 1}, {"5_0_scan_interval_1m", QString("0060")},
             {"5_0_scan_window_1m", QString("0030")}, {"5_0_scan_interval_coded", QString("0060")},
             {"5_0_scan_window_coded", QString("0030")}, {"5_0_scan_duration", 0}, {"5_0_scan_period", 0},
             {"5_0_scan_duplicate_filter_policy", 1}, {"5_0_scan_own_addr_type", 0}},
            "AA 01 3D 10 00 00 01 60 00 30 00 60 00 30 00 00 00 00 00 01 00");
        row("address text goes least significant byte first", "Add Whitelist",
            {{"addr", QString("C0A1B2C3D4E5")}, {"addr_type", 1}}, "AA 01 09 07 00 E5 D4 C3 B2 A1 C0 01");
        row("security parameters, module 02, bools", "Set Security Parameter",
            {{"device_sec_level", 1}, {"device_io_capabilities", 3}, {"use_bond", true}, {"use_mitm", false},
             {"use_secure_connection", true}, {"use_keypress_notify", false}, {"encryption_key_size", 16},
             {"initial_key_distribution", 7}, {"response_key_distribution", 7}},
            "AA 02 01 09 00 01 03 01 00 01 00 10 07 07");
        row("gatt write, module 03, tail as typed", "Write Characteristic Value",
            {{"condix", 0}, {"attrible_handle", QString("0003")}, {"value", QString("030201")}},
            "AA 03 1A 06 00 00 03 00 01 02 03");
        row("create COC, module 04", "Create COC",
            {{"le_psm", 128}, {"local_cid", 64}, {"local_credits", 255}, {"mtu", 512}, {"mps", 251}, {"condix", 0}},
            "AA 04 01 0B 00 80 00 40 00 FF 00 00 02 FB 00 00");
        row("profile, module 05, number in a tail writes nothing", "Set Profile ID", {{"profile", 5}}, "AA 05 03 00 00");
        row("CIG parameters, module 06", "CIG Parameter Set",
            {{"cig_id", 1}, {"sdu_interval_m2s", QString("00002710")}, {"sdu_interval_s2m", 10000u},
             {"sca", QString("0")}, {"packing", QString("0")}, {"framing", QString("1")},
             {"transport_latency_m2s", QString("000a")}, {"transport_latency_s2m", 10}, {"cis_count", 1},
             {"cis", hex("00 64 00 64 00 02 02 01 01")}},
            "AA 06 02 1A 00 01 10 27 00 00 10 27 00 00 00 00 01 0A 00 0A 00 01 00 64 00 64 00 02 02 01 01");
        row("LCP parameters, module 09, negative int", "LCP Set Parameters",
            {{"Frequency", 2402u}, {"Channel Index", 0}, {"Tx Power", -5}}, "AA 09 03 06 00 62 09 00 00 00 FB");
        row("IDT transmit, module 0A, short text before a tail goes unchecked", "IDT Transmit Data",
            {{"Repeat Time", 10}, {"Repeat Interval", QString("64")}, {"Length", 2}, {"Payload", hex("AB CD")}},
            "AA 0A 04 08 00 0A 00 00 00 64 02 AB CD");
        // Every QVariant type.
        row("uint cut to one byte", "Disconnect", {{"condix", 0x1234u}}, "AA 01 07 01 00 34");
        row("qlonglong widens with its sign", "RF Calibration Set", {{"rf_value", qlonglong(-2)}}, "AA 01 83 02 00 FE FF");
        row("qulonglong in sixteen bytes", "Local Irk Set", {{"key", qulonglong(0x8102030405060708ULL)}},
            "AA 01 67 10 00 08 07 06 05 04 03 02 81 00 00 00 00 00 00 00 00");
        row("negative int past eight bytes", "Local Irk Set", {{"key", -1}},
            "AA 01 67 10 00 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF");
        row("byte array padded to its field", "Add Whitelist", {{"addr", hex("01 02 03")}, {"addr_type", 0}},
            "AA 01 09 07 00 01 02 03 00 00 00 00");
        row("odd hex text gets a leading zero", "Appearance Set", {{"appearance", QString("341")}}, "AA 01 5D 02 00 41 03");
        row("extra overrides fields", "Disconnect", {{"condix", 1}}, "AA 01 07 01 00 02", {}, {{"condix", 2}});
        // Failures.
        row("short hex text caught by the length check", "Appearance Set", {{"appearance", QString("41")}},
            "AA 01 5D 01 00 41", {"4|Send msg:Appearance Set assemble failed, the msg lenth is wrong"});
        row("missing key", "Disconnect", {}, "", {"4|Send msg:Disconnect assemble failed."}, {{"condixx", 1}});
        row("hex text that does not parse", "Disconnect", {{"condix", QString("0x3")}}, "",
            {"1|CCommand::appendFieldValue: convert QString to value failed.", failed});
        row("variant of another type", "Disconnect", {{"condix", 1.0}}, "",
            {"1|CCommand::appendFieldValue: the type of the QVariant is wrong.", failed});
        row("unknown command", "Disconect", {}, "", {"1|CCommand::sendMsg: convert layerId failed."});
    }

    void sendMsg()
    {
        QFETCH(QString, command);
        QFETCH(FieldValueMap, fields);
        QFETCH(FieldValueMap, extra);
        QFETCH(QByteArray, frame);
        QFETCH(QStringList, errors);
        QFETCH(int, level);

        // No port: the frame is only seen in the log, and the result is false in any case.
        QVERIFY(!CCommand::sendMsg(nullptr, &m_log, command, fields, extra));

        QStringList lines = logged();
        if (!frame.isEmpty()) {
            const QStringList head = lines.value(0).split("\r\n");
            QCOMPARE(head.value(0), QString("%1|Downlink Command Name: %2").arg(level).arg(command));
            QCOMPARE(head.value(1), QString("Raw Data: ") + frame.toHex());
            lines.removeFirst();
        }
        QCOMPARE(lines, errors);
    }

    // A closed port refuses the frame; an open one takes it, and the wire carries it with its checksum.
    void sendMsgThroughPort()
    {
        PtyPair pty;
        QVERIFY(pty.isValid());
        CMsg port(nullptr);
        QVERIFY(!CCommand::sendMsg(&port, &m_log, "Disconnect", {{"condix", 3}}));
        QCOMPARE(port.openPort(pty.portName()), 0);
        QVERIFY(CCommand::sendMsg(&port, &m_log, "Disconnect", {{"condix", 3}}));
        QByteArray wire;
        QTRY_VERIFY_WITH_TIMEOUT((wire += pty.readAll()).size() >= 7, 2000);
        port.closePort();
        QCOMPARE(wire.toHex(' '), QByteArray("aa 01 07 01 00 03 4a"));
    }

    void isInvalidUpLinkMsg()
    {
        QVERIFY(!CCommand::isInvalidUpLinkMsg(&m_log, hex("BB 01 07 00")));
        QCOMPARE(logged(), (QStringList{"2|uplink-msg: 0xbb010700", "2|the length of msg is too short"}));
        QVERIFY(CCommand::isInvalidUpLinkMsg(&m_log, hex("BB 01 07 01 00 00")));
        QVERIFY(!CCommand::isInvalidUpLinkMsg(&m_log, hex("BB 01 07 02 00 00")));
        QVERIFY(CCommand::isInvalidUpLinkMsg(&m_log, hex("DD 01 02 00 01") + QByteArray(256, 'Z'))); // little-endian
        QCOMPARE(logged().size(), 2);
    }

    void parseUplinkMsg_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<int>("result");
        QTest::addColumn<UplinkFieldMap>("fields");
        QTest::addColumn<QString>("error"); // the one line logged, if any
        const QByteArray report = hex("DD 01 02 14 00 C0 A1 B2 C3 D4 E5 01 7F C4 01 01 01 00 FF 00 00 FF 02 01 06");
        UplinkFieldMap reportFields{
            {"addr", hex("C0 A1 B2 C3 D4 E5")}, {"addr_type", hex("01")},      {"tx_power", hex("7F")},
            {"rssi", hex("C4")},                {"adv_type", hex("01")},       {"adv_classification", hex("01")},
            {"phy_prim", hex("01")},            {"phy_second", hex("00")},     {"adv_sid", hex("FF")},
            {"period_adv_intv", hex("00 00")},  {"per_sync_idx", hex("FF")},   {"adv_data_response_data", hex("02 01 06")}};
        QTest::newRow("advertising report with a tail") << report << 0 << reportFields << "";
        reportFields["adv_data_response_data"] = QByteArray();
        QTest::newRow("advertising report, empty tail") << report.left(22) << 0 << reportFields << "";
        QTest::newRow("too short for the last row")
            << hex("DD 01 08 01 00 00") << -1 << UplinkFieldMap()
            << "4|Parse uplink Command:Disconnect failed,the msg length is wrong.";
        QTest::newRow("last row starts at the end")
            << hex("DD 01 08 02 00 00 13") << -1
            << UplinkFieldMap{{"status", hex("00")}, {"reason", hex("13")}, {"condix", QByteArray()}}
            << "4|Parse uplink Command:Disconnect failed,the file up_link_command.xml is wrong.";
    }

    void parseUplinkMsg()
    {
        QFETCH(QByteArray, frame);
        QFETCH(int, result);
        QFETCH(UplinkFieldMap, fields);
        QFETCH(QString, error);

        UplinkFieldMap parsed;
        QCOMPARE(CCommand::parseUplinkMsg(&m_log, frame, parsed), result);
        QCOMPARE(parsed, fields);
        QCOMPARE(logged(), error.isEmpty() ? QStringList() : QStringList{error});
    }

    void statusProcs_data()
    {
        QTest::addColumn<QString>("proc");
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QString>("result"); // "level|text", or empty for none
        const auto row = [](const char* name, const char* proc, const char* frame, const QString& result) {
            QTest::newRow(name) << proc << hex(frame) << result;
        };
        const QString sdk = "4|[SDK Result] Uplink Command Name:";
        const QString cancel = "4|[Complete Result] Uplink Command Name:Cancel Connect Result:";

        row("SDK failure", "SDKProc", "BB 01 3D 01 00 05", sdk + "Start Extended Scan Result:SDK ERR PROFILE COUNT");
        row("SDK success is quiet", "SDKProc", "BB 01 3D 01 00 00", "");
        row("SDK last, success at info", "lastSDKProc", "BB 01 07 01 00 00",
            "2|[SDK Result] Uplink Command Name:Disconnect Result:SDK SUCCESS");
        row("complete, GAP timeout", "completeProc", "DD 01 4A 01 00 45", cancel + "BLE GAP ERR TIMEOUT");
        row("complete, gap 187 has no word", "completeProc", "DD 01 4A 01 00 BB", cancel);
        row("nameless BB@01@81", "SDKProc", "BB 01 81 01 00 01", sdk + " Result:SDK ERR INVALID PARAM");
        row("five bytes, internal error", "completeProc", "DD 01 4A 00 00",
            "1|FUNCTION:CCommand::completeProc Internal error.");
    }

    void statusProcs()
    {
        QFETCH(QString, proc);
        QFETCH(QByteArray, frame);
        QFETCH(QString, result);

        procByName.value(proc)(&m_log, frame);

        QStringList expected{"1|[" + proc + "] " + frame.toHex()};
        if (!result.isEmpty())
            expected << result;
        // The file and line of an internal error are of no interest.
        QCOMPARE(logged().replaceInStrings(QRegularExpression("^1\\|FILE:\\S+ LINE:\\d+ "), "1|"), expected);
    }

    void logTexts()
    {
        CCommand::sendMsg(nullptr, &m_log, "Write Characteristic Value",
                          {{"condix", 0}, {"attrible_handle", QString("0003")}, {"value", hex("01 02")}});
        const QByteArray frame = hex("DD 01 08 03 00 00 13 02");
        UplinkFieldMap fields;
        QCOMPARE(CCommand::parseUplinkMsg(&m_log, frame, fields), 0);
        CCommand::logUplink(&m_log, frame, fields);
        CCommand::logUplinkResult(&m_log, frame, 0x13);
        QCOMPARE(logged(), (QStringList{"2|Downlink Command Name: Write Characteristic Value\r\n"
                                        "Raw Data: aa031a05000003000102\r\n"
                                        "Field Data: condix->00  attrible_handle->03:00  value->  ",
                                        "2|Uplink Command Name: Disconnect\r\nRaw Data: dd01080300001302\r\n"
                                        "Field Data: condix->02  reason->13  status->00  ",
                                        "4|Uplink Command Name:Disconnect Result:BLE ATT ERR VALUE NOT ALLOWED"}));
    }

    void utilConversions()
    {
        QCOMPARE(toValue(0, "3412"), QString("0 1234"));
        QCOMPARE(toValue(0, "0807060504030281"), QString("0 8102030405060708"));
        QCOMPARE(toValue(0, "010203040506070809"), QString("-1 0")); // nine bytes refused
        QCOMPARE(CUtil::valueToArray(0, 0x123456, 2).toHex(), QByteArray("5634"));
        QCOMPARE(CUtil::valueToArray(1, 0x1234, 4).toHex(), QByteArray("00001234"));
        QCOMPARE(CUtil::valueToArray(0, ~quint64(0), 10).toHex(), QByteArray("ffffffffffffffff0000"));
        QCOMPARE(CUtil::byteAraryToShort("\x03\x28\xff", 0), quint16(0x2803));
        QCOMPARE(CUtil::reverseString("ABCDEF", 3), QString("CBAFED"));
        QCOMPARE(CUtil::reverseString("ABCDE", 2), QString("CUtil::reverseString")); // uneven blocks
        QCOMPARE(CUtil::fitArray("\x01\x02\x03", 6).toHex(), QByteArray("010203000000"));
        QCOMPARE(CUtil::fitArray("\x01\x02\x03", 2).toHex(), QByteArray("0102"));
        QCOMPARE(draws(0, 3), QString("0..2")); // the high end is never drawn
        QCOMPARE(draws(3, 0), QString("-1..-1"));
    }

    // Random and truncated frames of every known uplink id: whatever the parser accepts must be
    // cut from inside the frame, and nothing may crash.
    void malformedFramesStayInside()
    {
        const auto table = CCfgFileParse::instance()->m_uplinkIdToFields;
        QRandomGenerator random(20240611);
        int cases = 0, accepted = 0;
        for (auto it = table.constBegin(); it != table.constEnd(); ++it) {
            const QByteArray head = QByteArray::fromHex(QString(it.key()).remove('@').toLatin1());
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
                    const int result = CCommand::parseUplinkMsg(&m_log, piece, fields);
                    for (const CmdField& row : it.value()) {
                        const QByteArray inside = piece.mid(row.index + 1, row.length ? int(row.length) : -1);
                        if (fields.contains(row.key)) {
                            QCOMPARE(fields.value(row.key), inside);
                            QVERIFY(result != 0 || row.length == 0 || inside.size() == int(row.length));
                        }
                    }
                    accepted += result == 0;
                    CCommand::isInvalidUpLinkMsg(&m_log, piece);
                    for (Proc proc : procByName)
                        proc(&m_log, piece);
                    CCommand::logUplink(&m_log, piece, fields);
                    CCommand::uplinkFieldsToDecimal(fields);
                    m_capture->clear();
                }
            }
        }
        QVERIFY(cases > 3000);
        QVERIFY(accepted > 0 && accepted < cases);
    }
};

QTEST_GUILESS_MAIN(TstCCommand)
#include "tst_ccommand.moc"
