#include "ccfgfileparse.h"

#include <QDomDocument>
#include <QDomElement>
#include <QDomNodeList>
#include <QFile>
#include <QMutexLocker>

QMutex CCfgFileParse::s_mutex;
QAtomicPointer<CCfgFileParse> CCfgFileParse::s_instance;

namespace {

const QString kUplinkCommandFile = QStringLiteral(":/config/resources/conf/up_link_command.xml");
const QString kDownlinkCommandFile = QStringLiteral(":/config/resources/conf/down_link_command.xml");
const QString kUplinkUiFile = QStringLiteral(":/config/resources/conf/up_link_ui.xml");
const QString kDownlinkUiFile = QStringLiteral(":/config/resources/conf/down_link_ui.xml");
const QString kAdvertisingDataFile = QStringLiteral(":/config/resources/conf/advertising_data.xml");

bool loadRoot(const QString& path, QDomElement& root)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDomDocument doc;
    const bool ok = doc.setContent(&file);
    file.close();
    if (!ok)
        return false;
    root = doc.documentElement();
    return true;
}

bool isEnumType(const QString& type)
{
    return type == QLatin1String("enum") || type == QLatin1String("enum_mask")
        || type == QLatin1String("enum_mask_read") || type == QLatin1String("enum_mask_read_half");
}

// Sub-fields of a list are plain cells: no unit conversion and no items.
UiField readSubField(const QDomElement& e)
{
    UiField sub;
    sub.key = e.attribute(QStringLiteral("key"));
    sub.title = e.attribute(QStringLiteral("title"));
    sub.type = e.attribute(QStringLiteral("type"));
    sub.maxLength = e.attribute(QStringLiteral("maxLength"));
    sub.max = e.attribute(QStringLiteral("max"));
    sub.min = e.attribute(QStringLiteral("min"));
    sub.defaultValue = e.attribute(QStringLiteral("defaultValue"));
    sub.subType = e.attribute(QStringLiteral("subType"));
    sub.length = e.attribute(QStringLiteral("length"));
    return sub;
}

// A field is read like a sub-field, plus its unit, precision and enum items or list cells.
UiField readField(const QDomElement& e)
{
    UiField field = readSubField(e);
    field.singleStep = e.attribute(QStringLiteral("singleStep"));
    field.precision = e.attribute(QStringLiteral("precision"));

    const QDomNodeList children = e.childNodes();
    if (isEnumType(field.type)) {
        for (int i = 0; i < children.count(); ++i) {
            const QDomElement elem = children.at(i).toElement();
            UiEnumElem item;
            // Channel maps need 37 bits.
            item.value = elem.attribute(QStringLiteral("value")).toULongLong(nullptr, 10);
            item.desc = elem.attribute(QStringLiteral("valueDesc"));
            field.valueToDesc.insert(item.value, item.desc);
            field.descToValue.insert(item.desc, item.value);
            field.elems.append(item);
        }
    } else if (field.type == QLatin1String("list")) {
        for (int i = 0; i < children.count(); ++i)
            field.subFields.append(readSubField(children.at(i).toElement()));
    }
    return field;
}

// Reads a file of `command` elements into rows per `ID`, one row per child by `readRow`.
// Also a command without rows is entered, so that it is known; a later duplicate id wins.
template <typename Row, typename ReadRow>
int parseRowsById(const QString& path, QMap<QString, QVector<Row>>& idToRows, ReadRow readRow)
{
    QDomElement root;
    if (!loadRoot(path, root))
        return -1;

    const QDomNodeList commands = root.childNodes();
    for (int i = 0; i < commands.count(); ++i) {
        const QDomElement command = commands.at(i).toElement();
        QVector<Row> rows;
        const QDomNodeList fields = command.childNodes();
        for (int j = 0; j < fields.count(); ++j)
            rows.append(readRow(fields.at(j).toElement()));
        idToRows.insert(command.attribute(QStringLiteral("ID")), rows);
    }
    return 0;
}

} // namespace

CCfgFileParse* CCfgFileParse::instance()
{
    CCfgFileParse* parse = s_instance.loadAcquire();
    if (!parse) {
        QMutexLocker locker(&s_mutex);
        parse = s_instance.loadAcquire();
        if (!parse) {
            parse = new CCfgFileParse;
            s_instance.storeRelease(parse);
        }
    }
    return parse;
}

