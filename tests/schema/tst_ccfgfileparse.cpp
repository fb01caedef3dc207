#include "schema/ccfgfileparse.h"

#include <QDomDocument>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList rowsText(const QVector<CmdField>& rows)
{
    QStringList text;
    for (const CmdField& row : rows)
        text << QStringLiteral("%1 %2/%3").arg(row.key).arg(row.index).arg(row.length);
    return text;
}

const UiField* findField(const QVector<UiNameToFields>& forms, const QString& form, const QString& key)
{
    for (const UiNameToFields& f : forms) {
        if (f.name != form)
            continue;
        for (const UiField& field : f.fields) {
            if (field.key == key)
                return &field;
        }
        return nullptr;
    }
    return nullptr;
}

QString attribute(const UiField& field, const QString& name)
{
    const QMap<QString, QString> attributes {
        {"type", field.type},         {"subType", field.subType},
        {"title", field.title},       {"length", field.length},
        {"maxLength", field.maxLength}, {"min", field.min},
        {"max", field.max},           {"singleStep", field.singleStep},
        {"precision", field.precision}, {"defaultValue", field.defaultValue},
    };
    return attributes.value(name, QStringLiteral("<no such attribute>"));
}

} // namespace

class TestCCfgFileParse : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void filesHoldEveryRow_data();
    void filesHoldEveryRow();
    void tableSizes();
    void commandRows_data();
    void commandRows();
    void unknownIds();
    void everyCommandIsWellFormed();
    void namesAndIds_data();
    void namesAndIds();

    void advertisingLengthsAreHex_data();
    void advertisingLengthsAreHex();

    void formsInFileOrder();
    void formAttributes_data();
    void formAttributes();
    void enumValuesKeepSixtyFourBits();
    void listSubFields();

    void laterRowReplacesEarlier();
    void badNumbersReadAsZero();
    void uiFileDetails();
    void unreadableFileFails_data();
    void unreadableFileFails();

private:
    const CCfgFileParse* m_cfg = nullptr;
};

void TestCCfgFileParse::initTestCase()
{
    m_cfg = CCfgFileParse::instance();
    QVERIFY(m_cfg);
    QCOMPARE(CCfgFileParse::instance(), m_cfg);
}

void TestCCfgFileParse::filesHoldEveryRow_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("tag");
    QTest::addColumn<int>("count");

    QTest::newRow("downlink commands") << "down_link_command.xml" << "command" << 131;
    QTest::newRow("uplink frames") << "up_link_command.xml" << "command" << 229;
    QTest::newRow("downlink forms") << "down_link_ui.xml" << "component" << 45;
    QTest::newRow("uplink forms") << "up_link_ui.xml" << "component" << 5;
    QTest::newRow("AD types") << "advertising_data.xml" << "field" << 11;
    QTest::newRow("GATT menu commands") << "gatt_down_link_command_group.xml" << "command" << 19;
}

void TestCCfgFileParse::filesHoldEveryRow()
{
    QFETCH(QString, file);
    QFETCH(QString, tag);
    QFETCH(int, count);

    QFile f(":/config/resources/conf/" + file);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray content = f.readAll();
    QVERIFY(content.startsWith("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"));
    QVERIFY(!content.contains("<!--"));

    QDomDocument doc;
    QVERIFY(doc.setContent(content));
    QCOMPARE(doc.elementsByTagName(tag).count(), count);
}

void TestCCfgFileParse::tableSizes()
{
    // Duplicate ids: 01@07 downlink, BB@01@57 and DD@06@03 uplink.
    QCOMPARE(m_cfg->m_downlinkIdToFields.size(), 130);
    QCOMPARE(m_cfg->m_downlinkIdToName.size(), 130);
    QCOMPARE(m_cfg->m_downlinkNameToId.size(), 130);
    QCOMPARE(m_cfg->m_uplinkIdToFields.size(), 227);
    QCOMPARE(m_cfg->m_uplinkIdToName.size(), 227);
    QCOMPARE(m_cfg->m_uplinkNameToId.size(), 146);
    QCOMPARE(m_cfg->m_downlinkNameToUiVec.size(), 45);
    QCOMPARE(m_cfg->m_downlinkUiInfoVec.size(), 45);
    QCOMPARE(m_cfg->m_uplinkNameToUiVec.size(), 5);
    QCOMPARE(m_cfg->m_uplinkUiInfoVec.size(), 5);
    QCOMPARE(m_cfg->m_advDataFields.keys(), QStringList {"advertising_data"});
}

