#include "attributedatabase.h"

#include <algorithm>

#include <QJsonObject>
#include <QRandomGenerator>

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
            append(uuid, SimFrame::fromHex(characteristic.value(QLatin1String("value")).toString()), valueHandle);
            Attribute& value = m_attributes.last();
            value.properties = properties;
            value.notifyEveryMs = characteristic.value(QLatin1String("notifyEveryMs")).toInt();
            const QJsonObject vary = characteristic.value(QLatin1String("vary")).toObject();
            if (!vary.isEmpty()) {
                value.variation.at = vary.value(QLatin1String("at")).toInt();
                value.variation.bytes = vary.value(QLatin1String("bytes")).toInt();
                value.variation.min = qint64(vary.value(QLatin1String("min")).toDouble());
                value.variation.max = qint64(vary.value(QLatin1String("max")).toDouble());
                value.variation.step = vary.value(QLatin1String("step")).toInt(1);
            }

            const QJsonArray descriptors = characteristic.value(QLatin1String("descriptors")).toArray();
            const bool configured = std::any_of(descriptors.begin(), descriptors.end(), [](const QJsonValue& d) {
                return uuidBytes(d.toObject().value(QLatin1String("uuid")).toString()) == SimFrame::le16(ClientConfiguration);
            });
            if ((properties & (Notify | Indicate)) && !configured)
                append(SimFrame::le16(ClientConfiguration), QByteArray(2, 0), valueHandle);
            for (const QJsonValue& descriptor : descriptors) {
                append(uuidBytes(descriptor.toObject().value(QLatin1String("uuid")).toString()),
                       SimFrame::fromHex(descriptor.toObject().value(QLatin1String("value")).toString()), valueHandle);
            }
        }
    }
}

void AttributeDatabase::append(const QByteArray& type, const QByteArray& value, quint16 valueHandle)
{
    Attribute attribute;
    attribute.handle = quint16(m_attributes.size() + 1);
    attribute.type = type;
    attribute.value = value;
    attribute.valueHandle = valueHandle;
    m_attributes.append(attribute);
}

const AttributeDatabase::Attribute* AttributeDatabase::attribute(quint16 handle) const
{
    return handle >= 1 && handle <= m_attributes.size() ? &m_attributes.at(handle - 1) : nullptr;
}

void AttributeDatabase::setValue(quint16 handle, const QByteArray& value)
{
    if (handle >= 1 && handle <= m_attributes.size())
        m_attributes[handle - 1].value = value;
}

qint64 AttributeDatabase::number(const QByteArray& value, int at, int bytes)
{
    qint64 n = 0;
    for (int i = bytes - 1; i >= 0; --i)
        n = n << 8 | quint8(value.at(at + i));
    return n;
}

bool AttributeDatabase::vary(quint16 handle, QRandomGenerator& random)
{
    if (handle < 1 || handle > m_attributes.size())
        return false;
    Attribute& attribute = m_attributes[handle - 1];
    const Variation& v = attribute.variation;
    if (v.bytes == 0 || attribute.value.size() < v.at + v.bytes)
        return false;
    const qint64 step = qint64(random.bounded(2 * v.step + 1)) - v.step;
    const qint64 moved = qBound(v.min, number(attribute.value, v.at, v.bytes) + step, v.max);
    for (int i = 0; i < v.bytes; ++i)
        attribute.value[v.at + i] = char((moved >> (8 * i)) & 0xFF);
    return true;
}

quint16 AttributeDatabase::serviceEnd(quint16 handle) const
{
    int end = handle;
    while (end < m_attributes.size() && !isGroupType(m_attributes.at(end).type))
        ++end;
    return quint16(end);
}

bool AttributeDatabase::isGroupType(const QByteArray& type)
{
    return type == SimFrame::le16(PrimaryService) || type == SimFrame::le16(SecondaryService);
}

bool AttributeDatabase::isDeclaration(const QByteArray& type)
{
    return isGroupType(type) || type == SimFrame::le16(Include) || type == SimFrame::le16(CharacteristicDeclaration);
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
