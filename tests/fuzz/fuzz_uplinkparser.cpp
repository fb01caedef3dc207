// The uplink parser fed one stream in chunks whose sizes the input chooses, as reads of a port
// cut it. Every frame it hands on must be one the pages can trust: a known header, a module and
// an opcode, and a length word that matches the frame.

#include <memory>

#include "fuzzinput.h"
#include "link/serialportthread.h"

namespace {

quint16 lengthWord(const QByteArray& frame, int at)
{
    return quint16(quint8(frame.at(at)) | quint8(frame.at(at + 1)) << 8);
}

void checkFrame(const QByteArray& frame)
{
    if (frame.size() < 5)
        __builtin_trap();
    const quint8 header = quint8(frame.at(0));
    const bool known = header == 0xBB || header == 0xCC || header == 0xDD || header == 0xFF;
    if (!known || lengthWord(frame, 3) != frame.size() - 5)
        __builtin_trap();
}

// "DG", command, a byte, the length word, the payload and the first byte of the sum.
void checkLoaderFrame(const QByteArray& frame)
{
    if (frame.size() < 7 || !frame.startsWith("DG") || lengthWord(frame, 4) != frame.size() - 7)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    const int chunking = input.byte();
    const QByteArray stream = input.rest();

    // Not on the stack: the parser holds its megabyte read buffer inside.
    const auto parser = std::make_unique<SerialPortThread>();
    for (const auto signal : {&SerialPortThread::sig_rcvCommonMsg, &SerialPortThread::sig_rcvGapMsg,
                              &SerialPortThread::sig_rcvSmMsg, &SerialPortThread::sig_rcvGattMsg,
                              &SerialPortThread::sig_rcvL2capMsg, &SerialPortThread::sig_rcvRfuMsg,
                              &SerialPortThread::sig_rcvBIGCIGMsg, &SerialPortThread::sig_rcvDongleLog,
                              &SerialPortThread::sig_rcvLCPMsg, &SerialPortThread::sig_rcvIDTMsg})
        QObject::connect(parser.get(), signal, checkFrame);
    QObject::connect(parser.get(), &SerialPortThread::sig_rcvDownLoadMsg, checkLoaderFrame);

    for (int at = 0, round = 1; at < stream.size(); ++round) {
        const int chunk = 1 + (chunking * round) % 67;
        parser->parse(stream.mid(at, chunk));
        at += chunk;
    }
    return 0;
}
