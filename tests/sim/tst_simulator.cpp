#include <unistd.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include "dongle/virtualdongle.h"
#include "host/simulator.h"
#include "uplinkbytes.h"

// The simulator as a whole: control lines, its port folder, and the executable's refusals.
class tst_Simulator : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_folder.isValid());
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_folder.path()));
    }
    void controlLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("answer");
        QTest::newRow("flood") << "flood 1 200" << "ok";
        QTest::newRow("flood past the link") << "flood 1 1001" << "error: flood takes 0 to 1000 lines a second";
        QTest::newRow("flood of a dongle not there") << "flood 2 10" << "error: no dongle \"2\"";
        QTest::newRow("unknown verb") << "floodd 1 10" << "error: unknown command \"floodd\"";
        QTest::newRow("request on no connection") << "request 1 0 16 24 0 200" << "error: dongle 1 has no connection 0";
        QTest::newRow("request breaking the supervision rule") << "request 1 0 16 24 0 6"
                                                               << "error: supervision timeout 6 too short or too long";
        QTest::newRow("request short of a number") << "request 1 0 16 24 0"
                                                   << "error: request takes CONDIX MIN MAX LATENCY TIMEOUT, whole numbers";
        QTest::newRow("mute of a module") << "mute 1 09 on" << "ok";
        QTest::newRow("mute of a module not in hex") << "mute 1 9x on"
                                                     << "error: mute takes on or off, after a module in two hex digits or none";
        QTest::newRow("rftx lcp") << "rftx 2 10 lcp 2402 37 6730363B 555555 4C 0102" << "ok";
        QTest::newRow("rftx short of a word")
            << "rftx 2 10 idt 159 6730363B"
            << "error: rftx takes N INTERVAL_MS lcp FREQUENCY CHANNEL_INDEX ACCESS_ADDRESS CRC_INIT HEADER PAYLOAD, "
               "or N INTERVAL_MS idt CHANNEL_NUM ACCESS_ADDRESS PAYLOAD";
        QTest::newRow("rftx of no packet") << "rftx 0 10 idt 1 6730363B 01" << "error: rftx sends at least one packet, at least 1 ms apart";
        QTest::newRow("rftx off the band") << "rftx 1 10 lcp 2359 0 6730363B 555555 00 01"
                                           << "error: frequency 2359 MHz outside 2360 to 2520";
        QTest::newRow("rftx idt payload too long") << "rftx 1 10 idt 1 6730363B " + QString("00").repeated(252)
                                                   << "error: length 252 past 251";
        QTest::newRow("loader silent at a step") << "loader 1 flash silent" << "ok";
        QTest::newRow("loader back to normal") << "loader 1 normal" << "ok";
        QTest::newRow("loader at no step") << "loader 1 erase refuse"
                                           << "error: loader takes start, flash, end or reset, then refuse, silent or "
                                              "normal; or normal alone";
        QTest::newRow("passkey with nothing shown") << "passkey 1" << "error: nothing that dongle 1 pairs with shows a passkey";
        QTest::newRow("bond with a key") << "bond 1 C6:5A:10:00:00:09 1 ec0234a357c8ad05341010a60a397d9b" << "ok";
        QTest::newRow("bond with a short key")
            << "bond 1 C6:5A:10:00:00:09 1 ec0234"
            << "error: a bond takes a 6-byte address, type 0 or 1, and a 16-byte key or none";
        QTest::newRow("bond without a type")
            << "bond 1 C6:5A:10:00:00:09"
            << "error: bond takes ADDRESS TYPE [IRK]: AA:BB:CC:DD:EE:FF, 0 or 1, 32 hex digits";
        QTest::newRow("lose a sync that does not stand") << "lose 1 0" << "error: dongle 1 has no periodic sync 0";
        QTest::newRow("lose without an index") << "lose 1 x" << "error: lose takes the index of a periodic sync";
        QTest::newRow("log of the longest frame") << "log 1 " + QString(5000, 'x') << "ok";
        QTest::newRow("log past the longest frame") << "log 1 " + QString(4999, 'x') + QChar(0xE9)
                                                    << "error: log takes at most 5000 bytes of text";
    }
    void controlLines()
    {
        Simulator simulator;
        QString error;
        QVERIFY2(simulator.start(options(2), &error), qPrintable(error));
        QFETCH(QString, line);
        QTEST(simulator.control(line), "answer");
    }
    // A transmitter of no dongle reaches a dongle receiving on its tuning; a muted module says
    // nothing more while the heartbeat still answers.
    void rfTransmitterAndModuleMute()
    {
        Simulator simulator;
        QString error;
        QVERIFY2(simulator.start(options(1), &error), qPrintable(error));
        VirtualDongle* dongle = simulator.dongle(0);
        QByteArray up;
        connect(dongle, &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        dongle->feed(hex(kReset));
        dongle->feed(hex(frame("AA 0A 01", "3B 36 30 67 05")));
        dongle->feed(hex(frame("AA 0A 05", "")));
        QCOMPARE(simulator.control("rftx 3 10 idt 5 6730363B 0102"), QString("ok"));
        const QByteArray heard = hex(frame("DD 0A 05", "02 01 02"));
        QTRY_COMPARE(up.count(heard), 3);

        QCOMPARE(simulator.control("mute 0 0A on"), QString("ok"));
        up.clear();
        dongle->feed(hex(frame("AA 0A 06", "")));
        dongle->feed(hex(frame("AA 01 84", "")));
        QCOMPARE(up.toHex(' '), hex(ackFrame("01@84")).toHex(' '));
    }
    // Lines of 36 bytes with a counter, until the rate is 0.
    void flood()
    {
        Simulator simulator;
        QString error;
        QVERIFY2(simulator.start(options(1), &error), qPrintable(error));
        QByteArray up;
        connect(simulator.dongle(0), &VirtualDongle::uplink, this, [&up](const QByteArray& bytes) { up += bytes; });
        QCOMPARE(simulator.control("flood 0 500"), QString("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(cut(up).size() >= 3, 5000);
        QCOMPARE(cut(up).mid(0, 3), (QList<QByteArray>{frames("log: dongle 0 flood line 00000001 of text"),
                                                       frames("log: dongle 0 flood line 00000002 of text"),
                                                       frames("log: dongle 0 flood line 00000003 of text")}));
        QCOMPARE(simulator.control("flood 0 0"), QString("ok"));
        QCOMPARE(simulator.dongle(0)->flood(), 0);
    }
    void portFolderTaken()
    {
        Simulator first;
        QString error;
        QVERIFY2(first.start(options(1), &error), qPrintable(error));
        Simulator second;
        QVERIFY(!second.start(options(1), &error));
        QCOMPARE(error, QStringLiteral("the port folder %1 is in use by another tarvine-sim (pid %2); give this one a "
                                       "folder of its own with --dir or TARVINE_SIM_DIR")
                            .arg(m_folder.path()).arg(::getpid()));
        QVERIFY(QFileInfo(m_folder.filePath("ttySIM0")).isSymLink());
    }
    // The executable says why on stderr and leaves with status 1. A held port folder is refused
    // in the same words as portFolderTaken's.
    void refusesAWorldWithAMisspeltKey()
    {
        QFile file(m_folder.filePath("world.json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"devices": [{"adress": "C6:5A:10:00:00:01"}]})");
        file.close();
        QProcess process;
        process.start(TARVINE_SIM_PATH, {"--dir", m_folder.path(), "--world", file.fileName()});
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(process.readAllStandardOutput().isEmpty());
        const QString said = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(said.startsWith("tarvine-sim: ") && said.contains("\"adress\" is no key of this file"), qPrintable(said));
    }

    // A control line that never ends is refused once it does, and the next line is read as ever.
    void overlongLine()
    {
        QProcess process;
        process.start(TARVINE_SIM_PATH, {"--dir", m_folder.path()});
        QVERIFY(process.waitForStarted(10000));
        const auto nextLine = [&process] {
            while (!process.canReadLine() && process.waitForReadyRead(10000)) {
            }
            return QString::fromUtf8(process.readLine()).trimmed();
        };
        QVERIFY(nextLine().startsWith("ttySIM0 -> "));
        process.write(QByteArray(3 << 19, 'x') + "\nlog 0 hello\n");
        QCOMPARE(nextLine(), QString("error: line longer than 1048576 bytes"));
        QCOMPARE(nextLine(), QString("ok"));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), 0);
    }

private:
    Simulator::Options options(int dongles) const
    {
        Simulator::Options options;
        options.dongles = dongles;
        options.folder = m_folder.path();
        return options;
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_Simulator)
#include "tst_simulator.moc"
