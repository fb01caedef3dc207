// The firmware download from the outside: a file the user picks, and whatever the dongle answers
// to each step. The file is checked and its trailer read; the answers move the run on or stop it,
// never a crash, and the run never reads past the answer it was given.

#include <QTemporaryDir>

#include "firmware/cdownloadfirmware.h"
#include "fuzzapp.h"
#include "fuzzinput.h"
#include "log/logmanager.h"
#include "quickdownload.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    return 0;
}

// A length byte and that many bytes of file, then records of a length byte and an answer. The
// port stays closed: each step logs that its frame could not go, and the answers still come.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QTemporaryDir dir;
    static LogManager logger(QStringLiteral("fuzz"));
    FuzzInput input(data, size);
    const QString path = dir.filePath(QStringLiteral("firmware.bin"));
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        file.write(input.bytes(size_t(input.byte()) * 8));
    }
    QuickDownload download(nullptr, &logger);
    download.checkFirmwareFile(path);
    download.setDeviceType(input.byte() & 1);
    download.start(path);
    while (!input.atEnd()) {
        download.onRcvDownLoadMsg(input.bytes(input.byte()));
        QCoreApplication::sendPostedEvents(&download);
    }
    return 0;
}
