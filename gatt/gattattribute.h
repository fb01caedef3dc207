#pragma once

#include <QByteArray>
#include <QColor>
#include <QString>
#include <QVariant>

// One attribute of a peer's GATT database, as the panel learns it. Declarations keep their value
// as on the air: a service's start and end handles and UUID, a characteristic's properties,
// value handle and UUID, an include's range and UUID.
struct GattAttribute
{
    // 1 when filled from an uplink; 0 for an empty slot or a value row made from its declaration.
    quint8 used = 0;
    quint16 handle = 0;
    // 16 bytes, least significant first; a 16-bit UUID in the first two.
    QByteArray uuid;
    QString uuidDescription;
    QByteArray value;
    // Properties of a value row (CCommand::en_PROPERTYES bits); 0 elsewhere.
    quint8 properties = 0;
    QColor textColor = Qt::black;
};

// What the attribute models share: the texts of their cells and the value row behind a
// characteristic declaration.
namespace GattAttributes {

enum Uuid16 : quint16 {
    PrimaryService = 0x2800,
    Include = 0x2802,
    Characteristic = 0x2803,
    ClientConfiguration = 0x2902,
};

constexpr int ColumnCount = 5;
// The colour of a value that has arrived from the peer.
const QColor ArrivedColor(0x18, 0x9e, 0xde);

// The UUID padded with zero bytes to 16.
QByteArray paddedUuid(const QByteArray& uuid);
bool isUuid16(const GattAttribute& attribute, quint16 uuid);
// The en_UUID key of a UUID of at most `maxBytes` significant bytes, "_" as blanks; else empty.
QString uuidDescription(const QByteArray& uuid, int maxBytes = 2);
// A little-endian number of two bytes at `at` of `bytes`; false when they aren't there.
bool readHandle(const QByteArray& bytes, int at, quint16* handle);
// The value row of a characteristic declaration: its handle, UUID and properties; false when
// the declaration's value handle or UUID can't be read.
bool valueRow(const GattAttribute& declaration, GattAttribute* row);
// Display (0), tool tip (3) and foreground (9) of a cell; background is each model's own.
QVariant cellData(const GattAttribute& attribute, int column, int role);
QVariant headerData(int section, Qt::Orientation orientation, int role);
// Texts of the panel: the handle "0x002a", the properties' names joined by `separator`.
QString handleText(quint16 handle);
QString propertyNames(quint8 properties, const QString& separator);

} // namespace GattAttributes
