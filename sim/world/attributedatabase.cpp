#include "attributedatabase.h"

#include <algorithm>

#include <QJsonObject>

#include "proto/simframe.h"

namespace {

const QStringList PropertyNames = {"broadcast", "read", "writeWithoutResponse", "write",
                                   "notify", "indicate", "authenticatedSignedWrites", "extendedProperties"};

} // namespace

AttributeDatabase::AttributeDatabase(const QJsonArray& services)
{
    for (const QJsonValue& serviceValue : services) {
        const QJsonObject service = serviceValue.toObject();
        append(SimFrame::le16(PrimaryService), uuidBytes(service.value(QLatin1String("uuid")).toString()));
        for (const QJsonValue& characteristicValue : service.value(QLatin1String("characteristics")).toArray()) {
            const QJsonObject characteristic = characteristicValue.toObject();
            quint8 properties = 0;
            for (const QJsonValue& name : characteristic.value(QLatin1String("properties")).toArray())
                properties |= quint8(propertyBit(name.toString()));
            const QByteArray uuid = uuidBytes(characteristic.value(QLatin1String("uuid")).toString());
            const quint16 valueHandle = quint16(m_attributes.size() + 2);
            append(SimFrame::le16(CharacteristicDeclaration), char(properties) + SimFrame::le16(valueHandle) + uuid);
            append(uuid, SimFrame::fromHex(characteristic.value(QLatin1String("value")).toString()));
            m_attributes.last().properties = properties;
            m_attributes.last().notifyEveryMs = characteristic.value(QLatin1String("notifyEveryMs")).toInt();

            const QJsonArray descriptors = characteristic.value(QLatin1String("descriptors")).toArray();
            const bool configured = std::any_of(descriptors.begin(), descriptors.end(), [](const QJsonValue& d) {
                return uuidBytes(d.toObject().value(QLatin1String("uuid")).toString()) == SimFrame::le16(ClientConfiguration);
            });
            if ((properties & (Notify | Indicate)) && !configured)
                append(SimFrame::le16(ClientConfiguration), QByteArray(2, 0));
            for (const QJsonValue& descriptor : descriptors) {
                append(uuidBytes(descriptor.toObject().value(QLatin1String("uuid")).toString()),
                       SimFrame::fromHex(descriptor.toObject().value(QLatin1String("value")).toString()));
            }
        }
    }
}

void AttributeDatabase::append(const QByteArray& type, const QByteArray& value)
{
    Attribute attribute;
    attribute.handle = quint16(m_attributes.size() + 1);
    attribute.type = type;
    attribute.value = value;
    m_attributes.append(attribute);
}

quint16 AttributeDatabase::clientConfiguration(const Link* link, quint16 handle) const
{
    return m_clientConfigurations.value(link).value(handle, 0);
}

void AttributeDatabase::setClientConfiguration(const Link* link, quint16 handle, quint16 value)
{
    m_clientConfigurations[link].insert(handle, value);
}

void AttributeDatabase::forget(const Link* link)
{
    m_clientConfigurations.remove(link);
}

QByteArray AttributeDatabase::uuidBytes(const QString& text)
{
    QString digits = text;
    digits.remove(QLatin1Char('-'));
    bool ok = false;
    QByteArray bytes = SimFrame::fromHex(digits, &ok);
    if (!ok || (bytes.size() != 2 && bytes.size() != 16) || digits.contains(QLatin1Char(' ')) || digits.contains(QLatin1Char(':')))
        return QByteArray();
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

int AttributeDatabase::propertyBit(const QString& name)
{
    const int index = PropertyNames.indexOf(name);
    return index < 0 ? 0 : 1 << index;
}

QStringList AttributeDatabase::propertyNames()
{
    return PropertyNames;
}
