// A world file for the simulator, as a user may write one by hand: it loads or is refused with
// a message, never a crash or a hang.

#include <QCoreApplication>

#include "world/worldloader.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    WorldLoader loader(QStringLiteral("fuzz.json"));
    QVector<VirtualAdvertiser> devices;
    loader.parse(QByteArray(reinterpret_cast<const char*>(data), int(size)), &devices);
    return 0;
}
