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
