#include "gattclientengine.h"

#include <utility>

#include <QMap>

#include "air/att.h"
#include "connectionmanager.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"
#include "world/attributedatabase.h"

using SimFrame::le16;
using SimFrame::readLe16;
using SimFrame::u8;

namespace {

// The records of the list results, each as the tool's GATT page cuts it: fixed header, then a
// UUID or value whose length the header gives.
QByteArray serviceRecord(quint16 start, quint16 end, const QByteArray& uuid)
{
    return le16(start) + le16(end) + u8(uuid.size()) + uuid;
}

QByteArray includeRecord(quint16 handle, quint16 start, quint16 end, const QByteArray& uuid)
{
    return le16(handle) + le16(start) + le16(end) + u8(uuid.size()) + uuid;
}

QByteArray characteristicRecord(quint16 handle, quint16 valueHandle, quint8 properties, const QByteArray& uuid)
{
    return le16(handle) + le16(valueHandle) + u8(properties) + u8(uuid.size()) + uuid;
}

QByteArray descriptorRecord(quint16 handle, const QByteArray& uuid)
{
    return le16(handle) + u8(uuid.size()) + uuid;
}

// The two bytes after the handle, which the page skips, carry the offset the value starts at.
QByteArray readRecord(quint16 handle, int offset, const QByteArray& value)
{
    return le16(handle) + le16(offset) + le16(value.size()) + value;
}


// One entry of a response: a handle, a second handle (a group's end, a value handle) and data.
struct Entry {
    quint16 handle = 0;
    quint16 second = 0;
    QByteArray data;
};

// Read By Group Type and Read By Type answers: a length byte, then entries of that length, each a
// handle (and with `withEnd` a group end) and its value. Empty when malformed.
QVector<Entry> entries(const QByteArray& pdu, bool withEnd)
{
    QVector<Entry> list;
    const int header = withEnd ? 4 : 2;
    if (pdu.size() < 2)
        return list;
    const int length = quint8(pdu.at(1));
    if (length < header || (pdu.size() - 2) % length != 0)
        return list;
    for (int at = 2; at + length <= pdu.size(); at += length) {
        Entry entry;
        entry.handle = readLe16(pdu, at);
        entry.second = withEnd ? readLe16(pdu, at + 2) : 0;
        entry.data = pdu.mid(at + header, length - header);
        list.append(entry);
    }
    return list;
}

// Find Information: a format byte (1: 16-bit UUIDs, 2: 128-bit), then handles and UUIDs.
QVector<Entry> information(const QByteArray& pdu)
{
    QVector<Entry> list;
    if (pdu.size() < 2 || (pdu.at(1) != 1 && pdu.at(1) != 2))
        return list;
    const int length = pdu.at(1) == 1 ? 4 : 18;
    if ((pdu.size() - 2) % length != 0)
        return list;
    for (int at = 2; at + length <= pdu.size(); at += length)
        list.append({readLe16(pdu, at), 0, pdu.mid(at + 2, length - 2)});
    return list;
}

// Find By Type Value: found handles and their groups' ends.
QVector<Entry> handlesInformation(const QByteArray& pdu)
{
    QVector<Entry> list;
    if ((pdu.size() - 1) % 4 != 0)
        return list;
    for (int at = 1; at + 4 <= pdu.size(); at += 4)
        list.append({readLe16(pdu, at), readLe16(pdu, at + 2), QByteArray()});
    return list;
}

QByteArray rangeRequest(quint8 opcode, quint16 start, quint16 end, const QByteArray& tail = QByteArray())
{
    return u8(opcode) + le16(start) + le16(end) + tail;
}

} // namespace

struct GattClientEngine::Walk {
    int condix = 0;
    quint16 next = 1;
    quint16 end = 0xFFFF;
    std::function<QByteArray(quint16 start, quint16 end)> request;
    // Reports what a response holds and gives the last handle it covers; 0 when it is malformed.
    std::function<quint16(const QByteArray& pdu)> take;
    // 0: the range is done; Att::AttributeNotFound: nothing more in it; else the error that ended it.
    std::function<void(quint8 status)> done;
};

// Discover All Attributes: the services first, then, service by service, its includes, its
// characteristics and their descriptors; each service goes up whole, in handle order, once walked.
struct GattClientEngine::AllAttributes {
    struct Uplink {
        quint8 opcode = 0;
        Responder::Fields fields;
    };
    enum Stage { Services, Includes, Characteristics, Descriptors, Done };
    int condix = 0;
    Stage stage = Services;
    QVector<Entry> services; // handle, end, UUID
    int service = 0;
    QVector<Entry> characteristics; // of the service: declaration handle, value handle, declaration value
    int characteristic = -1;
    QMap<quint16, Uplink> found; // of the service, by handle
    quint8 status = 0; // how the walk over the services ended
};

