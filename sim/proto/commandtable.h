#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
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
        const Field* field(const QString& key) const;
    };

    static const SimCommandTable& instance();

    const Command* downlink(const QString& id) const;
    const Command* uplink(const QString& id) const;
    // Every downlink id, sorted.
    QStringList downlinkIds() const;

private:
    SimCommandTable();
    static QHash<QString, Command> load(const QString& path);
    void addHandBuilt();
    void addListUplinks();

    QHash<QString, Command> m_downlinks;
    QHash<QString, Command> m_uplinks;
};
