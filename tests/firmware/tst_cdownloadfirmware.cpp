#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include "firmware/cdownloadfirmware.h"
#include "linkbench.h"
#include "quickdownload.h"

namespace {

constexpr quint32 kShortLoad = 0x00020000;
constexpr quint32 kLongLoad = 0x00030000;

void putLe32(QByteArray* bytes, int at, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        (*bytes)[at + i] = char((value >> (8 * i)) & 0xFF);
}

quint32 le(const QByteArray& bytes, int at, int count)
{
    quint32 value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | quint8(bytes.at(at + i));
    return value;
}

// A file of `size` bytes whose last 48 bytes end in `tag` at offset 28. "DG" goes where `marks`
// says (48 for the short trailer, 904 for the long one, either or both); every other trailer
// byte is its own offset, so that a copy from the wrong place shows.
QByteArray firmware(int size, QList<int> marks, const QByteArray& tag = "ble_tool_fw", bool magic = true)
{
    QByteArray bytes(size, 'x');
    for (int trailer : {904, 48}) {
        if (size < trailer)
            continue;
        const int at = size - trailer;
        for (int i = 0; i < 48; ++i)
            bytes[at + i] = char(i);
        if (marks.contains(trailer))
            bytes.replace(at, 2, "DG");
        putLe32(&bytes, at + 12, trailer == 48 ? kShortLoad : kLongLoad);
        if (trailer == 904 && magic)
            putLe32(&bytes, at + 48, 0xDEADBEEF);
    }
    if (size >= 48)
        bytes.replace(size - 48 + 28, 12, tag.leftJustified(12, '\0', true));
    return bytes;
}

QString writeFile(const QTemporaryDir& dir, const QByteArray& bytes)
{
    const QString path = dir.filePath(QStringLiteral("firmware.bin"));
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(bytes);
    return path;
}

// The loader's answer: "DG", command, length, body, 16-bit sum of the bytes after "DG".
QByteArray answer(int command, const QByteArray& body)
{
    QByteArray frame("DG");
    frame.append(char(command)).append('\0').append(char(body.size())).append('\0').append(body);
    quint16 sum = 0;
    for (int i = 2; i < frame.size(); ++i)
        sum += quint8(frame.at(i));
    return frame.append(char(sum & 0xFF)).append(char(sum >> 8));
}


} // namespace

class TestCDownLoadFirmWare : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // Frames the tool sends to the loader, cut from the far end of the port.
    struct Loader {
        PtyPair& pty;
        QByteArray pending;

        QByteArray nextFrame()
        {
            const auto whole = [this] { return pending.size() >= 6 && pending.size() >= 8 + int(le(pending, 4, 2)); };
            if (!QTest::qWaitFor([&] {
                    pending += pty.readAll();
                    return whole();
                }, 5000))
                return QByteArray();
            const QByteArray frame = pending.left(8 + int(le(pending, 4, 2)));
            pending.remove(0, frame.size());
            return frame;
        }
    };

    // The tool's link hands nothing on before the dongle's first reset completion.
    static void linkUp(LinkBench& bench)
    {
        QSignalSpy reset(&bench.msg, &CMsg::sig_rcvCommonMsg);
        bench.pty.write(QByteArray::fromHex("cc000201000031"));
        QVERIFY(reset.wait());
    }

