// Pairing on a link, from both sides at once: the host's security commands to a dongle (any
// opcode of module 02, any payload), security manager PDUs that reach the dongle from the far
// end, and PDUs that reach a device of the world from its central. Each is refused or answered,
// never a crash or a hang.

#include <QCoreApplication>

#include "air/securitymanager.h"
#include "fuzzinput.h"
#include "proto/simframe.h"
#include "simlink.h"

namespace {

// A device that types and shows, insists on MITM and bonds, so that every model can be reached.
const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01",
    "security": {"io": "keyboardDisplay", "mitm": true, "bond": true, "secureConnections": true, "passkey": 123456}}]})";

} // namespace

// Records of a kind byte (0: a command to the dongle, 1: a PDU to the dongle, 2: a PDU to the
// device, 3: the link's events run), a length byte and that many bytes; a command's first byte is
// its opcode.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SimLink bench(SimLink::world(kWorld));

    FuzzInput input(data, size);
    while (!input.atEnd() && bench.link && bench.link->isOpen()) {
        const quint8 kind = input.byte() % 4;
        const QByteArray bytes = input.bytes(input.byte());
        if (kind == 0 && !bytes.isEmpty())
            bench.dongle.feed(SimFrame::build(SimFrame::Downlink, 0x02, quint8(bytes.at(0)), bytes.mid(1)));
        else if (kind == 1)
            bench.connections->received(bench.link, SecurityManager::Channel, bytes);
        else if (kind == 2)
            bench.device->received(bench.link, SecurityManager::Channel, bytes);
        else if (kind == 3)
            QCoreApplication::processEvents();
    }
    return 0;
}
