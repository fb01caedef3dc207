#include "schema/ccfgfileparse.h"

#include <QDomDocument>
#include <QFile>
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
        for (const UiField& field : f.fields) {
            if (f.name == form && field.key == key)
                return &field;
        }
    }
    return nullptr;
}

} // namespace

class TestCCfgFileParse : public QObject
{
    Q_OBJECT

private slots:
    void everyRowIsRead();
    void commandRows_data();
    void commandRows();
    void namesAndIds_data();
    void namesAndIds();
    void advertisingLengthsAreHex();
    void formFields();
    void unreadableFileFails();

private:
    const CCfgFileParse* m_cfg = CCfgFileParse::instance();
};

// Every row of the files reaches the tables; duplicate ids collapse into one entry each.
void TestCCfgFileParse::everyRowIsRead()
{
    const auto rowsIn = [](const QString& file) {
        QFile f(":/config/resources/conf/" + file);
        QDomDocument doc;
        return f.open(QIODevice::ReadOnly) && doc.setContent(&f) ? doc.elementsByTagName("command").count() : -1;
    };
    QCOMPARE(rowsIn("down_link_command.xml"), 131);
    QCOMPARE(rowsIn("up_link_command.xml"), 229);
    QCOMPARE(m_cfg->m_downlinkIdToFields.size(), 130);
    QCOMPARE(m_cfg->m_uplinkIdToFields.size(), 227);
}

void TestCCfgFileParse::commandRows_data()
{
    QTest::addColumn<bool>("uplink");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("rows");

    QTest::newRow("Disconnect keeps its later row") << false << "01@07" << QStringList {"condix 4/1"};
    QTest::newRow("command without fields") << false << "00@01" << QStringList {};
    QTest::newRow("DD@06@03 carries the Accept CIS Established keys")
        << true << "DD@06@03"
        << QStringList {"status 4/1", "cis_connection_handle 5/2", "cig_sync_delay 7/4",
                        "cis_sync_delay 11/4", "transport_latency_m2s 15/4", "transport_latency_s2m 19/4",
                        "phy_m2s 23/1", "phy_s2m 24/1"};
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

void TestCCfgFileParse::namesAndIds_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");

    QTest::newRow("name keeps the id of its last row") << "uplinkNameToId" << "Start Extended Scan" << "DD@01@02";
    QTest::newRow("ack id keeps its own name") << "uplinkIdToName" << "BB@01@3D" << "Start Extended Scan";
    QTest::newRow("second BB@01@57 wins")
        << "uplinkIdToName" << "BB@01@57" << "Get Selection Algorithm For Connection Channel";
    QTest::newRow("DD@06@03 named by its later row") << "uplinkIdToName" << "DD@06@03" << "Accept CIS Established";
    QTest::newRow("downlink duplicate name") << "downlinkNameToId" << "Disconnect" << "01@07";
    QTest::newRow("downlink id to name") << "downlinkIdToName" << "01@81" << "RF TX Power Set";
}

void TestCCfgFileParse::namesAndIds()
{
    QFETCH(QString, table);
    QFETCH(QString, key);
    QFETCH(QString, value);

    const QMap<QString, const QMap<QString, QString>*> tables {
        {"uplinkNameToId", &m_cfg->m_uplinkNameToId},     {"uplinkIdToName", &m_cfg->m_uplinkIdToName},
        {"downlinkNameToId", &m_cfg->m_downlinkNameToId}, {"downlinkIdToName", &m_cfg->m_downlinkIdToName}};
    QVERIFY(tables.value(table)->contains(key));
    QCOMPARE(tables.value(table)->value(key), value);
}

void TestCCfgFileParse::advertisingLengthsAreHex()
{
    QMap<QString, quint32> lengths;
    for (const AdvDataField& row : m_cfg->m_advDataFields.value("advertising_data"))
        lengths.insert(row.key, row.length);
    QCOMPARE(lengths.value("shortened_local_name"), 255u); // "FF"
    QCOMPARE(lengths.value("complete_list_128-bit"), 16u); // "10"
}

void TestCCfgFileParse::formFields()
{
    const QVector<UiNameToFields>& down = m_cfg->m_downlinkNameToUiVec;
    // Channel maps need 37 bits.
    const UiField* map = findField(down, "Get Connection Channel Map", "channel_map");
    QVERIFY(map);
    QCOMPARE(map->elems.last().value, Q_UINT64_C(68719476736));
    QCOMPARE(map->valueToDesc.value(Q_UINT64_C(68719476736)), QString("Channel-36"));
    QCOMPARE(map->descToValue.value("Channel-35"), Q_UINT64_C(34359738368));

    // A top-level double keeps its unit; the cells of a list don't.
    const UiField* ce = findField(down, "Update Connection Parameters Request", "ce_length");
    QVERIFY(ce);
    QCOMPARE(ce->singleStep, QString("0.625"));
    const UiField* info = findField(down, "Read Multiple Characteristic Values", "attrible_handle_info");
    QVERIFY(info);
    QCOMPARE(info->subFields.size(), 2);
    const UiField& len = info->subFields.at(1);
    QCOMPARE(len.title + ' ' + len.min + ' ' + len.max + ' ' + len.length, QString("Value Length 0 512 2"));
    QVERIFY(len.singleStep.isEmpty());
}

void TestCCfgFileParse::unreadableFileFails()
{
    QTemporaryDir dir;
    QFile broken(dir.filePath("broken.xml"));
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write("<commandsGroup><command ID=\"01@01\"></commandsGroup>");
    broken.close();

    CCfgFileParse* parse = CCfgFileParse::instance();
    for (const QString& path : {dir.filePath("absent.xml"), broken.fileName()}) {
        QMap<QString, QVector<CmdField>> fields;
        QVector<UiNameToFields> forms;
        QVector<UiInfo> infos;
        QMap<QString, QString> nameToId, idToName;
        QMap<QString, QVector<AdvDataField>> adv;
        QCOMPARE(parse->parseCmdFile(path, fields), -1);
        QCOMPARE(parse->parseUiFile(path, forms, infos), -1);
        QCOMPARE(parse->parseCmdNameAndId(path, nameToId, idToName), -1);
        QCOMPARE(parse->parseAdvData(path, adv), -1);
    }
}

QTEST_GUILESS_MAIN(TestCCfgFileParse)
#include "tst_ccfgfileparse.moc"