GattClientEngine::GattClientEngine(VirtualDongle& dongle, ConnectionManager& connections)
    : Engine(dongle)
    , m_connections(connections)
{
    m_connections.setChannelHandler(Att::Channel, [this](int condix, const QByteArray& pdu) { received(condix, pdu); });
}

GattClientEngine::~GattClientEngine() = default;

void GattClientEngine::install(Router& router)
{
    router.add(0x03, 0x00, Router::WholePayload, [this](const Request& r) { exchangeMtu(r); });
    for (const quint8 opcode : {0x02, 0x04, 0x06, 0x08, 0x0A, 0x0C})
        router.add(0x03, opcode, Router::WholePayload, [this](const Request& r) { discover(r); });
    router.add(0x03, 0x29, Router::WholePayload, [this](const Request& r) { discoverAll(r); });
    router.add(0x03, 0x0E, Router::WholePayload, [this](const Request& r) { read(r, 0x0F, false); });
    router.add(0x03, 0x10, Router::WholePayload, [this](const Request& r) { readUsingUuid(r); });
    router.add(0x03, 0x12, Router::WholePayload, [this](const Request& r) { read(r, 0x13, true); });
    router.add(0x03, 0x14, Router::WholePayload, [this](const Request& r) { readMultiple(r); });
    router.add(0x03, 0x16, Router::WholePayload, [this](const Request& r) { writeWithoutResponse(r, false); });
    router.add(0x03, 0x18, Router::WholePayload, [this](const Request& r) { writeWithoutResponse(r, true); });
    router.add(0x03, 0x1A, Router::WholePayload, [this](const Request& r) { write(r, 0x1B); });
    router.add(0x03, 0x1C, Router::WholePayload, [this](const Request& r) { writeLong(r, 0x1D); });
    router.add(0x03, 0x1E, Router::WholePayload, [this](const Request& r) { reliableWrite(r); });
    router.add(0x03, 0x20, Router::WholePayload, [this](const Request& r) { read(r, 0x21, false); });
    router.add(0x03, 0x22, Router::WholePayload, [this](const Request& r) { read(r, 0x23, true); });
    router.add(0x03, 0x24, Router::WholePayload, [this](const Request& r) { write(r, 0x25); });
    router.add(0x03, 0x26, Router::WholePayload, [this](const Request& r) { writeLong(r, 0x27); });
}

// A reset ends the links without a word, and their procedures with them: the host that reset
// hears of none.
void GattClientEngine::reset()
{
    m_bearers.clear();
}

void GattClientEngine::linkOpened(int condix, Link*)
{
    Bearer& bearer = m_bearers[condix];
    bearer = Bearer();
    bearer.mtu = Att::DefaultMtu;
}

void GattClientEngine::linkClosed(int condix)
{
    const auto it = m_bearers.find(condix);
    if (it == m_bearers.end())
        return;
    std::deque<Procedure> procedures = std::move(it->second.procedures);
    m_bearers.erase(it);
    for (const Procedure& procedure : procedures)
        procedure.abort(StatusDisconnected);
}

int GattClientEngine::mtu(int condix) const
{
    const auto it = m_bearers.find(condix);
    return it == m_bearers.end() ? 0 : it->second.mtu;
}

bool GattClientEngine::accept(const Request& r, Procedure procedure)
{
    const auto it = m_bearers.find(r.number(QStringLiteral("condix")));
    if (it == m_bearers.end()) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidConnIdx);
        return false;
    }
    Bearer& bearer = it->second;
    if (int(bearer.procedures.size()) >= MaxProcedures) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusNoResources);
        m_dongle.sendLog(r.name() + QStringLiteral(": %1 procedures wait on the link already").arg(MaxProcedures));
        return false;
    }
    m_dongle.ack(r.module(), r.opcode(), 0);
    bearer.procedures.push_back(std::move(procedure));
    if (bearer.procedures.size() == 1) {
        // A copy: the procedure may end, and leave the queue, before its start returns.
        const std::function<void()> start = bearer.procedures.front().start;
        start();
    }
    return true;
}

bool GattClientEngine::hasLink(const Request& r)
{
    if (m_bearers.count(r.number(QStringLiteral("condix"))))
        return true;
    m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidConnIdx);
    return false;
}

