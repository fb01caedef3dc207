// L2CAP's credit-based channels on a link, from both sides at once: the host's L2CAP commands
// to a dongle (any opcode of module 04, any payload), signaling and K-frames that reach the
// dongle from the far end, and those that reach a device's echo and sink from its central. Each
// is refused or answered, never a crash or a hang.

#include "fuzzinput.h"
#include "proto/simframe.h"
#include "simlink.h"

namespace {

// An echo that takes few credits and small K-frames, so that its limits are in reach, and a sink.
const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01", "l2capChannels": 3, "l2cap": [
    {"psm": 128, "service": "echo", "mtu": 64, "mps": 23, "credits": 3},
    {"psm": 129, "service": "sink", "mtu": 100, "mps": 30, "credits": 2}]}]})";

// The signaling channel, or one of the dynamic ones, by the record's first byte.
quint16 channelOf(const QByteArray& bytes)
{
    const quint8 pick = bytes.isEmpty() ? 0 : quint8(bytes.at(0));
    return pick % 2 == 0 ? 0x0005 : quint16(0x0040 + (pick >> 1) % 64);
}

} // namespace

// Records of a kind byte (0: a command to the dongle, 1: a PDU to the dongle, 2: a PDU to the
// device), a length byte and that many bytes; a command's first byte is its opcode, a PDU's
// first byte picks its channel.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SimLink bench(SimLink::world(kWorld));

    FuzzInput input(data, size);
    while (!input.atEnd() && bench.link && bench.link->isOpen()) {
        const quint8 kind = input.byte() % 3;
        const QByteArray bytes = input.bytes(input.byte());
        if (kind == 0 && !bytes.isEmpty())
            bench.dongle.feed(SimFrame::build(SimFrame::Downlink, 0x04, quint8(bytes.at(0)), bytes.mid(1)));
        else if (kind == 1)
            bench.connections->received(bench.link, channelOf(bytes), bytes.mid(1));
        else if (kind == 2)
            bench.device->received(bench.link, channelOf(bytes), bytes.mid(1));
    }
    return 0;
}
