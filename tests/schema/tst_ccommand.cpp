#include <QDir>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include "capturelogger.h"
#include "log/logmanager.h"
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
        const auto row = [](const char* name, const QString& command, const FieldValueMap& fields, const char* frame,
                            const QStringList& errors = {}, const FieldValueMap& extra = {}) {
            QTest::newRow(name) << command << fields << extra << hex(frame) << errors;
        };
        const QString failed = "4|Send msg:Disconnect assemble failed, can't append field value.";
        // Commands of several modules.
        row("gatt write, module 03, tail as typed", "Write Characteristic Value",
            {{"condix", 0}, {"attrible_handle", QString("0003")}, {"value", QString("030201")}},
            "AA 03 1A 06 00 00 03 00 01 02 03");
        row("profile, module 05, number in a tail writes nothing", "Set Profile ID", {{"profile", 5}}, "AA 05 03 00 00");
        row("IDT transmit, module 0A, short text before a tail goes unchecked", "IDT Transmit Data",
            {{"Repeat Time", 10}, {"Repeat Interval", QString("64")}, {"Length", 2}, {"Payload", hex("AB CD")}},
            "AA 0A 04 08 00 0A 00 00 00 64 02 AB CD");
        // Every QVariant type.
        row("bools widen to their fields", "Add Whitelist", {{"addr", false}, {"addr_type", true}},
            "AA 01 09 07 00 00 00 00 00 00 00 01");
        row("uint cut to its field", "Appearance Set", {{"appearance", 0x123456u}}, "AA 01 5D 02 00 56 34");
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
        if (!frame.isEmpty())
            errors.prepend(QString("2|Downlink Command Name: %1\r\nRaw Data: %2").arg(command, frame.toHex()));
        // No port: the frame is only seen in the log, and the result is false in any case. What an
        // open port puts on the wire is checked with the forms that send, as in tst_ccommanduiwidget.
        QVERIFY(!CCommand::sendMsg(nullptr, &m_log, command, fields, extra));
        QCOMPARE(logged().replaceInStrings(QRegularExpression("\r\nField Data: .*$"), ""), errors);
    }

    void isInvalidUpLinkMsg()
    {
        QVERIFY(!CCommand::isInvalidUpLinkMsg(&m_log, hex("BB 01 07 00")));
        QCOMPARE(logged(), (QStringList{"2|uplink-msg: 0xbb010700", "2|the length of msg is too short"}));
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
        QFETCH(QString, error);

        UplinkFieldMap parsed;
        QTEST(CCommand::parseUplinkMsg(&m_log, frame, parsed), "result");
        QTEST(parsed, "fields");
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

    // The heartbeat goes to the log at debug level; fields show as sent, a tail as nothing.
    void logTexts()
    {
        CCommand::sendMsg(nullptr, &m_log, "Heart Beat Detect", {});
        CCommand::sendMsg(nullptr, &m_log, "Write Characteristic Value",
                          {{"condix", 0}, {"attrible_handle", QString("0003")}, {"value", hex("01 02")}});
        const QByteArray frame = hex("DD 01 08 03 00 00 13 02");
        UplinkFieldMap fields;
        QCOMPARE(CCommand::parseUplinkMsg(&m_log, frame, fields), 0);
        CCommand::logUplink(&m_log, frame, fields);
        CCommand::logUplinkResult(&m_log, frame, 0x13);
        QCOMPARE(logged(), (QStringList{"1|Downlink Command Name: Heart Beat Detect\r\nRaw Data: aa01840000\r\nField Data: ",
                                        "2|Downlink Command Name: Write Characteristic Value\r\n"
                                        "Raw Data: aa031a05000003000102\r\n"
                                        "Field Data: condix->00  attrible_handle->03:00  value->  ",
                                        "2|Uplink Command Name: Disconnect\r\nRaw Data: dd01080300001302\r\n"
                                        "Field Data: condix->02  reason->13  status->00  ",
                                        "4|Uplink Command Name:Disconnect Result:BLE ATT ERR VALUE NOT ALLOWED"}));
    }

    // Eight bytes, the most a number takes; nine are refused (tst_cconnectionwidget). Other
    // widths and the way back are covered by the frames of sendMsg.
    void eightByteNumber()
    {
        quint64 value = 0;
        QCOMPARE(CUtil::arrayToValue(0, hex("0807060504030281"), value), 0);
        QCOMPARE(value, 0x8102030405060708ULL);
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
            // Mostly random sizes, the last few a full frame and just short of it.
            for (int n = 0; n < 64; ++n, ++cases) {
                const int size = n < 60 ? static_cast<int>(random.bounded(full + 8)) : full - (n - 60);
                QByteArray frame = head.left(qMin(size, 3));
                while (frame.size() < size)
                    frame.append(static_cast<char>(random.bounded(256)));
                UplinkFieldMap fields;
                const int result = CCommand::parseUplinkMsg(&m_log, frame, fields);
                for (const CmdField& row : it.value()) {
                    const QByteArray inside = frame.mid(row.index + 1, row.length ? int(row.length) : -1);
                    if (fields.contains(row.key)) {
                        QCOMPARE(fields.value(row.key), inside);
                        QVERIFY(result != 0 || row.length == 0 || inside.size() == int(row.length));
                    }
                }
                accepted += result == 0;
                CCommand::isInvalidUpLinkMsg(&m_log, frame);
                for (Proc proc : procByName)
                    proc(&m_log, frame);
                CCommand::logUplink(&m_log, frame, fields);
                CCommand::uplinkFieldsToDecimal(fields);
                m_capture->clear();
            }
        }
        QVERIFY(cases > 3000);
        QVERIFY(accepted > 0 && accepted < cases);
    }
};

QTEST_GUILESS_MAIN(TstCCommand)
#include "tst_ccommand.moc"