void GattClientEngine::refuse(const Request& r, const QString& why)
{
    m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidParam);
    m_dongle.sendLog(r.name() + QStringLiteral(": ") + why);
}

void GattClientEngine::finish(int condix)
{
    const auto it = m_bearers.find(condix);
    if (it == m_bearers.end() || it->second.procedures.empty())
        return;
    it->second.procedures.pop_front();
    if (it->second.procedures.empty())
        return;
    const std::function<void()> start = it->second.procedures.front().start;
    start();
}

void GattClientEngine::request(int condix, const QByteArray& pdu, Then then)
{
    const auto it = m_bearers.find(condix);
    if (it == m_bearers.end())
        return;
    it->second.requestOpcode = quint8(pdu.at(0));
    it->second.then = std::move(then);
    m_connections.send(condix, Att::Channel, pdu);
}

void GattClientEngine::received(int condix, const QByteArray& pdu)
{
    const auto it = m_bearers.find(condix);
    if (it == m_bearers.end() || pdu.isEmpty())
        return;
    const quint8 opcode = quint8(pdu.at(0));
    if (opcode == Att::HandleValueNotification || opcode == Att::HandleValueIndication)
        return valueArrived(condix, pdu);
    if (Att::toServer(opcode)) {
        // The dongle serves no database of its own yet: a client at the far end is told so.
        if (!(opcode & 0x40) && opcode != Att::HandleValueConfirmation)
            m_connections.send(condix, Att::Channel, Att::error(opcode, 0, Att::RequestNotSupported));
        return;
    }
    Bearer& bearer = it->second;
    Answer answer;
    if (opcode == Att::ErrorResponse && pdu.size() == 5 && quint8(pdu.at(1)) == bearer.requestOpcode && pdu.at(4) != 0) {
        answer.error = quint8(pdu.at(4));
    } else if (bearer.requestOpcode != 0 && opcode == bearer.requestOpcode + 1) {
        answer.pdu = pdu;
    } else {
        m_dongle.sendLog(QStringLiteral("att: unexpected PDU %1 on link %2 dropped").arg(QString::fromLatin1(pdu.toHex())).arg(condix));
        return;
    }
    bearer.requestOpcode = 0;
    const Then then = std::exchange(bearer.then, {});
    then(answer);
}

// Notifications share the link with other bulk traffic and are missed when it is full, as a busy
// radio misses them; an indication always goes up, and its confirmation lets the server go on.
void GattClientEngine::valueArrived(int condix, const QByteArray& pdu)
{
    if (pdu.size() < 3)
        return;
    const bool indication = quint8(pdu.at(0)) == Att::HandleValueIndication;
    const QByteArray value = pdu.mid(3);
    // Header, condix, type, handle, value and checksum.
    if (indication || m_dongle.reserveBulk(5 + 4 + value.size() + 1)) {
        // The type is the client configuration bit that asked for the value.
        m_dongle.respond(0x03, 0x28, {{"condix", u8(condix)}, {"type", u8(indication ? 2 : 1)},
                                      {"handle", pdu.mid(1, 2)}, {"value", value}});
    }
    if (indication)
        m_connections.send(condix, Att::Channel, u8(Att::HandleValueConfirmation));
}

void GattClientEngine::list(quint8 opcode, int condix, quint8 status, const QVector<QByteArray>& records)
{
    QByteArray bytes;
    for (const QByteArray& record : records)
        bytes += record;
    m_dongle.respond(0x03, opcode, {{"condix", u8(condix)}, {"status", u8(status)},
                                    {"record_count", le16(records.size())}, {"records", bytes}});
}

void GattClientEngine::writeResult(quint8 opcode, int condix, quint8 status, quint16 handle)
{
    m_dongle.respond(0x03, opcode, {{"condix", u8(condix)}, {"status", u8(status)}, {"handle", le16(handle)}});
}

// ---- Exchange MTU ----

