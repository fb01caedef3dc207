#include "attributeserver.h"

#include <utility>

#include <QTimer>

#include "att.h"
#include "proto/simframe.h"
#include "world/attributedatabase.h"

using SimFrame::le16;
using SimFrame::readLe16;
using SimFrame::u8;

namespace {

// A UUID in wire order, 16-bit ones widened on the Bluetooth base, so that both forms compare.
QByteArray fullUuid(const QByteArray& uuid)
{
    if (uuid.size() != 2)
        return uuid;
    QByteArray full = QByteArray::fromHex("FB349B5F80000080001000000000000000");
    full.resize(16);
    full[12] = uuid.at(0);
    full[13] = uuid.at(1);
    return full;
}


} // namespace

AttributeServer::AttributeServer(AttributeDatabase* database, quint32 seed, QObject* parent)
    : QObject(parent)
    , m_database(database)
    , m_random(seed)
{
}

AttributeServer::~AttributeServer() = default;

void AttributeServer::linkUp(Link* link, Link::End end)
{
    Client& client = m_clients[link];
    client.link = link;
    client.end = end;
    client.mtu = Att::DefaultMtu;
}

void AttributeServer::linkDown(Link* link)
{
    const auto it = m_clients.find(link);
    if (it == m_clients.end())
        return;
    qDeleteAll(it->timers);
    m_clients.erase(it);
    m_database->forget(link);
}

int AttributeServer::mtu(const Link* link) const
{
    return m_clients.value(link).mtu;
}

void AttributeServer::send(Client& client, const QByteArray& pdu)
{
    if (client.link)
        client.link->send(client.end, Att::Channel, pdu);
}

void AttributeServer::received(Link* link, const QByteArray& pdu)
{
    const auto it = m_clients.find(link);
    if (it == m_clients.end() || pdu.isEmpty())
        return;
    Client& client = *it;
    const quint8 opcode = quint8(pdu.at(0));
    switch (opcode) {
    case Att::ExchangeMtuRequest:
        return exchangeMtu(client, pdu);
    case Att::FindInformationRequest:
        return findInformation(client, pdu);
    case Att::FindByTypeValueRequest:
        return findByTypeValue(client, pdu);
    case Att::ReadByTypeRequest:
        return readByType(client, pdu);
    case Att::ReadRequest:
    case Att::ReadBlobRequest:
        return read(client, pdu);
    case Att::ReadMultipleRequest:
        return readMultiple(client, pdu);
    case Att::ReadByGroupTypeRequest:
        return readByGroupType(client, pdu);
    case Att::WriteRequest:
    case Att::WriteCommand:
    case Att::SignedWriteCommand:
        return write(client, pdu);
    case Att::PrepareWriteRequest:
        return prepareWrite(client, pdu);
    case Att::ExecuteWriteRequest:
        return executeWrite(client, pdu);
    case Att::HandleValueConfirmation:
        return confirmed(client);
    default:
        // A command the server does not know is ignored; a request is refused.
        if (Att::toServer(opcode) && !(opcode & 0x40))
            send(client, Att::error(opcode, 0, Att::RequestNotSupported));
    }
}

void AttributeServer::exchangeMtu(Client& client, const QByteArray& pdu)
{
    if (pdu.size() != 3)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    client.mtu = qBound(Att::DefaultMtu, int(readLe16(pdu, 1)), Att::MaxMtu);
    send(client, char(Att::ExchangeMtuResponse) + le16(Att::MaxMtu));
}

bool AttributeServer::range(Client& client, const QByteArray& pdu, quint16* start, quint16* end)
{
    *start = readLe16(pdu, 1);
    *end = readLe16(pdu, 3);
    if (*start == 0 || *start > *end) {
        send(client, Att::error(pdu.at(0), *start, Att::InvalidHandle));
        return false;
    }
    return true;
}

void AttributeServer::findInformation(Client& client, const QByteArray& pdu)
{
    quint16 start = 0;
    quint16 end = 0;
    if (pdu.size() != 5)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    if (!range(client, pdu, &start, &end))
        return;
    QByteArray pairs;
    int uuidBytes = 0;
    for (int h = start; h <= end; ++h) {
        const AttributeDatabase::Attribute* a = m_database->attribute(quint16(h));
        if (!a)
            break;
        // One response holds UUIDs of one size only.
        if (uuidBytes != 0 && a->type.size() != uuidBytes)
            break;
        if (2 + pairs.size() + 2 + a->type.size() > client.mtu)
            break;
        uuidBytes = a->type.size();
        pairs += le16(h) + a->type;
    }
    if (pairs.isEmpty())
        return send(client, Att::error(pdu.at(0), start, Att::AttributeNotFound));
    send(client, u8(Att::FindInformationResponse) + u8(uuidBytes == 2 ? 1 : 2) + pairs);
}

