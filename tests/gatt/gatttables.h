#pragma once

#include <QByteArray>
#include <QStringList>
#include <QMetaType>
#include <QVector>

#include "gatt/gattattribute.h"

Q_DECLARE_METATYPE(GattAttribute)

// Attribute tables as discovery fills them, written by hand for the model tests.
namespace GattTables {

inline QByteArray le16(quint16 value)
{
    return QByteArray(1, char(value & 0xff)) + char(value >> 8);
}

inline void put(QVector<GattAttribute>& table, quint16 handle, const QByteArray& uuid, const QByteArray& value)
{
    if (table.size() <= handle)
        table.resize(handle + 1);
    GattAttribute& slot = table[handle];
    slot.used = 1;
    slot.handle = handle;
    slot.uuid = GattAttributes::paddedUuid(uuid);
    slot.uuidDescription = GattAttributes::uuidDescription(uuid, 4);
    slot.value = value;
}

inline void service(QVector<GattAttribute>& table, quint16 start, quint16 end, const QByteArray& uuid)
{
    put(table, start, le16(0x2800), le16(start) + le16(end) + uuid);
}

// The declaration and the placeholder slot that discovery writes behind it.
inline void characteristic(QVector<GattAttribute>& table, quint16 handle, quint8 properties, quint16 valueHandle,
                           const QByteArray& uuid)
{
    put(table, handle, le16(0x2803), char(properties) + le16(valueHandle) + uuid);
    if (table.size() <= handle + 1)
        table.resize(handle + 2);
    table[handle + 1].used = 1;
    table[handle + 1].handle = quint16(handle + 1);
}

// Heart Rate: a notifying measurement with its client configuration, and a readable location.
inline QVector<GattAttribute> heartRate()
{
    QVector<GattAttribute> table;
    service(table, 1, 6, le16(0x180D));
    characteristic(table, 2, 0x10, 3, le16(0x2A37));
    put(table, 4, le16(0x2902), QByteArray());
    characteristic(table, 5, 0x02, 6, le16(0x2A38));
    return table;
}

} // namespace GattTables