// The client may exchange once on a link; the stack keeps it to that.
void GattClientEngine::exchangeMtu(const Request& r)
{
    const int condix = r.number(QStringLiteral("condix"));
    const auto it = m_bearers.find(condix);
    if (it != m_bearers.end() && it->second.exchanged) {
        m_dongle.ack(0x03, 0x00, VirtualDongle::StatusDisallowed);
        m_dongle.sendLog(QStringLiteral("Exchange GATT MTU: link %1 has exchanged its MTU already").arg(condix));
        return;
    }
    const auto report = [this, condix](quint8 status) {
        m_dongle.respond(0x03, 0x01, {{"condix", u8(condix)}, {"status", u8(status)}, {"mtu", le16(qMax(Att::DefaultMtu, mtu(condix)))}});
    };
    accept(r, {[this, condix, report] {
                   m_bearers.at(condix).exchanged = true;
                   request(condix, u8(Att::ExchangeMtuRequest) + le16(Att::MaxMtu), [this, condix, report](const Answer& a) {
                       if (a.error == 0 && a.pdu.size() == 3)
                           m_bearers.at(condix).mtu = qBound(Att::DefaultMtu, int(readLe16(a.pdu, 1)), Att::MaxMtu);
                       report(a.error != 0 ? a.error : a.pdu.size() == 3 ? 0 : quint8(Att::InvalidPdu));
                       finish(condix);
                   });
               },
               report});
}

// ---- Discoveries ----

void GattClientEngine::walk(const std::shared_ptr<Walk>& w)
{
    request(w->condix, w->request(w->next, w->end), [this, w](const Answer& a) {
        if (a.error != 0)
            return w->done(a.error);
        const quint16 last = w->take(a.pdu);
        // A server that answers outside the range, or goes back, would keep the walk forever.
        if (last < w->next)
            return w->done(Att::InvalidPdu);
        if (last >= w->end)
            return w->done(0);
        w->next = quint16(last + 1);
        walk(w);
    });
}

// The discoveries of the command dialog: every response comes up as a list of its own, and the
// end of the range as a list without records whose status tells why it ended (10: nothing more
// found, as the server said it).
void GattClientEngine::discover(const Request& r)
{
    if (!hasLink(r))
        return;
    const quint8 opcode = r.opcode();
    const int condix = r.number(QStringLiteral("condix"));
    const quint8 result = quint8(opcode + 1);
    const auto w = std::make_shared<Walk>();
    w->condix = condix;
    if (opcode != 0x02 && opcode != 0x04) {
        w->next = quint16(r.number(QStringLiteral("start_handle")));
        w->end = quint16(r.number(QStringLiteral("end_handle")));
    }
    QByteArray uuid;
    if (opcode == 0x04 || opcode == 0x0A) {
        uuid = r.field(opcode == 0x04 ? QStringLiteral("service_uuid") : QStringLiteral("characteristic_uuid"));
        if (uuid.size() != 2 && uuid.size() != 16)
            return refuse(r, QStringLiteral("a UUID of %1 bytes; 2 or 16 expected").arg(uuid.size()));
    }
    const auto report = [this, condix, result](const QVector<QByteArray>& records) {
        if (!records.isEmpty())
            list(result, condix, 0, records);
    };
    switch (opcode) {
    case 0x02: // Discover All Primary Services
        w->request = [](quint16 s, quint16 e) { return rangeRequest(Att::ReadByGroupTypeRequest, s, e, le16(AttributeDatabase::PrimaryService)); };
        w->take = [report](const QByteArray& pdu) {
            QVector<QByteArray> records;
            quint16 last = 0;
            for (const Entry& e : entries(pdu, true)) {
                records.append(serviceRecord(e.handle, e.second, e.data));
                last = e.second;
            }
            report(records);
            return last;
        };
        break;
    case 0x04: // Discover Primary Services by UUID
        w->request = [uuid](quint16 s, quint16 e) {
            return rangeRequest(Att::FindByTypeValueRequest, s, e, le16(AttributeDatabase::PrimaryService) + uuid);
        };
        w->take = [report, uuid](const QByteArray& pdu) {
            QVector<QByteArray> records;
            quint16 last = 0;
            for (const Entry& e : handlesInformation(pdu)) {
                records.append(serviceRecord(e.handle, e.second, uuid));
                last = e.second;
            }
            report(records);
            return last;
        };
        break;
    case 0x06: // Find Include Service; a 128-bit included service's UUID is not in its declaration
        w->request = [](quint16 s, quint16 e) { return rangeRequest(Att::ReadByTypeRequest, s, e, le16(AttributeDatabase::Include)); };
        w->take = [report](const QByteArray& pdu) {
            QVector<QByteArray> records;
            quint16 last = 0;
            for (const Entry& e : entries(pdu, false)) {
                if (e.data.size() < 4)
                    return quint16(0);
                records.append(includeRecord(e.handle, readLe16(e.data, 0), readLe16(e.data, 2), e.data.mid(4)));
                last = e.handle;
            }
            report(records);
            return last;
        };
        break;
    case 0x08: // Discover All Characteristics
    case 0x0A: // Discover Characteristics by UUID: the server has no such search, the client filters
        w->request = [](quint16 s, quint16 e) {
            return rangeRequest(Att::ReadByTypeRequest, s, e, le16(AttributeDatabase::CharacteristicDeclaration));
        };
        w->take = [report, uuid](const QByteArray& pdu) {
            QVector<QByteArray> records;
            quint16 last = 0;
            for (const Entry& e : entries(pdu, false)) {
                if (e.data.size() < 5)
                    return quint16(0);
                if (uuid.isEmpty() || e.data.mid(3) == uuid)
                    records.append(characteristicRecord(e.handle, readLe16(e.data, 1), quint8(e.data.at(0)), e.data.mid(3)));
                last = e.handle;
            }
            report(records);
            return last;
        };
        break;
    default: // 0x0C, Discover All Characteristic Descriptors
        w->request = [](quint16 s, quint16 e) { return rangeRequest(Att::FindInformationRequest, s, e); };
        w->take = [report](const QByteArray& pdu) {
            QVector<QByteArray> records;
            quint16 last = 0;
            for (const Entry& e : information(pdu)) {
                records.append(descriptorRecord(e.handle, e.data));
                last = e.handle;
            }
            report(records);
            return last;
        };
    }
    w->done = [this, condix, result](quint8 status) {
        list(result, condix, status);
        finish(condix);
    };
    accept(r, {[this, w] { walk(w); }, [this, condix, result](quint8 status) { list(result, condix, status); }});
}

