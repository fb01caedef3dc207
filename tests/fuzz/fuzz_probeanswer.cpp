// Whatever a device on a serial port answers to the selection dialog's probe.

#include "app/refreshdonglethread.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const DongleInfo info =
        RefreshDongleThread::parseProbeAnswer(QByteArray(reinterpret_cast<const char*>(data), int(size)));
    // A name the dialog shows comes from the bytes given, never from beyond them.
    if (info.dongleName != QLatin1String("Unknown") && info.dongleName.size() > int(size))
        __builtin_trap();
    return 0;
}
