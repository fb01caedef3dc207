#include "commandtable.h"

#include <algorithm>

#include <QFile>
#include <QXmlStreamReader>

static void initSimResources()
{
    Q_INIT_RESOURCE(sim);
}

int SimCommandTable::Command::fixedPayloadLength() const
{
    int end = 4;
    for (const Field& field : fields) {
        if (field.length == 0)
            return -1;
        end = qMax(end, field.index + field.length);
    }
    return end - 4;
}

const SimCommandTable::Field* SimCommandTable::Command::field(const QString& key) const
{
    for (const Field& field : fields) {
        if (field.key == key)
            return &field;
    }
    return nullptr;
}

const SimCommandTable& SimCommandTable::instance()
{
    static const SimCommandTable table;
    return table;
}

SimCommandTable::SimCommandTable()
{
    initSimResources();
    m_downlinks = load(QStringLiteral(":/sim/conf/down_link_command.xml"));
    m_uplinks = load(QStringLiteral(":/sim/conf/up_link_command.xml"));
    addHandBuilt();
    addListUplinks();
}

QHash<QString, SimCommandTable::Command> SimCommandTable::load(const QString& path)
{
    QHash<QString, Command> commands;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return commands;
    QXmlStreamReader xml(&file);
    Command current;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("command")) {
            current = Command();
            current.name = xml.attributes().value(QLatin1String("name")).toString();
            current.id = xml.attributes().value(QLatin1String("ID")).toString().toUpper();
        } else if (xml.isStartElement() && xml.name() == QLatin1String("field")) {
            Field field;
            field.key = xml.attributes().value(QLatin1String("key")).toString();
            field.index = xml.attributes().value(QLatin1String("index")).toInt();
            field.length = xml.attributes().value(QLatin1String("length")).toInt();
            current.fields.append(field);
        } else if (xml.isEndElement() && xml.name() == QLatin1String("command")) {
            // A later row of the same id replaces the earlier one, as in the tool: Disconnect
            // (01@07) stands twice, and only its second row, condix at index 4, is the frame.
            commands.insert(current.id, current);
        }
    }
    return commands;
}

// Frames that the tool assembles itself, without a row in down_link_command.xml: the advertising
// data of the three kinds of set (lengths and data follow the index) and the pairing answer (its
// body depends on the request type).
void SimCommandTable::addHandBuilt()
{
    const QVector<Command> handBuilt = {
        {QStringLiteral("Legacy Advertising Data Set"), QStringLiteral("01@25"),
         {{QStringLiteral("advIndex"), 4, 1}, {QStringLiteral("data"), 5, 0}}},
        {QStringLiteral("Extended Advertising Data Set"), QStringLiteral("01@2D"),
         {{QStringLiteral("advIndex"), 4, 1}, {QStringLiteral("data"), 5, 0}}},
        {QStringLiteral("Periodic Advertising Data Set"), QStringLiteral("01@33"),
         {{QStringLiteral("advIndex"), 4, 1}, {QStringLiteral("data"), 5, 0}}},
        {QStringLiteral("Sending Confirm Information"), QStringLiteral("02@07"),
         {{QStringLiteral("type"), 4, 1}, {QStringLiteral("body"), 5, 0}}},
    };
    for (const Command& command : handBuilt)
        m_downlinks.insert(command.id, command);
}

// The results that the tool's pages cut as lists. The GATT results: the link, a status, a record count and
// records back to back, each cut by its own header there. Their rows in up_link_command.xml name
// the fields of one record without status or count; a dongle paired with the tool sends what the
// page reads, so these layouts replace the rows.
void SimCommandTable::addListUplinks()
{
    for (const char* id : {"DD@03@03", "DD@03@05", "DD@03@07", "DD@03@09", "DD@03@0B", "DD@03@0D", "DD@03@0F",
                           "DD@03@11", "DD@03@13", "DD@03@15", "DD@03@21", "DD@03@23"}) {
        Command& command = m_uplinks[QLatin1String(id)];
        command.id = QLatin1String(id);
        command.fields = {{QStringLiteral("condix"), 4, 1},
                          {QStringLiteral("status"), 5, 1},
                          {QStringLiteral("record_count"), 6, 2},
                          {QStringLiteral("records"), 8, 0}};
    }
    // The resolving list: the Master page listens for it in module 01, where the file writes
    // DD@00@7F; the entries follow each other without a header.
    Command& rpaList = m_uplinks[QStringLiteral("DD@01@7F")];
    rpaList.id = QStringLiteral("DD@01@7F");
}

const SimCommandTable::Command* SimCommandTable::downlink(const QString& id) const
{
    const auto it = m_downlinks.constFind(id);
    return it == m_downlinks.cend() ? nullptr : &it.value();
}

const SimCommandTable::Command* SimCommandTable::uplink(const QString& id) const
{
    const auto it = m_uplinks.constFind(id);
    return it == m_uplinks.cend() ? nullptr : &it.value();
}

QStringList SimCommandTable::downlinkIds() const
{
    QStringList ids = m_downlinks.keys();
    std::sort(ids.begin(), ids.end());
    return ids;
}