void TestCCfgFileParse::commandRows_data()
{
    QTest::addColumn<bool>("uplink");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("rows");

    QTest::newRow("Disconnect keeps its later row") << false << "01@07" << QStringList {"condix 4/1"};
    QTest::newRow("command without fields") << false << "00@01" << QStringList {};
    QTest::newRow("Device Name Set is assembled by hand") << false << "01@59" << QStringList {};
    QTest::newRow("tail after fixed fields")
        << false << "03@1C"
        << QStringList {"condix 4/1", "attrible_handle 5/2", "offset 7/2", "value 9/0"};
    QTest::newRow("keys with blanks")
        << false << "09@04"
        << QStringList {"Repeat Time 4/4", "Repeat Interval 8/4", "Header 12/1", "Length 13/1",
                        "Payload 14/0"};
    QTest::newRow("5_0_Start Scan")
        << false << "01@3D"
        << QStringList {"5_0_scan_type 4/1", "5_0_scan_properties 5/1", "5_0_scan_interval_1m 6/2",
                        "5_0_scan_window_1m 8/2", "5_0_scan_interval_coded 10/2",
                        "5_0_scan_window_coded 12/2", "5_0_scan_duration 14/2", "5_0_scan_period 16/2",
                        "5_0_scan_duplicate_filter_policy 18/1", "5_0_scan_own_addr_type 19/1"};
    QTest::newRow("DD@06@03 carries the Accept CIS Established keys")
        << true << "DD@06@03"
        << QStringList {"status 4/1", "cis_connection_handle 5/2", "cig_sync_delay 7/4",
                        "cis_sync_delay 11/4", "transport_latency_m2s 15/4", "transport_latency_s2m 19/4",
                        "phy_m2s 23/1", "phy_s2m 24/1"};
    QTest::newRow("extended advertising report")
        << true << "DD@01@02"
        << QStringList {"addr 4/6", "addr_type 10/1", "tx_power 11/1", "rssi 12/1", "adv_type 13/1",
                        "adv_classification 14/1", "phy_prim 15/1", "phy_second 16/1", "adv_sid 17/1",
                        "period_adv_intv 18/2", "per_sync_idx 20/1", "adv_data_response_data 21/0"};
    QTest::newRow("LCP ack spells out its status") << true << "BB@09@01" << QStringList {"status 4/1"};
    QTest::newRow("other acks have no field") << true << "BB@01@83" << QStringList {};
    QTest::newRow("one-@ id of RF TX Power Set") << true << "BB01@81" << QStringList {};
    QTest::newRow("rpa list answers on module 00") << true << "DD@00@7F" << QStringList {};
    QTest::newRow("DD@01@7E is RF Path Compensation Values Get")
        << true << "DD@01@7E" << QStringList {"tx_path_comp 4/2", "rx_path_comp 6/2"};
}

void TestCCfgFileParse::commandRows()
{
    QFETCH(bool, uplink);
    QFETCH(QString, id);
    QFETCH(QStringList, rows);

    const auto& table = uplink ? m_cfg->m_uplinkIdToFields : m_cfg->m_downlinkIdToFields;
    QVERIFY(table.contains(id));
    QCOMPARE(rowsText(table.value(id)), rows);
}

void TestCCfgFileParse::unknownIds()
{
    QVERIFY(!m_cfg->m_uplinkIdToFields.contains("BB@01@81"));
    QVERIFY(!m_cfg->m_uplinkIdToName.contains("BB@01@81"));
    QVERIFY(!m_cfg->m_uplinkIdToName.contains("BB@01@55"));
    // Advertising data frames are assembled by hand.
    QVERIFY(!m_cfg->m_downlinkIdToFields.contains("01@25"));
    QVERIFY(!m_cfg->m_downlinkNameToId.contains("Legacy Advertising Data Set"));
}

