// Connected isochronous streams on links, from every side at once: the host's ISO commands to a
// dongle that is central of a device that takes streams and peripheral of another dongle (any
// opcode of module 06, any payload), and the link layer's control PDUs and stream PDUs that reach
// the dongle on either link, or the device from its central. Each is refused or answered, never a
// crash or a hang.

#include "air/isostreams.h"
#include "fuzzinput.h"
#include "proto/simframe.h"
#include "simlink.h"

namespace {

const QByteArray kWorld = R"({"devices": [{"address": "C6:5A:20:00:00:01", "cis": true, "phys": ["1M", "2M"]}]})";

// The control channel or the streams', by the low bit of a record's first byte.
quint16 channelOf(quint8 pick)
{
    return pick & 1 ? IsoStreams::StreamChannel : IsoStreams::ControlChannel;
}

} // namespace

// Records of a kind byte (0: a command to the dongle, 1: a PDU to the dongle, 2: a PDU to the
// device, 3: the events that are due run, such as a stream's first event set in the past), a
// length byte and that many bytes. A command's first byte is its opcode; a PDU's first byte picks
// its channel (bit 0) and, for the dongle, its link (bit 1: the one it is peripheral of).
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SimLink bench(SimLink::world(kWorld));
    VirtualDongle other(1, &bench.air);
    other.feed(QByteArray::fromHex("AA0001000055"));
    const QPointer<Link> toDevice = bench.link;
    const QPointer<Link> toOther = new Link({other.connections(), QByteArray::fromHex("020000000000"), 0},
                                            {bench.connections, QByteArray::fromHex("010000000000"), 0},
                                            Link::Parameters(), -50, &bench.air);
    toOther->open();

    FuzzInput input(data, size);
    while (!input.atEnd() && toDevice && toDevice->isOpen() && toOther && toOther->isOpen()) {
        const quint8 kind = input.byte() % 4;
        const QByteArray bytes = input.bytes(input.byte());
        const quint8 pick = bytes.isEmpty() ? 0 : quint8(bytes.at(0));
        if (kind == 0 && !bytes.isEmpty())
            bench.dongle.feed(SimFrame::build(SimFrame::Downlink, 0x06, pick, bytes.mid(1)));
        else if (kind == 1)
            bench.connections->received(pick & 2 ? toOther : toDevice, channelOf(pick), bytes.mid(1));
        else if (kind == 2)
            bench.device->received(toDevice, channelOf(pick), bytes.mid(1));
        else if (kind == 3)
            QCoreApplication::processEvents();
    }
    return 0;
}
