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
    for (const UiNameToFields& f : forms)
        for (const UiField& field : f.fields)
            if (f.name == form && field.key == key)
                return &field;
    return nullptr;
}

} // namespace

class TestCCfgFileParse : public QObject
{
    Q_OBJECT
    const CCfgFileParse* m_cfg = CCfgFileParse::instance();

private slots:
    // Every id of the files reaches the tables once, however often it repeats.
    void everyIdIsRead()
    {
        const auto idsIn = [](const QString& file) {
            QFile f(":/config/resources/conf/" + file);
            QDomDocument doc;
            QSet<QString> ids;
            const QDomNodeList rows = f.open(QIODevice::ReadOnly) && doc.setContent(&f) ? doc.elementsByTagName("command")
                                                                                       : QDomNodeList();
            for (int i = 0; i < rows.count(); ++i)
                ids.insert(rows.at(i).toElement().attribute("ID"));
            QStringList sorted = ids.values();
            sorted.sort();
            return sorted;
        };
        QCOMPARE(m_cfg->m_downlinkIdToFields.keys(), idsIn("down_link_command.xml"));
        QCOMPARE(m_cfg->m_uplinkIdToFields.keys(), idsIn("up_link_command.xml"));
    }

    // Where ids or names repeat, the later row wins (and in tst_ccommand's frames and results).
    void laterRowsWin()
    {
        QCOMPARE(rowsText(m_cfg->m_downlinkIdToFields.value("01@07")), QStringList{"condix 4/1"}); // Disconnect
        QCOMPARE(m_cfg->m_uplinkNameToId.value("Start Extended Scan"), QString("DD@01@02"));
    }

    void advertisingLengthsAreHex()
    {
        QMap<QString, quint32> lengths;
        for (const AdvDataField& row : m_cfg->m_advDataFields.value("advertising_data"))
            lengths.insert(row.key, row.length);
        QCOMPARE(lengths.value("shortened_local_name"), 255u); // "FF"
        QCOMPARE(lengths.value("complete_list_128-bit"), 16u); // "10"
    }

    void formFields()
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

    void unreadableFileFails()
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
};

QTEST_GUILESS_MAIN(TestCCfgFileParse)
#include "tst_ccfgfileparse.moc"
