// Throughput of the uplink parser on one core: a long stream of mixed frames, clean and with
// noise bytes between the frames, fed in read-sized chunks.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

#include "link/serialportthread.h"

namespace {

QByteArray makeFrame(std::mt19937& rng, bool shortOnly)
{
    static const unsigned char headers[] = {0xBB, 0xCC, 0xDD, 0xDD, 0xDD, 0xFF};
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> pick(0, 99);

    const int kind = shortOnly ? 0 : pick(rng);
    int length;
    if (kind < 60)
        length = std::uniform_int_distribution<int>(0, 40)(rng); // acks, events, reports
    else if (kind < 95)
        length = std::uniform_int_distribution<int>(41, 300)(rng); // advertising data, GATT values
    else
        length = std::uniform_int_distribution<int>(301, 5000)(rng); // SDUs, ISO data

    QByteArray frame;
    if (kind == 99) {
        // A firmware loader answer: "DG", opcode, length, body, two checksum bytes.
        frame.append("DG");
        frame.append(char(byte(rng)));
        frame.append(char(byte(rng)));
        frame.append(char(length & 0xFF));
        frame.append(char(length >> 8));
        for (int i = 0; i < length + 2; ++i)
            frame.append(char(byte(rng)));
        return frame;
    }
    frame.append(char(headers[pick(rng) % 6]));
    frame.append(char(std::uniform_int_distribution<int>(0, 10)(rng)));
    frame.append(char(byte(rng)));
    frame.append(char(length & 0xFF));
    frame.append(char(length >> 8));
    for (int i = 0; i < length; ++i)
        frame.append(char(byte(rng)));
    unsigned int sum = 0;
    for (const char c : qAsConst(frame))
        sum += static_cast<unsigned char>(c);
    frame.append(char(0u - sum));
    return frame;
}

QByteArray makeStream(int size, int maxNoise, bool shortOnly, unsigned int seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> noiseCount(0, maxNoise);
    std::uniform_int_distribution<int> byte(0, 255);
    QByteArray stream;
    stream.reserve(size + 6000);
    stream.append(QByteArray::fromHex("cc000201000031"));
    while (stream.size() < size) {
        stream.append(makeFrame(rng, shortOnly));
        for (int n = noiseCount(rng); n > 0; --n)
            stream.append(char(byte(rng)));
    }
    return stream;
}

struct Result {
    double mbPerSecond = 0;
    quint64 frames = 0;
    quint64 logLines = 0;
};

Result run(const QByteArray& stream, int chunk)
{
    // Heap: the object holds its 1 MiB read buffer.
    const auto owner = std::make_unique<SerialPortThread>();
    SerialPortThread& parser = *owner;
    Result result;
    const auto countFrame = [&result](const QByteArray&) { ++result.frames; };
    QObject::connect(&parser, &SerialPortThread::sig_rcvCommonMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvGapMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvSmMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvGattMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvL2capMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvRfuMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvDownLoadMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvDongleLog, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvLCPMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_rcvIDTMsg, countFrame);
    QObject::connect(&parser, &SerialPortThread::sig_log, [&result](const QString&, int) { ++result.logLines; });

    const auto start = std::chrono::steady_clock::now();
    for (int pos = 0; pos < stream.size(); pos += chunk)
        parser.parse(QByteArray::fromRawData(stream.constData() + pos, std::min(chunk, stream.size() - pos)));
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    result.mbPerSecond = stream.size() / 1e6 / elapsed.count();
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int size = 64 * 1000 * 1000;

    const struct {
        const char* name;
        int maxNoise;
        bool shortOnly;
    } streams[] = {{"mixed, clean", 0, false},
                   {"mixed, 0-3 noise bytes between", 3, false},
                   {"short frames only, clean", 0, true},
                   {"short frames, 0-3 noise bytes", 3, true}};
    const int chunks[] = {0x100000, 4096, 64};

    for (const auto& kind : streams) {
        const QByteArray stream = makeStream(size, kind.maxNoise, kind.shortOnly, 20240611u);
        for (const int chunk : chunks) {
            const Result r = run(stream, chunk);
            std::printf("%-32s chunk %7d: %8.1f MB/s  (%llu frames, %llu log lines)\n", kind.name, chunk,
                        r.mbPerSecond, static_cast<unsigned long long>(r.frames),
                        static_cast<unsigned long long>(r.logLines));
        }
    }
    return 0;
}