private slots:
    void fileChecks_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("check");
        QTest::addColumn<int>("loadAddress"); // -1: none found
        QTest::addColumn<int>("infoFrom");    // where the 40 parsed bytes start; -1: refused

        QTest::newRow("47 bytes") << firmware(47, {48}).right(47) << -1 << -1 << -1;
        QTest::newRow("48 bytes, short trailer") << firmware(48, {48}) << 0 << int(kShortLoad) << 0;
        QTest::newRow("short trailer") << firmware(3000, {48}) << 0 << int(kShortLoad) << 3000 - 48;
        QTest::newRow("long trailer") << firmware(3000, {904}) << 0 << int(kLongLoad) << 3000 - 904;
        QTest::newRow("long trailer without magic") << firmware(3000, {904}, "ble_tool_fw", false) << 0
                                                    << int(kLongLoad) << -1;
        QTest::newRow("long mark in a short file") << firmware(903, {48}) << 0 << int(kShortLoad) << 903 - 48;
        // Each step keeps its own order: the address from the long trailer, the rest from the short.
        QTest::newRow("both marks") << firmware(3000, {48, 904}) << 0 << int(kLongLoad) << 3000 - 48;
        QTest::newRow("wrong tag") << firmware(3000, {48}, "ble_tool_fx") << -1 << int(kShortLoad) << 3000 - 48;
        QTest::newRow("tag without its zero") << firmware(3000, {48}, "ble_tool_fwX") << -1 << int(kShortLoad)
                                              << 3000 - 48;
        QTest::newRow("neither DG") << firmware(3000, {}) << 0 << -1 << -1;
    }
    void fileChecks()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, check);
        QFETCH(int, loadAddress);
        QFETCH(int, infoFrom);

        LinkBench bench(false);
        cDownLoadFirmWare download(&bench.msg, &bench.logger);
        QCOMPARE(download.checkFirmwareFile(writeFile(m_dir, bytes)), check);
        quint32 address = 0;
        QCOMPARE(cDownLoadFirmWare::findLoadAddress(bytes, &address), loadAddress >= 0);
        if (loadAddress >= 0)
            QCOMPARE(address, quint32(loadAddress));
        QByteArray info(48, '\0');
        QCOMPARE(cDownLoadFirmWare::parseTrailer(bytes, &info), infoFrom >= 0);
        if (infoFrom >= 0)
            QCOMPARE(info, QByteArray(8, '\0') + bytes.mid(infoFrom + 8, 40));
    }

    void missingFile()
    {
        LinkBench bench(false);
        cDownLoadFirmWare download(&bench.msg, &bench.logger);
        QCOMPARE(download.checkFirmwareFile(m_dir.filePath("none.bin")), -1);
        QVERIFY(bench.log->contains("download firmware not exsit", 4));
    }

    // The boot image, whose size is a multiple of 1024, then the user's file, each from
    // ProgramStart to resetRunFirmware, with every frame as the loader reads it.
    void twoPasses()
    {
        LinkBench bench;
        linkUp(bench);
        Loader loader{bench.pty, {}};
        QuickDownload download(&bench.msg, &bench.logger);
        QSignalSpy done(&download, &cDownLoadFirmWare::sig_heartBeatRestart);
        QSignalSpy progress(&download, &cDownLoadFirmWare::sig_progress);
        const QByteArray user = firmware(2100, {48});
        QFile bootFile(":/firmware/resources/firmware/uart_dfu_boot_fw_c1.bin");
        QVERIFY(bootFile.open(QIODevice::ReadOnly));
        const QByteArray boot = bootFile.readAll();
        QCOMPARE(boot.size() % cDownLoadFirmWare::MaxBlock, 0);

        download.setDeviceType(0);
        QCOMPARE(download.start(writeFile(m_dir, user)), 0);
        for (const QByteArray& image : {boot, user}) {
            quint32 load = 0;
            QVERIFY(cDownLoadFirmWare::findLoadAddress(image, &load));
            const QByteArray trailer = image.right(48);
            QList<int> commands;
            QList<int> blocks;
            QByteArray flashed;
            quint32 sum = 0;
            for (char byte : image)
                sum += quint8(byte);
            for (;;) {
                const QByteArray frame = loader.nextFrame();
                QVERIFY2(frame.startsWith("DG"), frame.toHex().constData());
                quint16 frameSum = 0;
                for (int i = 2; i < frame.size() - 2; ++i)
                    frameSum += quint8(frame.at(i));
                QCOMPARE(le(frame, frame.size() - 2, 2), quint32(frameSum));
                const int command = int(le(frame, 2, 2));
                const QByteArray payload = frame.mid(6, int(le(frame, 4, 2)));
                commands.append(command);
                if (command == cDownLoadFirmWare::ProgramStart) {
                    QCOMPARE(payload, QByteArray(9, '\0') + trailer.mid(8, 32));
                } else if (command == cDownLoadFirmWare::ProgramFlash) {
                    QCOMPARE(payload.at(0), '\1');
                    QCOMPARE(le(payload, 1, 4), load + quint32(flashed.size()));
                    blocks.append(int(le(payload, 5, 2)));
                    QCOMPARE(payload.size(), 7 + blocks.last());
                    flashed += payload.mid(7);
                } else if (command == cDownLoadFirmWare::ProgramEnd) {
                    QCOMPARE(frame.size(), 13);
                    QCOMPARE(le(payload, 1, 4), sum);
                } else {
                    QCOMPARE(frame.size(), 32);
                    QCOMPARE(payload, QByteArray(4, '\0') + trailer.mid(8, 20));
                }
                bench.pty.write(answer(command, QByteArray(1, '\1')));
                if (command == cDownLoadFirmWare::ResetRunFirmware)
                    break;
            }
            QCOMPARE(flashed, image);
            const int full = image.size() / 1024;
            QList<int> expectedBlocks;
            for (int i = 0; i < full; ++i)
                expectedBlocks.append(1024);
            if (image.size() % 1024)
                expectedBlocks.append(image.size() % 1024);
            QCOMPARE(blocks, expectedBlocks);
            QCOMPARE(commands.size(), blocks.size() + 3);
            QCOMPARE(commands.first(), int(cDownLoadFirmWare::ProgramStart));
            QCOMPARE(commands.at(commands.size() - 2), int(cDownLoadFirmWare::ProgramEnd));
        }
        QVERIFY(done.wait());
        QCOMPARE(progress.last(), QVariantList({quint32(user.size()), quint32(user.size())}));
        QCOMPARE(download.currentFile(), QString(":/firmware/resources/firmware/uart_dfu_boot_fw_c1.bin"));
        QCOMPARE(bench.log->texts().count("Program firmware success!"), 4);
    }

    // Only a good answer moves the run on. Any other stops it where it stands, without the
    // watchdog and without a word: the link hands on just the low byte of the sum, so an answer
    // whose bytes add up to more than 255 is one of them.
    void answers_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("goesOn");

        QTest::newRow("success") << answer(35, "\x01") << true;
        QTest::newRow("status 0") << answer(35, QByteArray(1, '\0')) << false;
        QTest::newRow("failure status") << answer(35, "\x02") << false;
        QTest::newRow("answer to another command") << answer(36, "\x01") << false;
        QTest::newRow("sum past 255") << answer(35, "\x01\xFF") << false;
        QTest::newRow("sum at 255") << answer(35, QByteArray("\x01\xD9")) << true;
        QTest::newRow("wrong sum") << QByteArray::fromHex("444723000100012600") << false;
        QTest::newRow("not DG") << QByteArray("DG") << false;
    }
    void answers()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, goesOn);

        LinkBench bench;
        linkUp(bench);
        Loader loader{bench.pty, {}};
        QuickDownload download(&bench.msg, &bench.logger);
        QSignalSpy flash(&download, &cDownLoadFirmWare::sig_flash);
        QSignalSpy failed(&download, &cDownLoadFirmWare::sig_downloadFailed);
        download.start(writeFile(m_dir, firmware(2000, {48})));
        QCOMPARE(le(loader.nextFrame(), 2, 2), quint32(cDownLoadFirmWare::ProgramStart));
        auto* watchdog = download.findChild<QTimer*>();
        QVERIFY(watchdog->isActive());

        QSignalSpy handed(&bench.msg, &CMsg::sig_rcvDownLoadMsg);
        if (reply == "DG") // a download frame too short to be one: handed over as it stands
            download.onRcvDownLoadMsg(reply);
        else
            QVERIFY(bench.pty.write(reply) && handed.wait());
        QCOMPARE(flash.count(), goesOn ? 1 : 0);
        QVERIFY(!watchdog->isActive());
        QCOMPARE(failed.count(), 0);
    }

    void closedPort()
    {
        LinkBench bench(false);
        cDownLoadFirmWare download(&bench.msg, &bench.logger);
        download.start(writeFile(m_dir, firmware(2000, {48})));
        QVERIFY(bench.log->contains("firmwareProgramStart", 2));
        QVERIFY(bench.log->contains("ProgramStart failed!", 4));
        // The watchdog ends the run in five seconds.
        QVERIFY(download.findChild<QTimer*>()->isActive());
    }
};

QTEST_GUILESS_MAIN(TestCDownLoadFirmWare)
#include "tst_cdownloadfirmware.moc"