void GattClientEngine::discoverAll(const Request& r)
{
    const int condix = r.number(QStringLiteral("condix"));
    const auto all = std::make_shared<AllAttributes>();
    all->condix = condix;
    accept(r, {[this, all] { allAttributesNext(all); },
               [this, condix](quint8 status) { m_dongle.respond(0x03, 0x34, {{"condix", u8(condix)}, {"status", u8(status)}}); }});
}

// One step of the walk over the whole database; each walk of a range calls it again when done.
void GattClientEngine::allAttributesNext(const std::shared_ptr<AllAttributes>& all)
{
    const int condix = all->condix;
    const auto w = std::make_shared<Walk>();
    w->condix = condix;
    // A range that ran out of attributes is the normal end of it; another error ends everything.
    const auto next = [this, all](quint8 status) {
        if (status != 0 && status != Att::AttributeNotFound) {
            all->stage = AllAttributes::Done;
            all->status = status;
        }
        allAttributesNext(all);
    };
    const auto uplink = [all](quint16 handle, quint8 opcode, Responder::Fields fields) {
        all->found.insert(handle, {opcode, std::move(fields)});
    };

    if (all->stage == AllAttributes::Services) {
        w->request = [](quint16 s, quint16 e) { return rangeRequest(Att::ReadByGroupTypeRequest, s, e, le16(AttributeDatabase::PrimaryService)); };
        w->take = [all](const QByteArray& pdu) {
            quint16 last = 0;
            for (const Entry& e : entries(pdu, true)) {
                all->services.append(e);
                last = e.second;
            }
            return last;
        };
        w->done = [all, next](quint8 status) {
            all->status = status;
            all->stage = AllAttributes::Includes;
            next(status);
        };
        return walk(w);
    }

    // A service walked whole goes up: its declaration, then what it holds, in handle order.
    const auto flush = [this, all, condix] {
        const Entry& s = all->services.at(all->service);
        m_dongle.respond(0x03, 0x30, {{"condix", u8(condix)}, {"start_handle", le16(s.handle)},
                                      {"end_handle", le16(s.second)}, {"service_UUID", s.data}});
        for (const AllAttributes::Uplink& u : qAsConst(all->found))
            m_dongle.respond(0x03, u.opcode, u.fields);
        all->found.clear();
        all->characteristics.clear();
        all->characteristic = -1;
        ++all->service;
        all->stage = AllAttributes::Includes;
    };

    if (all->stage == AllAttributes::Descriptors) {
        // The range of the next characteristic with room for descriptors after its value.
        while (++all->characteristic < all->characteristics.size()) {
            const int c = all->characteristic;
            const quint16 first = quint16(all->characteristics.at(c).second + 1);
            const quint16 last = c + 1 < all->characteristics.size() ? quint16(all->characteristics.at(c + 1).handle - 1)
                                                                     : all->services.at(all->service).second;
            if (first == 0 || first > last)
                continue;
            w->next = first;
            w->end = last;
            w->request = [](quint16 s, quint16 e) { return rangeRequest(Att::FindInformationRequest, s, e); };
            w->take = [condix, uplink](const QByteArray& pdu) {
                quint16 lastHandle = 0;
                for (const Entry& e : information(pdu)) {
                    uplink(e.handle, 0x33, {{"condix", u8(condix)}, {"handle", le16(e.handle)}, {"descriptor_UUID", e.data}});
                    lastHandle = e.handle;
                }
                return lastHandle;
            };
            w->done = next;
            return walk(w);
        }
        flush();
    }

    if (all->stage == AllAttributes::Includes && all->service >= all->services.size())
        all->stage = AllAttributes::Done;
    if (all->stage == AllAttributes::Done) {
        m_dongle.respond(0x03, 0x34, {{"condix", u8(condix)}, {"status", u8(all->status)}});
        return finish(condix);
    }

    const Entry& service = all->services.at(all->service);
    w->next = service.handle;
    w->end = service.second;
    if (all->stage == AllAttributes::Includes) {
        all->stage = AllAttributes::Characteristics;
        w->request = [](quint16 s, quint16 e) { return rangeRequest(Att::ReadByTypeRequest, s, e, le16(AttributeDatabase::Include)); };
        w->take = [condix, uplink](const QByteArray& pdu) {
            quint16 last = 0;
            for (const Entry& e : entries(pdu, false)) {
                if (e.data.size() < 4)
                    return quint16(0);
                uplink(e.handle, 0x31, {{"condix", u8(condix)}, {"attr_hdl", le16(e.handle)}, {"start_handle", e.data.mid(0, 2)},
                                        {"end_handle", e.data.mid(2, 2)}, {"service_UUID", e.data.mid(4)}});
                last = e.handle;
            }
            return last;
        };
    } else {
        all->stage = AllAttributes::Descriptors;
        w->request = [](quint16 s, quint16 e) {
            return rangeRequest(Att::ReadByTypeRequest, s, e, le16(AttributeDatabase::CharacteristicDeclaration));
        };
        w->take = [all, condix, uplink](const QByteArray& pdu) {
            quint16 last = 0;
            for (const Entry& e : entries(pdu, false)) {
                if (e.data.size() < 5)
                    return quint16(0);
                all->characteristics.append({e.handle, readLe16(e.data, 1), e.data});
                uplink(e.handle, 0x32, {{"condix", u8(condix)}, {"handle", le16(e.handle)}, {"properties", e.data.left(1)},
                                        {"value_handle", e.data.mid(1, 2)}, {"char_UUID", e.data.mid(3)}});
                last = e.handle;
            }
            return last;
        };
    }
    w->done = next;
    walk(w);
}