// Catches a mistyped row anywhere: fields follow each other from the first body byte and
// only the last one may be a variable tail.
void TestCCfgFileParse::everyCommandIsWellFormed()
{
    const QRegularExpression downId("^[0-9A-F]{2}@[0-9A-F]{2}$");
    const QRegularExpression upId("^(BB|CC|DD)@[0-9A-F]{2}@[0-9A-F]{2}$");

    for (bool uplink : {false, true}) {
        const auto& table = uplink ? m_cfg->m_uplinkIdToFields : m_cfg->m_downlinkIdToFields;
        for (auto it = table.cbegin(); it != table.cend(); ++it) {
            const QString& id = it.key();
            if (id != "BB01@81")
                QVERIFY2((uplink ? upId : downId).match(id).hasMatch(), qPrintable(id));
            quint32 next = 4;
            for (int i = 0; i < it->size(); ++i) {
                const CmdField& row = it->at(i);
                QVERIFY2(row.index == next, qPrintable(id + ' ' + row.key));
                QVERIFY2(row.length > 0 || i == it->size() - 1, qPrintable(id + ' ' + row.key));
                QVERIFY(row.src.isEmpty());
                next = row.index + row.length;
            }
        }
    }
}

void TestCCfgFileParse::namesAndIds_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");

    QTest::newRow("name keeps the id of its last row")
        << "uplinkNameToId" << "Start Extended Scan" << "DD@01@02";
    QTest::newRow("ack id keeps its own name") << "uplinkIdToName" << "BB@01@3D" << "Start Extended Scan";
    QTest::newRow("second BB@01@57 wins")
        << "uplinkIdToName" << "BB@01@57" << "Get Selection Algorithm For Connection Channel";
    QTest::newRow("DD@06@03 named by its later row")
        << "uplinkIdToName" << "DD@06@03" << "Accept CIS Established";
    QTest::newRow("Create CIS still points at DD@06@03") << "uplinkNameToId" << "Create CIS" << "DD@06@03";
    QTest::newRow("reset notice after its ack") << "uplinkNameToId" << "Reset" << "CC@00@02";
    QTest::newRow("one-@ id kept as text") << "uplinkNameToId" << "RF TX Power Set" << "BB01@81";
    QTest::newRow("whiltelist spelling") << "uplinkIdToName" << "BB@01@09" << "Add whiltelist";
    QTest::newRow("BB@01@7E is the rpa list ack") << "uplinkIdToName" << "BB@01@7E" << "Get rpa list";
    QTest::newRow("module 07 ack") << "uplinkIdToName" << "BB@07@01" << "COC Request Reply";
    QTest::newRow("downlink duplicate name") << "downlinkNameToId" << "Disconnect" << "01@07";
    QTest::newRow("downlink RF TX Power Set") << "downlinkIdToName" << "01@81" << "RF TX Power Set";
    QTest::newRow("downlink Get Profile ID") << "downlinkNameToId" << "Get Profile ID" << "05@01";
}

void TestCCfgFileParse::namesAndIds()
{
    QFETCH(QString, table);
    QFETCH(QString, key);
    QFETCH(QString, value);

    const QMap<QString, const QMap<QString, QString>*> tables {
        {"uplinkNameToId", &m_cfg->m_uplinkNameToId},
        {"uplinkIdToName", &m_cfg->m_uplinkIdToName},
        {"downlinkNameToId", &m_cfg->m_downlinkNameToId},
        {"downlinkIdToName", &m_cfg->m_downlinkIdToName},
    };
    QVERIFY(tables.value(table)->contains(key));
    QCOMPARE(tables.value(table)->value(key), value);
}

