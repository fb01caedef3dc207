#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QStringList>
#include <QVector>

class Link;
class QRandomGenerator;

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
    static constexpr quint16 SecondaryService = 0x2801;
    static constexpr quint16 Include = 0x2802;
    static constexpr quint16 CharacteristicDeclaration = 0x2803;
    static constexpr quint16 ClientConfiguration = 0x2902;

    // A measurement that moves each time it is sent: a little-endian number of `bytes` bytes at
    // `at` in the value, which takes a random step of at most `step` and stays in min to max.
    struct Variation {
        int at = 0;
        int bytes = 0; // 0: the value stands still
        qint64 min = 0;
        qint64 max = 0;
        int step = 1;
    };

    struct Attribute {
        quint16 handle = 0;
        QByteArray type; // UUID in wire order, 2 or 16 bytes
        QByteArray value;
        quint8 properties = 0; // of a characteristic's value
        int notifyEveryMs = 0; // of a characteristic's value
        Variation variation; // of a characteristic's value
        quint16 valueHandle = 0; // of a descriptor, and of a value itself: the value it belongs to
    };

    // The services must have passed the world loader.
    explicit AttributeDatabase(const QJsonArray& services);

    const QVector<Attribute>& attributes() const { return m_attributes; }
    // Null for 0 and past the last handle.
    const Attribute* attribute(quint16 handle) const;
    void setValue(quint16 handle, const QByteArray& value);
    // Moves a varying value one step; false for a value that stands still.
    bool vary(quint16 handle, QRandomGenerator& random);
    // The last handle of the service declared at `handle`: before the next service, or the last.
    quint16 serviceEnd(quint16 handle) const;
    static bool isGroupType(const QByteArray& type);
    // A declaration of the database's structure: services, includes, characteristics.
    static bool isDeclaration(const QByteArray& type);

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
    // The number of `bytes` bytes at `at`, little-endian; the caller checks the size.
    static qint64 number(const QByteArray& value, int at, int bytes);

private:
    void append(const QByteArray& type, const QByteArray& value, quint16 valueHandle = 0);

    QVector<Attribute> m_attributes;
    QHash<const Link*, QHash<quint16, quint16>> m_clientConfigurations;
};
