#include <QFileDialog>
#include <QLabel>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

#include "app/cselectdongledlg.h"
#include "capturelogger.h"
#include "firmware/cdownloadfirmware.h"
#include "log/logmanager.h"
#include "masterbench.h"
#include "schema/ccommand.h"

namespace {

const char* const kBootImageC4 = ":/firmware/resources/firmware/uart_dfu_boot_fw_c4.bin";

// The answer to Device Version Get from firmware "2.3.17": Bluetooth 5.0, host 2 and 317.
const QByteArray kVersion2317 = QByteArray::fromHex("dd01700b00090902000000003d01ffff");

} // namespace

// Firmware goes onto a simulated dongle from the tab's Download button: the boot image, then the
// user's file, then the tab reconnects to the dongle, which runs the new version.
class TestE2eFirmware : public QObject
{
    Q_OBJECT

    MasterBench m_bench;
    CaptureLogger* m_log = nullptr;
    QTemporaryDir m_dir;

    QToolButton* button(const char* name) const { return m_bench.tab->findChild<QToolButton*>(name); }
    CSelectDongleDialog* selectDialog() const { return m_bench.tab->findChild<CSelectDongleDialog*>(); }

    QString makeFirmware(const QString& name, const QStringList& arguments) const
    {
        const QString path = m_dir.filePath(name);
        const int exitCode = QProcess::execute(
            "bash", QStringList{SRCDIR "../../scripts/make-firmware", path} + arguments);
        return exitCode == 0 ? path : QString();
    }
    // Presses Download Firmware and picks the file in the dialog.
    void download(const QString& path)
    {
        whenModal([path](QWidget* modal) {
            auto* dialog = qobject_cast<QFileDialog*>(modal);
            if (!dialog) {
                modal->close();
                return;
            }
            dialog->selectFile(path);
            QMetaObject::invokeMethod(dialog, "accept");
        });
        button("toolButton_download")->click();
    }
    bool onlySelectEnabled() const
    {
        for (QToolButton* tool : m_bench.tab->findChildren<QToolButton*>(QRegularExpression("^toolButton_")))
            if (tool->isEnabled() != (tool->objectName() == "toolButton_selectDongle"))
                return false;
        return true;
    }

private slots:
    void initTestCase()
    {
        m_bench.start();
        m_bench.tab->logger()->addLogger(m_log = new CaptureLogger);
    }

    // A file that fails the check is refused, and nothing else changes.
    void refusedFile()
    {
        const QString path = m_dir.filePath("notes.txt");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(200, 'n'));
        file.close();
        m_log->clear();
        download(path);
        QVERIFY(m_log->contains("selected firmware wrong!", 4));
        QVERIFY(button("toolButton_download")->isEnabled());
        QVERIFY(!m_log->texts().contains("firmwareProgramStart"));
    }

    // The loader falls silent in the middle of the user's file: five seconds later the run ends,
    // and only the dongle selection can be used. The dongle, unplugged and plugged in again, runs
    // its old firmware; the next download starts again from the boot image and goes through.
    void silentLoaderThenDownload()
    {
        const QString path = makeFirmware("fw.bin", {"2.3.17", "--long", "--size", "3072"});
        QVERIFY(!path.isEmpty());
        MainDongleWidget* tab = m_bench.tab;
        QSignalSpy progress(tab->download(), &cDownLoadFirmWare::sig_progress);
        QSignalSpy failed(tab->download(), &cDownLoadFirmWare::sig_downloadFailed);
        download(path);
        QVERIFY(!button("toolButton_download")->isEnabled());
        QVERIFY(!button("toolButton_selectDongle")->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(tab->download()->currentFile() == path, 15000);
        QCOMPARE(m_bench.sim->control("loader 0 flash silent"), QString("ok"));
        QVERIFY(failed.wait(15000));
        QVERIFY(m_log->contains("download firmware failed.", 4));
        QVERIFY(!tab->msg()->isOpen());
        QVERIFY(onlySelectEnabled());

        QCOMPARE(m_bench.sim->control("loader 0 normal"), QString("ok"));
        QCOMPARE(m_bench.sim->control("unplug 0"), QString("ok"));
        QCOMPARE(m_bench.sim->control("plug 0"), QString("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_bench.sim->folder() + "/ttySIM0"), 5000);
        selectDialog()->reconnect("ttySIM0");
        QTRY_VERIFY_WITH_TIMEOUT(button("toolButton_download")->isEnabled(), 10000);

        progress.clear();
        download(path);
        QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty(), 5000);
        QCOMPARE(progress.first().at(1).toUInt(), 4096u);
        QCOMPARE(tab->download()->currentFile(), QString(kBootImageC4));

        // The user's file, its last block shown on the way.
        auto* bar = tab->findChild<QProgressBar*>("progressBar_download");
        QTRY_VERIFY_WITH_TIMEOUT(bar->isVisible() && bar->text().startsWith("Firmware:"), 15000);
        QVERIFY(m_bench.window->grab().save(SCREENSHOT_DIR "e2e-firmware-download.png"));
        QTRY_VERIFY_WITH_TIMEOUT(progress.last() == QVariantList({3072u, 3072u}), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(button("toolButton_download")->isEnabled(), 15000);
        QVERIFY(tab->msg()->isOpen());
        QVERIFY(!bar->isVisible());

        // The selection dialog probed the dongle while the tab reconnected.
        auto* tree = selectDialog()->findChild<QTreeWidget*>("deviceTree");
        const auto items = tree->findItems("Tarvine Virtual Dongle(ttySIM0)", Qt::MatchExactly | Qt::MatchRecursive);
        QCOMPARE(items.size(), 1);
        tree->setCurrentItem(items.first());
        QCOMPARE(selectDialog()->findChild<QLabel*>("labelFirmwareVersion")->text(), QString("2.3.17"));

        // The dongle is back at work, after the Reset that the reconnection sent, and says its new
        // version.
        QVERIFY(CCommand::sendMsg(tab->msg(), tab->logger(), "Device Version Get", {}, {}));
        QTRY_VERIFY_WITH_TIMEOUT(m_bench.uplinkSeen(kVersion2317), 5000);
    }
};

QTEST_MAIN(TestE2eFirmware)
#include "tst_e2e_firmware.moc"