// ---- Reads ----

// A long read goes on with blobs while the server fills its answers; the value comes up whole.
// A plain read is one request, whatever the value's length.
void GattClientEngine::read(const Request& r, quint8 result, bool isLong)
{
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 handle = quint16(r.number(QStringLiteral("attrible_handle")));
    const int offset = isLong ? r.number(QStringLiteral("offset")) : 0;
    const auto value = std::make_shared<QByteArray>();
    // The step holds itself only weakly; the request out holds it until the answer comes.
    const auto step = std::make_shared<std::function<void()>>();
    const std::weak_ptr<std::function<void()>> weak = step;
    *step = [this, condix, handle, offset, result, value, isLong, weak] {
        const int at = offset + value->size();
        const QByteArray pdu = at == 0 ? u8(Att::ReadRequest) + le16(handle) : u8(Att::ReadBlobRequest) + le16(handle) + le16(at);
        request(condix, pdu, [this, condix, handle, offset, result, value, isLong, self = weak.lock()](const Answer& a) {
            if (a.error != 0) {
                list(result, condix, a.error);
                return finish(condix);
            }
            const QByteArray part = a.pdu.mid(1);
            value->append(part);
            if (isLong && part.size() == mtu(condix) - 1 && offset + value->size() < Att::MaxValueBytes)
                return (*self)();
            list(result, condix, 0, {readRecord(handle, offset, *value)});
            finish(condix);
        });
    };
    accept(r, {[step] { (*step)(); }, [this, condix, result](quint8 status) { list(result, condix, status); }});
}