CCfgFileParse::CCfgFileParse()
{
    // The files are built into the program, so a failure means a broken build. Stop at once:
    // running on with half the tables would send and decode wrong frames.
    const auto require = [](int result, const QString& path) {
        if (result != 0)
            qFatal("CCfgFileParse: cannot load the command schema %s", qPrintable(path));
    };

    require(parseCmdFile(kUplinkCommandFile, m_uplinkIdToFields), kUplinkCommandFile);
    require(parseCmdFile(kDownlinkCommandFile, m_downlinkIdToFields), kDownlinkCommandFile);
    require(parseUiFile(kUplinkUiFile, m_uplinkNameToUiVec, m_uplinkUiInfoVec), kUplinkUiFile);
    require(parseUiFile(kDownlinkUiFile, m_downlinkNameToUiVec, m_downlinkUiInfoVec), kDownlinkUiFile);
    require(parseCmdNameAndId(kDownlinkCommandFile, m_downlinkNameToId, m_downlinkIdToName),
            kDownlinkCommandFile);
    require(parseCmdNameAndId(kUplinkCommandFile, m_uplinkNameToId, m_uplinkIdToName), kUplinkCommandFile);
    require(parseAdvData(kAdvertisingDataFile, m_advDataFields), kAdvertisingDataFile);
}

int CCfgFileParse::parseCmdFile(const QString& path, QMap<QString, QVector<CmdField>>& idToFields)
{
    return parseRowsById(path, idToFields, [](const QDomElement& field) {
        CmdField row;
        row.key = field.attribute(QStringLiteral("key"));
        row.index = field.attribute(QStringLiteral("index")).toUInt();
        row.length = field.attribute(QStringLiteral("length")).toUInt();
        row.src = field.attribute(QStringLiteral("src"));
        return row;
    });
}

int CCfgFileParse::parseUiFile(const QString& path, QVector<UiNameToFields>& nameToUi,
                               QVector<UiInfo>& uiInfo)
{
    QDomElement root;
    if (!loadRoot(path, root))
        return -1;

    const QDomNodeList components = root.childNodes();
    for (int i = 0; i < components.count(); ++i) {
        const QDomElement component = components.at(i).toElement();

        UiInfo info;
        info.name = component.attribute(QStringLiteral("name"));
        info.father = component.attribute(QStringLiteral("father"));
        info.format = component.attribute(QStringLiteral("format"));
        uiInfo.append(info);

        UiNameToFields form;
        form.name = info.name;
        const QDomNodeList fields = component.childNodes();
        for (int j = 0; j < fields.count(); ++j)
            form.fields.append(readField(fields.at(j).toElement()));
        nameToUi.append(form);
    }
    return 0;
}

int CCfgFileParse::parseCmdNameAndId(const QString& path, QMap<QString, QString>& nameToId,
                                     QMap<QString, QString>& idToName)
{
    QDomElement root;
    if (!loadRoot(path, root))
        return -1;

    // Uplink names repeat across ack, result and event, so name-to-id keeps the last row only.
    const QDomNodeList commands = root.childNodes();
    for (int i = 0; i < commands.count(); ++i) {
        const QDomElement command = commands.at(i).toElement();
        const QString id = command.attribute(QStringLiteral("ID"));
        const QString name = command.attribute(QStringLiteral("name"));
        nameToId.insert(name, id);
        idToName.insert(id, name);
    }
    return 0;
}

int CCfgFileParse::parseAdvData(const QString& path, QMap<QString, QVector<AdvDataField>>& advData)
{
    return parseRowsById(path, advData, [](const QDomElement& field) {
        AdvDataField row;
        row.key = field.attribute(QStringLiteral("key"));
        row.title = field.attribute(QStringLiteral("title"));
        row.type = field.attribute(QStringLiteral("type"));
        // Hexadecimal here only: "FF" is the 255 bytes of a local name.
        row.length = field.attribute(QStringLiteral("length")).toUInt(nullptr, 16);
        row.value = field.attribute(QStringLiteral("value"));
        return row;
    });
}