void TestCCfgFileParse::advertisingLengthsAreHex_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<quint32>("length");
    QTest::addColumn<QString>("value");

    QTest::newRow("FF") << "shortened_local_name" << quint32(255) << "0x08";
    QTest::newRow("10") << "complete_list_128-bit" << quint32(16) << "0x07";
    QTest::newRow("2 as it stands") << "tx_power_level" << quint32(2) << "0x0A";
    QTest::newRow("5 as it stands") << "appearance" << quint32(5) << "0x19";
    QTest::newRow("custom type has no value") << "custom_ad_type" << quint32(0) << "";
}

void TestCCfgFileParse::advertisingLengthsAreHex()
{
    QFETCH(QString, key);
    QFETCH(quint32, length);
    QFETCH(QString, value);

    const QVector<AdvDataField> rows = m_cfg->m_advDataFields.value("advertising_data");
    QCOMPARE(rows.size(), 11);
    QCOMPARE(rows.first().key, QString("incomplete_list_16-bit"));
    for (const AdvDataField& row : rows) {
        if (row.key == key) {
            QCOMPARE(row.length, length);
            QCOMPARE(row.value, value);
            return;
        }
    }
    QFAIL("AD type missing");
}

void TestCCfgFileParse::formsInFileOrder()
{
    const QVector<UiNameToFields>& down = m_cfg->m_downlinkNameToUiVec;
    QCOMPARE(down.first().name, QString("Discover All Primary Services"));
    QVERIFY(down.first().fields.isEmpty());
    QCOMPARE(down.last().name, QString("Slave BIG Parameter Get"));
    QCOMPARE(down.last().fields.size(), 10);

    const UiInfo& first = m_cfg->m_downlinkUiInfoVec.first();
    QCOMPARE(first.name, QString("Discover All Primary Services"));
    QCOMPARE(first.father, QString("GATT"));
    QCOMPARE(first.format, QString("write"));
    for (int i = 0; i < down.size(); ++i)
        QCOMPARE(m_cfg->m_downlinkUiInfoVec.at(i).name, down.at(i).name);

    QStringList upNames;
    for (const UiNameToFields& form : m_cfg->m_uplinkNameToUiVec)
        upNames << form.name;
    QCOMPARE(upNames, (QStringList {"DEVICES_TABLE", "Update Connection Parameters Reply", "RECEIVE_CIS_DATA",
                                    "Get CIS Slave Parameter", "Accept CIS Slave Parameter"}));
    QCOMPARE(m_cfg->m_uplinkUiInfoVec.at(2).father, QString("CIS"));
    QCOMPARE(m_cfg->m_uplinkUiInfoVec.at(2).format, QString("read"));
}

void TestCCfgFileParse::formAttributes_data()
{
    QTest::addColumn<bool>("uplink");
    QTest::addColumn<QString>("form");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");

    const QString connUpdate = "Update Connection Parameters Request";
    QTest::newRow("double unit") << false << connUpdate << "ce_length" << "singleStep" << "0.625";
    QTest::newRow("double precision") << false << connUpdate << "ce_length" << "precision" << "3";
    QTest::newRow("double max as spelled") << false << connUpdate << "ce_length" << "max" << "40959.375";
    QTest::newRow("double title") << false << connUpdate << "interval_min" << "title"
                                  << "Connection Interval Minimum(ms)";
    QTest::newRow("minValue is not min") << false << "RF Path Compensation Values Get" << "tx_path_comp"
                                         << "min" << "";
    QTest::newRow("int16double unit") << false << "RF Path Compensation Values Get" << "tx_path_comp"
                                      << "singleStep" << "0.1";
    QTest::newRow("int8 signed min") << false << "Get Connection RSSI" << "rssi" << "min" << "-128";
    QTest::newRow("address length as spelled") << false << "Device BD_Address Get" << "identity_addr"
                                               << "length" << "2";
    QTest::newRow("address maxLength") << false << "Device BD_Address Get" << "identity_addr"
                                       << "maxLength" << "17";
    QTest::newRow("hex maxLength 0") << false << "Discover Primary Services by UUID" << "service_uuid"
                                     << "maxLength" << "0";
    QTest::newRow("littleEnd") << false << "Master BIG Parameter Get" << "broadcastcode" << "subType"
                               << "littleEnd";
    QTest::newRow("enum default is an index") << false << "CIS Parameter Get" << "phy_m2s"
                                              << "defaultValue" << "2";
    QTest::newRow("odd title kept") << false << "Get Selection Algorithm For Connection Channel"
                                    << "chanel_selection_algorithm" << "title" << "Chanel Selection algorithm";
    QTest::newRow("uplink row without subType") << true << "Update Connection Parameters Reply"
                                                << "interval_max" << "subType" << "";
    QTest::newRow("uplink max as spelled") << true << "Update Connection Parameters Reply"
                                           << "interval_max" << "max" << "4000.0";
    QTest::newRow("table cell type") << true << "RECEIVE_CIS_DATA" << "data" << "type" << "string";
}

