// The simulated dongle's firmware loader from the host's side: "DG" frames of any command and
// payload, with good sums, so that they reach the loader; restarts that are due run between
// them. Each frame is answered or ignored, never a crash or a hang.

#include <QCoreApplication>
#include <QThread>

#include "air/virtualair.h"
#include "dongle/loaderengine.h"
#include "dongle/virtualdongle.h"
#include "fuzzinput.h"
#include "proto/responder.h"
#include "proto/simframe.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    Responder::setChecking(false);
    return 0;
}

// Records of a kind byte, a 16-bit length and that many bytes. Kind 0xFF lets a restart that is
// due happen, once an input, since it waits for it; any other kind picks the command: ProgramStart, ProgramFlash, ProgramEnd,
// resetRunFirmware or, past them, the kind itself.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static VirtualAir air;
    static VirtualDongle dongle(0, &air);
    dongle.powerCycle();
    dongle.feed(QByteArray::fromHex("AA0001000055"));
    FuzzInput input(data, size);
    bool waited = false;
    while (!input.atEnd()) {
        const quint8 kind = input.byte();
        const int length = input.byte() | input.byte() << 8;
        const QByteArray payload = input.bytes(size_t(qMin(length, 1031)));
        if (kind == 0xFF) {
            if (waited)
                continue;
            waited = true;
            QThread::msleep(LoaderEngine::RestartDelayMs + 5);
            QCoreApplication::processEvents();
            continue;
        }
        static const quint16 commands[] = {LoaderEngine::ProgramStart, LoaderEngine::ProgramFlash,
                                           LoaderEngine::ProgramEnd, LoaderEngine::ResetRunFirmware};
        const quint16 command = kind < 4 ? commands[kind] : kind;
        QByteArray frame = "DG" + SimFrame::le16(command) + SimFrame::le16(payload.size()) + payload;
        quint16 sum = 0;
        for (int i = 2; i < frame.size(); ++i)
            sum += quint8(frame.at(i));
        dongle.feed(frame + SimFrame::le16(sum));
    }
    return 0;
}
