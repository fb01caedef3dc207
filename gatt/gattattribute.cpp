#include "gattattribute.h"

#include <QMetaEnum>
#include <QStringList>

#include "schema/ccommand.h"
#include "schema/cutil.h"

namespace GattAttributes {

namespace {

const QStringList kHeaders = {QStringLiteral("Handle"), QStringLiteral("UUID"), QStringLiteral("UUID Description"),
                              QStringLiteral("Value"), QStringLiteral("Properties")};

QString hexPairs(const QByteArray& bytes, char separator)
{
    return QString::fromLatin1(bytes.toHex(separator));
}

} // namespace

QByteArray paddedUuid(const QByteArray& uuid)
{
    return uuid.size() >= 16 ? uuid : uuid + QByteArray(16 - uuid.size(), '\0');
}

bool isUuid16(const GattAttribute& attribute, quint16 uuid)
{
    return CCommand::cmpUuid16(attribute.uuid, uuid) == 0;
}

QString uuidDescription(const QByteArray& uuid, int maxBytes)
{
    if (uuid.isEmpty() || uuid.size() > maxBytes)
        return QString();
    quint64 number = 0;
    CUtil::arrayToValue(0, uuid, number);
    return CCommand::statusWord("en_UUID", int(number));
}

bool readHandle(const QByteArray& bytes, int at, quint16* handle)
{
    if (at < 0 || bytes.size() < at + 2)
        return false;
    *handle = quint16(quint8(bytes.at(at)) | quint8(bytes.at(at + 1)) << 8);
    return true;
}

bool valueRow(const GattAttribute& declaration, GattAttribute* row)
{
    quint16 valueHandle = 0;
    if (!readHandle(declaration.value, 1, &valueHandle) || declaration.value.size() < 4)
        return false;
    const QByteArray uuid = declaration.value.mid(3);
    *row = GattAttribute();
    row->handle = valueHandle;
    row->uuidDescription = uuid.size() < 3 ? uuidDescription(uuid) : QString();
    row->uuid = paddedUuid(uuid);
    row->properties = quint8(declaration.value.at(0));
    return true;
}

QString handleText(quint16 handle)
{
    return QStringLiteral("0x%1").arg(handle, 4, 16, QLatin1Char('0'));
}

QString propertyNames(quint8 properties, const QString& separator)
{
    const QMetaEnum names = QMetaEnum::fromType<CCommand::en_PROPERTYES>();
    QStringList set;
    for (int i = 0; i < names.keyCount(); ++i) {
        if (properties & names.value(i))
            set.append(QString::fromLatin1(names.key(i)).replace(QLatin1Char('_'), QLatin1Char(' ')));
    }
    return set.join(separator);
}

QVariant cellData(const GattAttribute& attribute, int column, int role)
{
    if (role == Qt::ForegroundRole)
        return column == 3 ? QVariant(attribute.textColor) : QVariant();
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return QVariant();
    switch (column) {
    case 0:
        return handleText(attribute.handle).toUpper();
    case 1:
        return CCommand::uuidDisplayText(attribute.uuid).toUpper();
    case 2:
        return attribute.uuidDescription;
    case 3:
        return hexPairs(attribute.value, ':').toUpper();
    case 4:
        if (attribute.properties == 0)
            return role == Qt::DisplayRole ? QVariant(QString()) : QVariant();
        if (role == Qt::ToolTipRole)
            return propertyNames(attribute.properties, QStringLiteral(" | "));
        return QStringLiteral("0x%1").arg(attribute.properties, 2, 16, QLatin1Char('0'));
    default:
        return QVariant();
    }
}

QVariant headerData(int section, Qt::Orientation orientation, int role)
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    return kHeaders.value(section);
}

} // namespace GattAttributes
