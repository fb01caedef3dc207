// The radio test modes from the host's side: commands of modules 09 and 0A (any opcode, any
// payload) to two dongles on one air, so that what one transmits the other may hear, and the
// events that are due run between them. Each is refused or answered, never a crash or a hang.

#include <QCoreApplication>

#include "air/virtualair.h"
#include "dongle/virtualdongle.h"
#include "fuzzinput.h"
#include "proto/responder.h"
#include "proto/simframe.h"

// Frames are not held against their rows: a fuzzed simulator would refuse many, noisily.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    Responder::setChecking(false);
    return 0;
}

// Records of a kind byte (bit 0: the dongle; bit 1: the events that are due run instead), a
// length byte and that many bytes: a command's first byte picks its module (bit 7: IDT) and
// opcode (the low bits), the rest is its payload.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The air and its world are made once; each run starts from dongles just plugged in and reset.
    static VirtualAir air;
    static VirtualDongle dongles[2] = {{0, &air}, {1, &air}};
    for (VirtualDongle& dongle : dongles) {
        dongle.powerCycle();
        dongle.feed(QByteArray::fromHex("AA0001000055"));
    }
    FuzzInput input(data, size);
    while (!input.atEnd()) {
        const quint8 kind = input.byte();
        const QByteArray bytes = input.bytes(input.byte());
        if (kind & 2) {
            QCoreApplication::processEvents();
        } else if (!bytes.isEmpty()) {
            const quint8 pick = quint8(bytes.at(0));
            dongles[kind & 1].feed(SimFrame::build(SimFrame::Downlink, pick & 0x80 ? 0x0A : 0x09, pick & 0x7F, bytes.mid(1)));
        }
    }
    // Transmissions that ended go now, not at an event loop that never comes.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