void TestCCfgFileParse::formAttributes()
{
    QFETCH(bool, uplink);
    QFETCH(QString, form);
    QFETCH(QString, key);
    QFETCH(QString, name);
    QFETCH(QString, value);

    const UiField* field =
        findField(uplink ? m_cfg->m_uplinkNameToUiVec : m_cfg->m_downlinkNameToUiVec, form, key);
    QVERIFY(field);
    QCOMPARE(attribute(*field, name), value);
}

void TestCCfgFileParse::enumValuesKeepSixtyFourBits()
{
    const UiField* map = findField(m_cfg->m_downlinkNameToUiVec, "Get Connection Channel Map", "channel_map");
    QVERIFY(map);
    QCOMPARE(map->type, QString("enum_mask_read"));
    QCOMPARE(map->elems.size(), 37);
    QCOMPARE(map->elems.last().value, Q_UINT64_C(68719476736));
    QCOMPARE(map->elems.last().desc, QString("Channel-36"));
    QCOMPARE(map->valueToDesc.value(Q_UINT64_C(68719476736)), QString("Channel-36"));
    QCOMPARE(map->descToValue.value("Channel-35"), Q_UINT64_C(34359738368));
    QCOMPARE(map->elems.first().value, Q_UINT64_C(1));

    const UiField* features = findField(m_cfg->m_downlinkNameToUiVec, "Get Peer Features", "features");
    QVERIFY(features);
    QCOMPARE(features->elems.size(), 17);
    QCOMPARE(features->elems.at(9).desc, QString("Stable Modulation Index - Transmitter"));
    QCOMPARE(features->elems.at(16).value, Q_UINT64_C(65536));
    QCOMPARE(features->elems.at(16).desc, QString("Minimum Number of Used Channels Procedure"));

    // Two captions repeat: the items stay five, the reverse map keeps the later value.
    const UiField* cls = findField(m_cfg->m_uplinkNameToUiVec, "DEVICES_TABLE", "adv_classification");
    QVERIFY(cls);
    QCOMPARE(cls->elems.size(), 5);
    QCOMPARE(cls->valueToDesc.size(), 5);
    QCOMPARE(cls->descToValue.size(), 3);
    QCOMPARE(cls->descToValue.value("Extended"), Q_UINT64_C(2));
    QCOMPARE(cls->valueToDesc.value(0), QString("Extended"));
}

void TestCCfgFileParse::listSubFields()
{
    const UiField* list =
        findField(m_cfg->m_downlinkNameToUiVec, "Reliable Characteristic Value Writes", "attrible_handle_list");
    QVERIFY(list);
    QCOMPARE(list->type, QString("list"));
    QCOMPARE(list->maxLength, QString("0"));
    QVERIFY(list->elems.isEmpty());
    QCOMPARE(list->subFields.size(), 3);

    QStringList text;
    for (const UiField& sub : list->subFields)
        text << sub.key + ' ' + sub.subType + ' ' + sub.maxLength + ' ' + sub.defaultValue;
    QCOMPARE(text, (QStringList {"attrible_handle hex 6 0x0001", "offset hex 6 0x0000", "value hex 512 0"}));

    const UiField* info =
        findField(m_cfg->m_downlinkNameToUiVec, "Read Multiple Characteristic Values", "attrible_handle_info");
    QVERIFY(info);
    QCOMPARE(info->subFields.size(), 2);
    const UiField& len = info->subFields.at(1);
    QCOMPARE(len.title, QString("Value Length"));
    QCOMPARE(len.min, QString("0"));
    QCOMPARE(len.max, QString("512"));
    QCOMPARE(len.length, QString("2"));
    QVERIFY(len.singleStep.isEmpty());
}

static QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(content) != content.size())
        return QString();
    return path;
}

void TestCCfgFileParse::laterRowReplacesEarlier()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = writeFile(dir, "cmd.xml",
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<commandsGroup>\n"
        "\t<command name=\"First\" ID=\"01@01\"><field key=\"early\" index=\"4\" length=\"1\"/></command>\n"
        "  <command name=\"Second\" ID=\"01@01\"><field key=\"late\" index=\"4\" length=\"2\"/></command>\n"
        "\n"
        "    <command name=\"First\" ID=\"01@02\"></command>\n"
        "</commandsGroup>\n");
    QVERIFY(!path.isEmpty());

    CCfgFileParse* parse = CCfgFileParse::instance();
    QMap<QString, QVector<CmdField>> fields;
    QCOMPARE(parse->parseCmdFile(path, fields), 0);
    QCOMPARE(fields.keys(), (QStringList {"01@01", "01@02"}));
    QCOMPARE(rowsText(fields.value("01@01")), QStringList {"late 4/2"});
    QVERIFY(fields.value("01@02").isEmpty());

    QMap<QString, QString> nameToId;
    QMap<QString, QString> idToName;
    QCOMPARE(parse->parseCmdNameAndId(path, nameToId, idToName), 0);
    QCOMPARE(nameToId.value("First"), QString("01@02"));
    QCOMPARE(nameToId.value("Second"), QString("01@01"));
    QCOMPARE(idToName.value("01@01"), QString("Second"));
    QCOMPARE(idToName.size(), 2);
}

void TestCCfgFileParse::badNumbersReadAsZero()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QByteArray body =
        "<commandsGroup><command ID=\"X\">"
        "<field key=\"bad\" index=\"x\" length=\"\" src=\"raw\"/>"
        "<field key=\"missing\"/>"
        "<field key=\"hex\" index=\"0x2\" length=\"FF\"/>"
        "<field key=\"ten\" index=\"10\" length=\"10\"/>"
        "</command></commandsGroup>";
    const QString path = writeFile(dir, "rows.xml", body);
    QVERIFY(!path.isEmpty());

    CCfgFileParse* parse = CCfgFileParse::instance();
    QMap<QString, QVector<CmdField>> fields;
    QCOMPARE(parse->parseCmdFile(path, fields), 0);
    QCOMPARE(rowsText(fields.value("X")), (QStringList {"bad 0/0", "missing 0/0", "hex 0/0", "ten 10/10"}));
    QCOMPARE(fields.value("X").first().src, QString("raw"));

    // The same rows read as AD types: lengths are hexadecimal there.
    QMap<QString, QVector<AdvDataField>> adv;
    QCOMPARE(parse->parseAdvData(path, adv), 0);
    QStringList lengths;
    for (const AdvDataField& row : adv.value("X"))
        lengths << QString::number(row.length);
    QCOMPARE(lengths, (QStringList {"0", "0", "255", "16"}));
}