void AttributeServer::findByTypeValue(Client& client, const QByteArray& pdu)
{
    quint16 start = 0;
    quint16 end = 0;
    if (pdu.size() < 7)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    if (!range(client, pdu, &start, &end))
        return;
    const QByteArray type = pdu.mid(5, 2);
    const QByteArray value = pdu.mid(7);
    QByteArray found;
    for (int h = start; h <= end; ++h) {
        const AttributeDatabase::Attribute* a = m_database->attribute(quint16(h));
        if (!a || 1 + found.size() + 4 > client.mtu)
            break;
        if (a->type != type || valueFor(client, a->handle) != value)
            continue;
        const quint16 groupEnd = AttributeDatabase::isGroupType(a->type) ? m_database->serviceEnd(a->handle) : a->handle;
        found += le16(h) + le16(groupEnd);
    }
    if (found.isEmpty())
        return send(client, Att::error(pdu.at(0), start, Att::AttributeNotFound));
    send(client, char(Att::FindByTypeValueResponse) + found);
}

void AttributeServer::readByType(Client& client, const QByteArray& pdu)
{
    quint16 start = 0;
    quint16 end = 0;
    if (pdu.size() != 7 && pdu.size() != 21)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    if (!range(client, pdu, &start, &end))
        return;
    const QByteArray type = fullUuid(pdu.mid(5));
    QByteArray pairs;
    int length = -1;
    for (int h = start; h <= end; ++h) {
        const AttributeDatabase::Attribute* a = m_database->attribute(quint16(h));
        if (!a)
            break;
        if (fullUuid(a->type) != type)
            continue;
        // The first match that may not be read is the answer; a later one ends the list.
        const quint8 error = readError(a->handle);
        if (error != 0) {
            if (pairs.isEmpty())
                return send(client, Att::error(pdu.at(0), a->handle, error));
            break;
        }
        const QByteArray value = valueFor(client, a->handle).left(qMin(client.mtu - 4, 253));
        if (length >= 0 && value.size() != length)
            break;
        if (2 + pairs.size() + 2 + value.size() > client.mtu)
            break;
        length = value.size();
        pairs += le16(h) + value;
    }
    if (length < 0)
        return send(client, Att::error(pdu.at(0), start, Att::AttributeNotFound));
    send(client, u8(Att::ReadByTypeResponse) + u8(2 + length) + pairs);
}

void AttributeServer::read(Client& client, const QByteArray& pdu)
{
    const bool blob = quint8(pdu.at(0)) == Att::ReadBlobRequest;
    if (pdu.size() != (blob ? 5 : 3))
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    const quint16 handle = readLe16(pdu, 1);
    const quint8 error = readError(handle);
    if (error != 0)
        return send(client, Att::error(pdu.at(0), handle, error));
    const QByteArray value = valueFor(client, handle);
    const int offset = blob ? readLe16(pdu, 3) : 0;
    if (offset > value.size())
        return send(client, Att::error(pdu.at(0), handle, Att::InvalidOffset));
    send(client, char(blob ? Att::ReadBlobResponse : Att::ReadResponse) + value.mid(offset, client.mtu - 1));
}

void AttributeServer::readMultiple(Client& client, const QByteArray& pdu)
{
    if (pdu.size() < 5 || pdu.size() % 2 == 0)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    QByteArray values;
    for (int at = 1; at < pdu.size(); at += 2) {
        const quint16 handle = readLe16(pdu, at);
        const quint8 error = readError(handle);
        if (error != 0)
            return send(client, Att::error(pdu.at(0), handle, error));
        values += valueFor(client, handle);
    }
    send(client, char(Att::ReadMultipleResponse) + values.left(client.mtu - 1));
}

