#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include "link/portregistry.h"
#include "ptypair.h"

// Names that the selection dialog can cut, one per device, kept by a device while it exists.
class TestPortRegistry : public QObject
{
    Q_OBJECT

private slots:
    // Only the machine's own ports: the registry forgets the devices of the case before.
    void init()
    {
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_empty.path()));
        qunsetenv("TARVINE_EXTRA_PORTS");
        m_system = PortRegistry::availablePorts();
    }

    // Dashes dropped from a by-id link: through the selection dialog in tst_cselectdongledlg.
    void namesFromPaths_data()
    {
        QTest::addColumn<QString>("link"); // under a folder of the test; empty: the terminal itself
        QTest::addColumn<QString>("name"); // %1: the terminal's number
        QTest::newRow("pseudo-terminal") << QString() << "pts%1";
        QTest::newRow("a name the dialog takes") << "ttyACM3" << "ttyACM3";
        QTest::newRow("no digit at the end") << "dongle" << "dongle0";
        QTest::newRow("digits only, in a folder without letters") << "###/5" << "port5";
    }
    void namesFromPaths()
    {
        QFETCH(QString, link);
        QFETCH(QString, name);
        PtyPair pty;
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_empty.path())); // the pair's own link aside
        QString path = pty.slavePath();
        if (!link.isEmpty()) {
            path = m_links.filePath(link);
            QDir().mkpath(QFileInfo(path).path());
            QVERIFY(QFile::link(pty.slavePath(), path));
        }
        qputenv("TARVINE_EXTRA_PORTS", QFile::encodeName(path));
        name = name.arg(QFileInfo(pty.slavePath()).fileName());
        QVERIFY2(PortRegistry::availablePorts().contains(name), qPrintable(PortRegistry::availablePorts().join(' ')));
        QCOMPARE(PortRegistry::devicePath(name), path);
        QFile::remove(path);
    }

    void aDeviceKeepsItsName()
    {
        PtyPair first, second;
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_empty.path()));
        QVERIFY(m_links.mkpath("one") && m_links.mkpath("two"));
        const QString one = m_links.filePath("one/dongle"), two = m_links.filePath("two/dongle");
        QVERIFY(QFile::link(first.slavePath(), one) && QFile::link(second.slavePath(), two));
        // The same device once more, by its own path: listed once.
        qputenv("TARVINE_EXTRA_PORTS", QFile::encodeName(one + ':' + two + ':' + first.slavePath()));
        QCOMPARE(ours(), (QStringList{"dongle0", "dongle0_2"}));

        // The first going away renames nobody; coming back, it finds its name free again.
        qputenv("TARVINE_EXTRA_PORTS", QFile::encodeName(one + ':' + two));
        QVERIFY(QFile::remove(one));
        QCOMPARE(ours(), QStringList{"dongle0_2"});
        QCOMPARE(PortRegistry::devicePath("dongle0_2"), two);
        QVERIFY(QFile::link(first.slavePath(), one));
        QCOMPARE(ours(), (QStringList{"dongle0", "dongle0_2"}));
        QCOMPARE(PortRegistry::devicePath("dongle0"), one);
    }

private:
    QStringList ours() const
    {
        QStringList names = PortRegistry::availablePorts();
        for (const QString& name : m_system)
            names.removeOne(name);
        return names;
    }

    QStringList m_system;
    QTemporaryDir m_empty;
    QTemporaryDir m_linksDir;
    QDir m_links{m_linksDir.path()};
};

QTEST_GUILESS_MAIN(TestPortRegistry)
#include "tst_portregistry.moc"
