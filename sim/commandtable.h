#pragma once

#include <QHash>
#include <QString>
#include <QVector>

// The command vocabulary as the protocol's XML files define it: downlink ids to names and field
// layouts, uplink ids to field layouts. Loaded once from the simulator's own resources.
class SimCommandTable
{
public:
    struct Field {
        QString key;
        int index = 0;
        int length = 0; // 0: the field takes the rest of the frame
    };
    struct Command {
        QString name;
        QString id; // "MM@OO" downlink, "HH@MM@OO" uplink
        QVector<Field> fields;
        // Payload bytes the fields take; -1 when a field of length 0 makes the payload variable.
        int fixedPayloadLength() const;
    };

    static const SimCommandTable& instance();

    const Command* downlink(const QString& id) const;
    const Command* downlinkByName(const QString& name) const;
    const Command* uplink(const QString& id) const;
    bool isLoaded() const { return !m_downlinks.isEmpty() && !m_uplinks.isEmpty(); }

private:
    SimCommandTable();
    static QHash<QString, Command> load(const QString& path);

    QHash<QString, Command> m_downlinks;
    QHash<QString, Command> m_uplinks;
    QHash<QString, QString> m_downlinkIdByName;
};