void AttributeServer::readByGroupType(Client& client, const QByteArray& pdu)
{
    quint16 start = 0;
    quint16 end = 0;
    if (pdu.size() != 7 && pdu.size() != 21)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    if (!range(client, pdu, &start, &end))
        return;
    const QByteArray type = fullUuid(pdu.mid(5));
    if (type != fullUuid(le16(AttributeDatabase::PrimaryService)) && type != fullUuid(le16(AttributeDatabase::SecondaryService)))
        return send(client, Att::error(pdu.at(0), start, Att::UnsupportedGroupType));
    QByteArray groups;
    int uuidBytes = 0;
    for (int h = start; h <= end; ++h) {
        const AttributeDatabase::Attribute* a = m_database->attribute(quint16(h));
        if (!a)
            break;
        if (fullUuid(a->type) != type)
            continue;
        if ((uuidBytes != 0 && a->value.size() != uuidBytes) || 2 + groups.size() + 4 + a->value.size() > client.mtu)
            break;
        uuidBytes = a->value.size();
        groups += le16(h) + le16(m_database->serviceEnd(a->handle)) + a->value;
    }
    if (groups.isEmpty())
        return send(client, Att::error(pdu.at(0), start, Att::AttributeNotFound));
    send(client, u8(Att::ReadByGroupTypeResponse) + u8(4 + uuidBytes) + groups);
}

quint8 AttributeServer::readError(quint16 handle) const
{
    const AttributeDatabase::Attribute* a = m_database->attribute(handle);
    if (!a)
        return Att::InvalidHandle;
    // A characteristic's value is read as its properties allow; declarations and descriptors are
    // open to every client.
    if (a->valueHandle == a->handle && !(a->properties & AttributeDatabase::Read))
        return Att::ReadNotPermitted;
    return 0;
}

quint8 AttributeServer::writeError(quint16 handle, quint8 opcode, const QByteArray& value) const
{
    const AttributeDatabase::Attribute* a = m_database->attribute(handle);
    if (!a)
        return Att::InvalidHandle;
    if (a->valueHandle == a->handle) {
        const quint8 needed = opcode == Att::WriteCommand         ? AttributeDatabase::WriteWithoutResponse
                              : opcode == Att::SignedWriteCommand ? AttributeDatabase::AuthenticatedSignedWrites
                                                                  : AttributeDatabase::Write;
        if (!(a->properties & needed))
            return Att::WriteNotPermitted;
        return value.size() > Att::MaxValueBytes ? Att::InvalidAttributeValueLength : 0;
    }
    if (a->type != le16(AttributeDatabase::ClientConfiguration))
        return Att::WriteNotPermitted; // declarations, and descriptors that the file gave
    if (value.size() != 2)
        return Att::InvalidAttributeValueLength;
    // Only what the characteristic does may be switched on.
    const quint8 properties = m_database->attribute(a->valueHandle)->properties;
    const quint16 allowed = (properties & AttributeDatabase::Notify ? 1 : 0) | (properties & AttributeDatabase::Indicate ? 2 : 0);
    return readLe16(value, 0) & ~allowed ? Att::ValueNotAllowed : 0;
}

QByteArray AttributeServer::valueFor(const Client& client, quint16 handle) const
{
    const AttributeDatabase::Attribute* a = m_database->attribute(handle);
    if (!a)
        return QByteArray();
    if (a->valueHandle != a->handle && a->type == le16(AttributeDatabase::ClientConfiguration))
        return le16(m_database->clientConfiguration(client.link, handle));
    return a->value;
}

// Write commands are never answered, not even with an error.
void AttributeServer::write(Client& client, const QByteArray& pdu)
{
    const quint8 opcode = quint8(pdu.at(0));
    const bool answered = opcode == Att::WriteRequest;
    const int tail = opcode == Att::SignedWriteCommand ? Att::SignatureBytes : 0;
    if (pdu.size() < 3 + tail) {
        if (answered)
            send(client, Att::error(opcode, 0, Att::InvalidPdu));
        return;
    }
    const quint16 handle = readLe16(pdu, 1);
    const QByteArray value = pdu.mid(3, pdu.size() - 3 - tail);
    const quint8 error = writeError(handle, opcode, value);
    if (error != 0) {
        if (answered)
            send(client, Att::error(opcode, handle, error));
        return;
    }
    apply(client, handle, value);
    if (answered)
        send(client, QByteArray(1, char(Att::WriteResponse)));
}

void AttributeServer::prepareWrite(Client& client, const QByteArray& pdu)
{
    if (pdu.size() < 5)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    const quint16 handle = readLe16(pdu, 1);
    // Whether the client may write at all is known now; lengths only once the parts are whole.
    const quint8 error = writeError(handle, Att::WriteRequest, QByteArray(2, 0));
    if (error != 0 && error != Att::InvalidAttributeValueLength && error != Att::ValueNotAllowed)
        return send(client, Att::error(pdu.at(0), handle, error));
    if (client.prepared.size() >= MaxPreparedWrites)
        return send(client, Att::error(pdu.at(0), handle, Att::PrepareQueueFull));
    client.prepared.append({handle, readLe16(pdu, 3), pdu.mid(5)});
    send(client, char(Att::PrepareWriteResponse) + pdu.mid(1));
}