void TestCCfgFileParse::uiFileDetails()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = writeFile(dir, "ui.xml",
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<componentGroup>\n"
        " <component name=\"Form\" father=\"GAP\" format=\"write\">\n"
        "  <field key=\"e\" title=\"E\" type=\"enum_mask_read_half\" defaultValue=\"\">\n"
        "   <elem value=\"18446744073709551615\" valueDesc=\"all\"/>\n"
        "   <elem value=\"bad\" valueDesc=\"zero\"/>\n"
        "  </field>\n"
        "  <field key=\"l\" title=\"L\" type=\"list\">\n"
        "   <field key=\"d\" title=\"D\" type=\"lineEdit\" subType=\"double\" singleStep=\"1.25\""
        " precision=\"2\" min=\"1\" max=\"9\" length=\"2\"/>\n"
        "   <field key=\"s\" title=\"S\" type=\"enum\"><elem value=\"1\" valueDesc=\"one\"/></field>\n"
        "  </field>\n"
        "  <field key=\"t\" title=\"T\" type=\"lineEdit\"><elem value=\"1\" valueDesc=\"ignored\"/></field>\n"
        " </component>\n"
        " <component name=\"Empty\" father=\"GET_INFO\" format=\"read\"/>\n"
        " <component name=\"Form\" father=\"CIS\" format=\"read\"/>\n"
        "</componentGroup>\n");
    QVERIFY(!path.isEmpty());

    QVector<UiNameToFields> forms;
    QVector<UiInfo> infos;
    QCOMPARE(CCfgFileParse::instance()->parseUiFile(path, forms, infos), 0);

    QCOMPARE(forms.size(), 3);
    QCOMPARE(infos.size(), 3);
    QCOMPARE(forms.at(1).name, QString("Empty"));
    QVERIFY(forms.at(1).fields.isEmpty());
    QCOMPARE(forms.at(2).name, QString("Form"));
    QCOMPARE(infos.at(2).father, QString("CIS"));
    QCOMPARE(forms.at(0).fields.size(), 3);

    const UiField& e = forms.at(0).fields.at(0);
    QCOMPARE(e.elems.size(), 2);
    QCOMPARE(e.elems.at(0).value, Q_UINT64_C(18446744073709551615));
    QCOMPARE(e.elems.at(1).value, Q_UINT64_C(0));
    QCOMPARE(e.descToValue.value("all"), Q_UINT64_C(18446744073709551615));

    const UiField& l = forms.at(0).fields.at(1);
    QCOMPARE(l.subFields.size(), 2);
    const UiField& d = l.subFields.at(0);
    QCOMPARE(d.subType, QString("double"));
    QCOMPARE(d.min, QString("1"));
    QCOMPARE(d.max, QString("9"));
    QCOMPARE(d.length, QString("2"));
    QVERIFY(d.singleStep.isEmpty());
    QVERIFY(d.precision.isEmpty());
    QVERIFY(l.subFields.at(1).elems.isEmpty());

    QVERIFY(forms.at(0).fields.at(2).elems.isEmpty());
}

void TestCCfgFileParse::unreadableFileFails_data()
{
    QTest::addColumn<int>("parser");
    QTest::addColumn<QByteArray>("content");

    const char* parsers[] = {"command rows", "forms", "names and ids", "AD types"};
    for (int p = 0; p < 4; ++p) {
        QTest::addRow("%s: missing file", parsers[p]) << p << QByteArray();
        QTest::addRow("%s: empty file", parsers[p]) << p << QByteArray("");
        QTest::addRow("%s: unclosed element", parsers[p])
            << p << QByteArray("<commandsGroup><command ID=\"01@01\"></commandsGroup>");
        QTest::addRow("%s: not XML", parsers[p]) << p << QByteArray("AA 01 01 00 00");
    }
}

void TestCCfgFileParse::unreadableFileFails()
{
    QFETCH(int, parser);
    QFETCH(QByteArray, content);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QString path = dir.filePath("absent.xml");
    if (!content.isNull()) {
        path = writeFile(dir, "broken.xml", content);
        QVERIFY(!path.isEmpty());
    }

    CCfgFileParse* parse = CCfgFileParse::instance();
    QMap<QString, QVector<CmdField>> fields;
    QVector<UiNameToFields> forms;
    QVector<UiInfo> infos;
    QMap<QString, QString> nameToId;
    QMap<QString, QString> idToName;
    QMap<QString, QVector<AdvDataField>> adv;
    switch (parser) {
    case 0: QCOMPARE(parse->parseCmdFile(path, fields), -1); break;
    case 1: QCOMPARE(parse->parseUiFile(path, forms, infos), -1); break;
    case 2: QCOMPARE(parse->parseCmdNameAndId(path, nameToId, idToName), -1); break;
    default: QCOMPARE(parse->parseAdvData(path, adv), -1); break;
    }
}

QTEST_GUILESS_MAIN(TestCCfgFileParse)
#include "tst_ccfgfileparse.moc"