void GattClientEngine::readUsingUuid(const Request& r)
{
    if (!hasLink(r))
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 start = quint16(r.number(QStringLiteral("start_handle")));
    const quint16 end = quint16(r.number(QStringLiteral("end_handle")));
    const QByteArray uuid = r.field(QStringLiteral("characteristic_uuid"));
    if (uuid.size() != 2 && uuid.size() != 16)
        return refuse(r, QStringLiteral("a UUID of %1 bytes; 2 or 16 expected").arg(uuid.size()));
    accept(r, {[this, condix, start, end, uuid] {
                   request(condix, rangeRequest(Att::ReadByTypeRequest, start, end, uuid), [this, condix](const Answer& a) {
                       QVector<QByteArray> records;
                       for (const Entry& e : entries(a.pdu, false))
                           records.append(readRecord(e.handle, 0, e.data));
                       list(0x11, condix, a.error != 0 ? a.error : records.isEmpty() ? quint8(Att::InvalidPdu) : 0, records);
                       finish(condix);
                   });
               },
               [this, condix](quint8 status) { list(0x11, condix, status); }});
}

// The server answers with the values back to back; the lengths that the host gave cut them apart,
// the last one taking what is left.
void GattClientEngine::readMultiple(const Request& r)
{
    if (!hasLink(r))
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const int count = r.number(QStringLiteral("handle_count"));
    const QByteArray info = r.field(QStringLiteral("attrible_handle_info"));
    if (count < 2 || info.size() != count * 4)
        return refuse(r, QStringLiteral("%1 handles in %2 bytes; at least 2 of 4 bytes each expected").arg(count).arg(info.size()));
    QByteArray handles;
    QVector<QPair<quint16, int>> parts;
    for (int at = 0; at < info.size(); at += 4) {
        handles += info.mid(at, 2);
        parts.append({readLe16(info, at), readLe16(info, at + 2)});
    }
    accept(r, {[this, condix, handles, parts] {
                   request(condix, u8(Att::ReadMultipleRequest) + handles, [this, condix, parts](const Answer& a) {
                       if (a.error != 0) {
                           list(0x15, condix, a.error);
                           return finish(condix);
                       }
                       QVector<QByteArray> records;
                       int at = 1;
                       for (int i = 0; i < parts.size(); ++i) {
                           const int length = i + 1 < parts.size() ? parts.at(i).second : a.pdu.size() - at;
                           records.append(readRecord(parts.at(i).first, 0, a.pdu.mid(at, length)));
                           at += length;
                       }
                       list(0x15, condix, 0, records);
                       finish(condix);
                   });
               },
               [this, condix](quint8 status) { list(0x15, condix, status); }});
}

// ---- Writes ----

// A command goes at the next event and is never answered: the result says it went.
void GattClientEngine::writeWithoutResponse(const Request& r, bool isSigned)
{
    if (!hasLink(r))
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 handle = quint16(r.number(QStringLiteral("attrible_handle")));
    const QByteArray value = r.field(QStringLiteral("value"));
    const quint8 result = isSigned ? 0x19 : 0x17;
    const int room = mtu(condix) - 3 - (isSigned ? Att::SignatureBytes : 0);
    if (value.size() > room) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidAttValueLength);
        m_dongle.sendLog(r.name() + QStringLiteral(": %1 bytes do not fit the MTU's %2").arg(value.size()).arg(room));
        return;
    }
    accept(r, {[this, condix, handle, value, isSigned, result] {
                   if (isSigned) {
                       // Signing takes the key of a bond, and no link of the simulator is bonded.
                       m_dongle.sendLog(QStringLiteral("Signed Write: link %1 has no signing key").arg(condix));
                       writeResult(result, condix, StatusSignedWriteFailed, handle);
                   } else {
                       m_connections.send(condix, Att::Channel, u8(Att::WriteCommand) + le16(handle) + value);
                       writeResult(result, condix, 0, handle);
                   }
                   finish(condix);
               },
               [this, condix, handle, result](quint8 status) { writeResult(result, condix, status, handle); }});
}

void GattClientEngine::write(const Request& r, quint8 result)
{
    if (!hasLink(r))
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 handle = quint16(r.number(QStringLiteral("attrible_handle")));
    const QByteArray value = r.field(QStringLiteral("value"));
    if (value.size() > mtu(condix) - 3) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidAttValueLength);
        m_dongle.sendLog(r.name() + QStringLiteral(": %1 bytes do not fit the MTU's %2; a long write takes them")
                                        .arg(value.size()).arg(mtu(condix) - 3));
        return;
    }
    accept(r, {[this, condix, handle, value, result] {
                   request(condix, u8(Att::WriteRequest) + le16(handle) + value, [this, condix, handle, result](const Answer& a) {
                       writeResult(result, condix, a.error, handle);
                       finish(condix);
                   });
               },
               [this, condix, handle, result](quint8 status) { writeResult(result, condix, status, handle); }});
}

