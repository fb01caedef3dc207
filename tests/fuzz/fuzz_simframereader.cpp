// The simulator's reader of the downlink stream, fed in chunks whose sizes the input chooses.
// What it hands on must be whole: a command frame with its length word right, or a loader frame.

#include "fuzzinput.h"
#include "proto/framereader.h"

#include <QCoreApplication>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv); // the reader's silence timer wants one
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    const int chunking = input.byte();
    const QByteArray stream = input.rest();

    FrameReader reader;
    // AA, module, opcode, length word, payload, checksum.
    QObject::connect(&reader, &FrameReader::frame, [](const QByteArray& frame) {
        if (frame.size() < 6 || quint8(frame.at(0)) != 0xAA
            || (quint8(frame.at(3)) | quint8(frame.at(4)) << 8) != frame.size() - 6)
            __builtin_trap();
    });
    QObject::connect(&reader, &FrameReader::loaderFrame, [](const QByteArray& frame) {
        if (frame.size() < 7 || !frame.startsWith("DG") || frame.size() > FrameReader::LoaderMaxLength + 8)
            __builtin_trap();
    });
    for (int at = 0, round = 1; at < stream.size(); ++round) {
        const int chunk = 1 + (chunking * round) % 67;
        reader.feed(stream.mid(at, chunk));
        at += chunk;
    }
    return 0;
}
