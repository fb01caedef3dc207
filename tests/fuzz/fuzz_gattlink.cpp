// GATT on a link, from both sides at once: the host's GATT commands to a dongle (any opcode of
// module 03, any payload), attribute PDUs that reach the dongle's client from the far end, and
// PDUs that reach a device's attribute server from its client. Each is refused or answered,
// never a crash or a hang.

#include "fuzzinput.h"
#include "proto/simframe.h"
#include "simlink.h"

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

// Records of a kind byte (0: a command to the dongle, 1: a PDU to its client, 2: a PDU to the
// server), a length byte and that many bytes; a command's first byte is its opcode.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SimLink bench(SimLink::world(kWorld));

    FuzzInput input(data, size);
    while (!input.atEnd() && bench.link && bench.link->isOpen()) {
        const quint8 kind = input.byte() % 3;
        const QByteArray bytes = input.bytes(input.byte());
        if (kind == 0 && !bytes.isEmpty())
            bench.dongle.feed(SimFrame::build(SimFrame::Downlink, 0x03, quint8(bytes.at(0)), bytes.mid(1)));
        else if (kind == 1)
            bench.connections->received(bench.link, 0x0004, bytes);
        else if (kind == 2)
            bench.device->received(bench.link, 0x0004, bytes);
    }
    return 0;
}