// The prepared parts are checked whole before any is taken, so that a refused queue changes
// nothing.
void AttributeServer::executeWrite(Client& client, const QByteArray& pdu)
{
    if (pdu.size() != 2 || quint8(pdu.at(1)) > 1)
        return send(client, Att::error(pdu.at(0), 0, Att::InvalidPdu));
    const QVector<PreparedWrite> prepared = std::exchange(client.prepared, {});
    if (pdu.at(1) == 0)
        return send(client, QByteArray(1, char(Att::ExecuteWriteResponse)));
    QVector<quint16> order;
    QHash<quint16, QByteArray> values;
    for (const PreparedWrite& write : prepared) {
        if (!values.contains(write.handle)) {
            order.append(write.handle);
            values.insert(write.handle, valueFor(client, write.handle));
        }
        QByteArray& value = values[write.handle];
        if (write.offset > value.size())
            return send(client, Att::error(pdu.at(0), write.handle, Att::InvalidOffset));
        value = value.left(write.offset) + write.part;
    }
    for (const quint16 handle : qAsConst(order)) {
        const quint8 error = writeError(handle, Att::WriteRequest, values.value(handle));
        if (error != 0)
            return send(client, Att::error(pdu.at(0), handle, error));
    }
    for (const quint16 handle : qAsConst(order))
        apply(client, handle, values.value(handle));
    send(client, QByteArray(1, char(Att::ExecuteWriteResponse)));
}

void AttributeServer::apply(Client& client, quint16 handle, const QByteArray& value)
{
    const AttributeDatabase::Attribute* a = m_database->attribute(handle);
    if (a->valueHandle == a->handle || a->type != le16(AttributeDatabase::ClientConfiguration)) {
        m_database->setValue(handle, value);
        return;
    }
    m_database->setClientConfiguration(client.link, handle, readLe16(value, 0));
    configure(client, handle);
}

// A client configuration starts the measurements of its characteristic on this link, or stops
// them; notifications win where a client switched on both.
void AttributeServer::configure(Client& client, quint16 configurationHandle)
{
    const quint16 valueHandle = m_database->attribute(configurationHandle)->valueHandle;
    const int every = m_database->attribute(valueHandle)->notifyEveryMs;
    QTimer* timer = client.timers.value(valueHandle);
    if (m_database->clientConfiguration(client.link, configurationHandle) == 0 || every == 0) {
        delete timer;
        client.timers.remove(valueHandle);
        client.dueIndications.removeAll(valueHandle);
        return;
    }
    if (timer)
        return;
    timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(every);
    const Link* link = client.link;
    connect(timer, &QTimer::timeout, this, [this, link, configurationHandle] {
        const auto it = m_clients.find(link);
        if (it != m_clients.end())
            measure(*it, configurationHandle);
    });
    client.timers.insert(valueHandle, timer);
    timer->start();
}

void AttributeServer::measure(Client& client, quint16 configurationHandle)
{
    const quint16 valueHandle = m_database->attribute(configurationHandle)->valueHandle;
    if (m_database->clientConfiguration(client.link, configurationHandle) & 1) {
        m_database->vary(valueHandle, m_random);
        const QByteArray value = m_database->attribute(valueHandle)->value.left(client.mtu - 3);
        send(client, char(Att::HandleValueNotification) + le16(valueHandle) + value);
        return;
    }
    if (client.awaitingConfirmation) {
        if (!client.dueIndications.contains(valueHandle))
            client.dueIndications.append(valueHandle);
        return;
    }
    indicate(client, valueHandle);
}

void AttributeServer::indicate(Client& client, quint16 valueHandle)
{
    m_database->vary(valueHandle, m_random);
    const QByteArray value = m_database->attribute(valueHandle)->value.left(client.mtu - 3);
    client.awaitingConfirmation = true;
    send(client, char(Att::HandleValueIndication) + le16(valueHandle) + value);
}

void AttributeServer::confirmed(Client& client)
{
    if (!client.awaitingConfirmation)
        return;
    client.awaitingConfirmation = false;
    if (!client.dueIndications.isEmpty())
        indicate(client, client.dueIndications.takeFirst());
}
