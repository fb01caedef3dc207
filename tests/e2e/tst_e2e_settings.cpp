#include <QComboBox>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

#include "masterbench.h"
#include "settingsui.h"

namespace {

// The static configuration as it leaves the tool after the Device page was edited: the other
// values are the defaults of the settings file and what the dongle reported at start-up.
// Checksums included, addresses least significant byte first.
const char* const kStaticFrames[] = {
    "aa 04 11 05 00 00 02 00 02 0a 2e",                                     // L2CAP 512, 512, 10
    "aa 01 41 04 00 fb 00 48 08 c5",                                        // Data Length 251, 2120
    "aa 01 65 03 00 00 00 00 ed",                                           // Privacy off
    "aa 01 45 07 00 55 44 33 22 11 c0 00 4a",                               // C0:11:22:33:44:55, public
    "aa 01 59 0e 00 0d 54 61 72 76 69 6e 65 20 42 65 6e 63 68 08",          // "Tarvine Bench"
    "aa 01 5d 02 00 41 03 b2",                                              // Appearance 0x0341
    "aa 01 61 08 00 18 00 28 00 00 00 f4 01 b7",                            // as the dongle said
    "aa 01 67 10 00 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 9c 1e",    // Local IRK
    "aa 01 6b 02 00 00 00 e8",                                              // no preferred PHY
    "aa 01 6d 04 00 00 00 00 00 e4",                                        // 0 dB both ways
    "aa 05 03 00 00 4e",                                                    // no profile ticked
    "aa 02 09 01 00 01 49",                                                 // pairing enabled
};
const char* const kNameHex = "68636e654220656e6976726154"; // "Tarvine Bench", last byte first

} // namespace

// The settings dialog against tarvine-sim: edit the Device page, send the static configuration,
// read it back after a reset and find it again after a restart.
class TestE2eSettings : public QObject
{
    Q_OBJECT

    std::unique_ptr<MasterBench> m_bench;

private slots:
    void init()
    {
        m_bench = std::make_unique<MasterBench>();
        m_bench->start();
    }
    void cleanup() { m_bench.reset(); }

    void staticSettingsReachTheDongleAndPersist()
    {
        MainDongleWidget* tab = m_bench->tab;
        // The start-up queries fill the map from the dongle, its address and name last byte first
        // ("Tarvine Sim 0").
        QCOMPARE(tab->config().value("identity_addr").toString(), QString("00005E005310"));
        QCOMPARE(tab->config().value("device_name").toString(), QString("30206d695320656e6976726154"));

        bool applied = false;
        whenModal([&](QWidget* modal) {
            // A failed check inside must not leave exec() waiting forever.
            const auto closeAnyway = qScopeGuard([modal] { modal->close(); });
            auto* dialog = qobject_cast<CSettingDialog*>(modal);
            QVERIFY(dialog);
            typeInto(dialog, "device_name", "Tarvine Bench");
            typeInto(dialog, "identity_addr", "C0:11:22:33:44:55");
            auto* type = dialog->setting("identity_addr_type")->findChild<QComboBox*>();
            type->setCurrentIndex(type->findText("Public"));
            typeInto(dialog, "appearance", "0x0341");
            QApplication::processEvents();
            QVERIFY(dialog->grab().save(SCREENSHOT_DIR "settings-static.png"));
            showPage(dialog, "Scan Parameters");
            QVERIFY(dialog->grab().save(SCREENSHOT_DIR "settings-dynamic.png"));
            showPage(dialog, "Device");
            auto* apply = dialog->findChild<QPushButton*>("btn_apply");
            QCOMPARE(apply->text(), QString("Set All Static"));
            apply->click();
            applied = !dialog->isVisible();
        });
        tab->findChild<QToolButton*>("toolButton_configureSettings")->click();
        QVERIFY(applied);

        // The twelve go out in their order, one per send tick, heartbeats in between.
        QStringList expected;
        QSet<QByteArray> heads;
        for (const char* frame : kStaticFrames) {
            expected.append(QString::fromLatin1(QByteArray::fromHex(frame).toHex(' ')));
            heads << QByteArray::fromHex(frame).left(3);
        }
        const auto sent = [&] {
            QStringList frames;
            for (const SimProcess::TraceLine& line : m_bench->sim->trace("down"))
                if (heads.contains(line.bytes.left(3)))
                    frames.append(QString::fromLatin1(line.bytes.toHex(' ')));
            return frames;
        };
        QTRY_VERIFY_WITH_TIMEOUT(sent().size() >= expected.size(), 10000);
        QCOMPARE(sent(), expected);

        // After a reset the start-up queries read back what the dongle now holds.
        QSignalSpy gap(tab->msg(), &CMsg::sig_rcvGapMsg);
        tab->findChild<QToolButton*>("toolButton_reset")->click();
        QTRY_VERIFY_WITH_TIMEOUT(std::any_of(gap.cbegin(), gap.cend(),
                                             [](const QList<QVariant>& args) {
                                                 return args.at(0).toByteArray().startsWith("\xdd\x01\x60");
                                             }),
                                 10000);
        QCOMPARE(tab->config().value("identity_addr").toString(), QString("C01122334455"));
        QCOMPARE(tab->config().value("identity_addr_type").toInt(), 0);
        QCOMPARE(tab->config().value("device_name").toString(), QString(kNameHex));
        QCOMPARE(tab->config().value("appearance").toString(), QString("341"));

        // Quit and start again: the map comes back from config.ini before any dongle is connected.
        m_bench->window.reset();
        // The file itself, since QSettings answers this process from its cache.
        QFile ini("config.ini");
        QVERIFY(ini.open(QIODevice::ReadOnly | QIODevice::Text));
        const QList<QByteArray> lines = ini.readAll().split('\n');
        for (const QByteArray line : {QByteArray("identity_addr=C01122334455"), "device_name=" + QByteArray(kNameHex),
                                      QByteArray("appearance=341")})
            QVERIFY2(lines.contains(line), line.constData());
        m_bench->window = std::make_unique<MainWindow>();
        tab = m_bench->window->firstDongle();
        QCOMPARE(tab->dongleName(), QString("Bench"));
        QVERIFY(!tab->isConnected());
        QCOMPARE(tab->config().value("device_name").toString(), QString(kNameHex));
    }
};

QTEST_MAIN(TestE2eSettings)
#include "tst_e2e_settings.moc"
