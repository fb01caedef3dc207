// GATT on a link, from both sides at once: the host's GATT commands to a dongle (any opcode of
// module 03, any payload), attribute PDUs that reach the dongle's client from the far end, and
// PDUs that reach a device's attribute server from its client. Each is refused or answered,
// never a crash or a hang.

#include <memory>

#include <QCoreApplication>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/virtualdongle.h"
#include "fuzzinput.h"
#include "proto/responder.h"
#include "proto/simframe.h"
#include "world/worldloader.h"

namespace {

// One service of each kind of characteristic the server treats apart.
const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01", "services": [
    {"uuid": "1800", "characteristics": [{"uuid": "2A00", "properties": ["read"], "value": "4142"}]},
    {"uuid": "0000180D-0000-1000-8000-00805F9B34FB", "characteristics": [
        {"uuid": "2A37", "properties": ["notify", "indicate"], "value": "0048", "notifyEveryMs": 10,
         "vary": {"at": 1, "bytes": 1, "min": 0, "max": 255, "step": 3}},
        {"uuid": "2A39", "properties": ["read", "write", "writeWithoutResponse", "authenticatedSignedWrites"], "value": "00",
         "descriptors": [{"uuid": "2901", "value": "41"}]}]}]}]})";

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    Responder::setChecking(false);
    return 0;
}

// Records of a kind byte (0: a command to the dongle, 1: a PDU to its client, 2: a PDU to the
// server), a length byte and that many bytes; a command's first byte is its opcode.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QVector<VirtualAdvertiser> world;
    if (world.isEmpty())
        WorldLoader(QStringLiteral("fuzz.json")).parse(kWorld, &world);
    VirtualAir air;
    air.setWorld(world);
    VirtualDongle dongle(0, &air);
    dongle.feed(QByteArray::fromHex("AA0001000055"));
    ConnectionManager* connections = dongle.connections();
    air.connectTo({connections, QByteArray::fromHex("010000000000"), 0}, air.advertisers().at(0), Link::Parameters());
    Link* link = air.findChild<Link*>();
    Peer* device = air.advertisers().at(0).peer;

    FuzzInput input(data, size);
    while (!input.atEnd() && link && link->isOpen()) {
        const quint8 kind = input.byte() % 3;
        const QByteArray bytes = input.bytes(input.byte());
        if (kind == 0 && !bytes.isEmpty())
            dongle.feed(SimFrame::build(SimFrame::Downlink, 0x03, quint8(bytes.at(0)), bytes.mid(1)));
        else if (kind == 1)
            connections->received(link, 0x0004, bytes);
        else if (kind == 2)
            device->received(link, 0x0004, bytes);
    }
    return 0;
}