void GattClientEngine::writeLong(const Request& r, quint8 result)
{
    if (!hasLink(r))
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const quint16 handle = quint16(r.number(QStringLiteral("attrible_handle")));
    const int offset = r.number(QStringLiteral("offset"));
    const QByteArray value = r.field(QStringLiteral("value"));
    if (offset + value.size() > Att::MaxValueBytes) {
        m_dongle.ack(r.module(), r.opcode(), VirtualDongle::StatusInvalidAttValueLength);
        m_dongle.sendLog(r.name() + QStringLiteral(": %1 bytes at offset %2 pass the %3 an attribute holds")
                                        .arg(value.size()).arg(offset).arg(Att::MaxValueBytes));
        return;
    }
    accept(r, {[this, condix, handle, offset, value, result] {
                   // Parts of the most that a prepared write carries.
                   const int room = mtu(condix) - 5;
                   QVector<QByteArray> parts;
                   int at = 0;
                   do {
                       parts.append(le16(handle) + le16(offset + at) + value.mid(at, room));
                       at += room;
                   } while (at < value.size());
                   prepareAndExecute(condix, parts, [this, condix, handle, result](quint8 status, quint16) {
                       writeResult(result, condix, status, handle);
                       finish(condix);
                   });
               },
               [this, condix, handle, result](quint8 status) { writeResult(result, condix, status, handle); }});
}

// The rows as the host lists them: handle, offset, value length and value, each little-endian.
void GattClientEngine::reliableWrite(const Request& r)
{
    if (!hasLink(r))
        return;
    const int condix = r.number(QStringLiteral("condix"));
    const QByteArray rows = r.field(QStringLiteral("attrible_handle_list"));
    QVector<QByteArray> parts;
    for (int at = 0; at < rows.size();) {
        if (rows.size() - at < 6 || rows.size() - at - 6 < readLe16(rows, at + 4))
            return refuse(r, QStringLiteral("a row cut short at byte %1").arg(at));
        const int length = readLe16(rows, at + 4);
        if (length > mtu(condix) - 5)
            return refuse(r, QStringLiteral("a value of %1 bytes does not fit a prepared write").arg(length));
        parts.append(rows.mid(at, 4) + rows.mid(at + 6, length));
        at += 6 + length;
    }
    if (parts.isEmpty())
        return refuse(r, QStringLiteral("no rows"));
    const quint16 first = readLe16(parts.first(), 0);
    accept(r, {[this, condix, parts] {
                   prepareAndExecute(condix, parts, [this, condix](quint8 status, quint16 handle) {
                       writeResult(0x1F, condix, status, handle);
                       finish(condix);
                   });
               },
               [this, condix, first](quint8 status) { writeResult(0x1F, condix, status, first); }});
}

void GattClientEngine::prepareAndExecute(int condix, const QVector<QByteArray>& parts,
                                          std::function<void(quint8, quint16)> done)
{
    // A refusal cancels what the server holds so far, and the result names the part it concerns.
    const auto cancel = [this, condix, done](quint8 status, quint16 handle) {
        request(condix, u8(Att::ExecuteWriteRequest) + u8(0), [done, status, handle](const Answer&) { done(status, handle); });
    };
    const auto index = std::make_shared<int>(0);
    // The step holds itself only weakly; the request out holds it until the answer comes.
    const auto step = std::make_shared<std::function<void()>>();
    const std::weak_ptr<std::function<void()>> weak = step;
    *step = [this, condix, parts, index, weak, cancel, done] {
        const QByteArray part = parts.at(*index);
        request(condix, u8(Att::PrepareWriteRequest) + part,
                [this, condix, parts, index, cancel, done, part, self = weak.lock()](const Answer& a) {
                    const quint16 handle = readLe16(part, 0);
                    if (a.error != 0)
                        return cancel(a.error, handle);
                    if (a.pdu.mid(1) != part)
                        return cancel(StatusWriteFailed, handle);
                    if (++*index < parts.size())
                        return (*self)();
                    request(condix, u8(Att::ExecuteWriteRequest) + u8(1), [done, parts](const Answer& executed) {
                        done(executed.error, readLe16(parts.first(), 0));
                    });
                });
    };
    (*step)();
}
