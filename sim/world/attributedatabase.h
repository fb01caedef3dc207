#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QStringList>
#include <QVector>

class Link;

// The GATT database of a device, built from the "services" of its world file: handles from 1 in
// the order written (service, then per characteristic its declaration, value and descriptors), a
// client configuration descriptor for every characteristic that notifies or indicates, and the
// value of each such descriptor kept per link, as a server keeps it per client.
class AttributeDatabase
{
public:
    enum Property {
        Broadcast = 0x01,
        Read = 0x02,
        WriteWithoutResponse = 0x04,
        Write = 0x08,
        Notify = 0x10,
        Indicate = 0x20,
        AuthenticatedSignedWrites = 0x40,
        ExtendedProperties = 0x80,
    };
    static constexpr quint16 PrimaryService = 0x2800;
    static constexpr quint16 CharacteristicDeclaration = 0x2803;
    static constexpr quint16 ClientConfiguration = 0x2902;

    struct Attribute {
        quint16 handle = 0;
        QByteArray type; // UUID in wire order, 2 or 16 bytes
        QByteArray value;
        quint8 properties = 0; // of a characteristic's value
        int notifyEveryMs = 0; // of a characteristic's value
    };

    // The services must have passed the world loader.
    explicit AttributeDatabase(const QJsonArray& services);

    const QVector<Attribute>& attributes() const { return m_attributes; }
    // 0 when nobody on that link has written the descriptor.
    quint16 clientConfiguration(const Link* link, quint16 handle) const;
    void setClientConfiguration(const Link* link, quint16 handle, quint16 value);
    // A link is gone: so are its clients' configurations.
    void forget(const Link* link);

    // "180D" or a 128-bit UUID in 32 digits (dashes allowed) to wire order; empty when neither.
    static QByteArray uuidBytes(const QString& text);
    // A property as the world file names it ("notify") to its bit; 0 when unknown.
    static int propertyBit(const QString& name);
    static QStringList propertyNames();

private:
    void append(const QByteArray& type, const QByteArray& value);

    QVector<Attribute> m_attributes;
    QHash<const Link*, QHash<quint16, quint16>> m_clientConfigurations;
};
