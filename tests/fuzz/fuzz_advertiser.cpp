// The advertising commands of a host to a simulated dongle, the data frames that the tool builds by
// hand among them: each is answered or refused, never a crash, and every uplink fits its row.

#include <QCoreApplication>

#include "air/virtualair.h"
#include "dongle/virtualdongle.h"
#include "fuzzinput.h"
#include "proto/responder.h"
#include "proto/simframe.h"

namespace {

const quint8 kOpcodes[] = {0x23, 0x25, 0x27, 0x29, 0x2B, 0x2D, 0x2F, 0x31, 0x33, 0x35};

// An uplink refused by its row, or a request read by a key its row lacks, is a fault.
void trapFaults(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtCriticalMsg && message.startsWith(QLatin1String("tarvine-sim: ")))
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    Responder::setChecking(true);
    qInstallMessageHandler(trapFaults);
    return 0;
}

// Records of an opcode byte (one of the ten advertising commands), a 16-bit length and that many
// payload bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Made once: the air's default world takes far longer to build than an input to run. An
    // unplug brings the dongle back to its defaults.
    static VirtualAir air;
    static VirtualDongle dongle(0, &air);
    dongle.powerCycle();
    dongle.feed(QByteArray::fromHex("AA0001000055"));
    FuzzInput input(data, size);
    while (!input.atEnd()) {
        const quint8 opcode = kOpcodes[input.byte() % sizeof(kOpcodes)];
        const int length = input.byte() | input.byte() << 8;
        dongle.feed(SimFrame::build(SimFrame::Downlink, 0x01, opcode, input.bytes(size_t(length))));
    }
    return 0;
}
