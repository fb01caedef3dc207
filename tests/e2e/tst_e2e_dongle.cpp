#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

#include "app/cselectdongledlg.h"
#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "link/cmsg.h"
#include "simprocess.h"
#include "whenmodal.h"

namespace {

// Every label text of a dialog, joined, to find a message or a title in it.
QString labelTexts(QWidget* dialog)
{
    QString texts;
    for (const QLabel* label : dialog->findChildren<QLabel*>())
        texts += label->text() + '|';
    return texts;
}

} // namespace

// A user's session against tarvine-sim: pick a dongle, keep it alive, lose it.
class TestE2eDongle : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        // MainWindow keeps config.ini in the working directory; one group means no first-run prompt.
        m_oldDir = QDir::currentPath();
        QDir::setCurrent(m_workDir.path());
        QSettings config("config.ini", QSettings::IniFormat);
        config.setValue("Bench/TabWidgetNumber", 0);
        applyFlatStyle();

        m_sim = std::make_unique<SimProcess>(QStringList{"--dongles", "2"});
        QVERIFY(m_sim->readLine().startsWith("ttySIM0 -> "));
        QVERIFY(m_sim->readLine().startsWith("ttySIM1 -> "));
        m_window = std::make_unique<MainWindow>();
        m_window->show();
    }
    void cleanup()
    {
        m_window.reset();
        m_sim.reset();
        QDir::setCurrent(m_oldDir);
    }
    void unplugClosesOnlyTheConnectedPort()
    {
        MainDongleWidget* tab = m_window->firstDongle();
        selectFirstDongle(tab);
        auto* dialog = tab->findChild<CSelectDongleDialog*>();
        auto* tree = dialog->findChild<QTreeWidget*>("deviceTree");

        // Another dongle going away only leaves the list.
        QCOMPARE(m_sim->control("unplug 1"), QString("ok"));
        QTRY_COMPARE_WITH_TIMEOUT(tree->topLevelItem(0)->childCount(), 1, 2500);
        QVERIFY(tab->msg()->isOpen());

        // The connected one closes the port, says so, and offers the selection again.
        QString message;
        bool selectionShown = false;
        whenModal([&](QWidget* box) {
            message = labelTexts(box);
            box->close();
            whenModal([&](QWidget* selection) {
                selectionShown = selection == dialog;
                selection->close();
            });
        });
        QCOMPARE(m_sim->control("unplug 0"), QString("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(selectionShown, 2500);
        QVERIFY2(message.contains("ERROR|")
                     && message.contains("The dongle hardware connection has been cut,\r\nPlease check it.|"),
                 qPrintable(message));
        QVERIFY(!tab->msg()->isOpen());
        QVERIFY(!tab->findChild<QToolButton*>("toolButton_reset")->isEnabled());
    }
    void connectedDongleBeatsUntilItFallsSilent()
    {
        MainDongleWidget* tab = m_window->firstDongle();
        auto* reset = tab->findChild<QToolButton*>("toolButton_reset");
        QVERIFY(!reset->isEnabled());
        selectFirstDongle(tab);
        QVERIFY(reset->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(tab->config().contains("profile"), 10000);
        m_window->grab().save(SCREENSHOT_DIR "e2e_connected.png");

        // A heartbeat a second. One may wait a tick or two behind other frames in the send queue,
        // so the pace is judged over several of them.
        QVector<qint64> sentAt;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                sentAt.clear();
                for (const SimProcess::TraceLine& line : m_sim->trace()) {
                    if (line.direction == "down" && line.bytes.startsWith(QByteArray::fromHex("aa0184")))
                        sentAt.append(line.ms);
                }
                return sentAt.size() >= 4;
            }(),
            10000);
        const qint64 meanInterval = (sentAt.last() - sentAt.first()) / (sentAt.size() - 1);
        QVERIFY2(meanInterval >= 900, qPrintable(QString::number(meanInterval)));

        // Unanswered heartbeats: reported dead about twenty seconds later, the port kept open.
        QString report;
        whenModal(
            [&](QWidget* box) {
                report = labelTexts(box);
                box->grab().save(SCREENSHOT_DIR "e2e_firmware_error.png");
                box->close();
            },
            3000);
        QElapsedTimer silence;
        QCOMPARE(m_sim->control("mute 0 on"), QString("ok"));
        silence.start();
        QTRY_VERIFY_WITH_TIMEOUT(!report.isEmpty(), 30000);
        // The last acknowledged heartbeat may predate the mute by up to a second.
        QVERIFY2(silence.elapsed() >= 18000, qPrintable(QString::number(silence.elapsed())));
        QVERIFY2(report.contains("Bench: Firmware Error|")
                     && report.contains("Some Error happened on Firmware!\r\nPlease Press Reset Button on the Dongle.|"),
                 qPrintable(report));
        QVERIFY(tab->msg()->isOpen());
        tab->prepareDelete();
    }

private:
    // Runs the tab's selection dialog, waits for its first probe, and presses Connect.
    void selectFirstDongle(MainDongleWidget* tab)
    {
        QStringList listed;
        whenModal([&](QWidget* dialog) {
            // The first probe runs two seconds after the dialog is made.
            const QTreeWidgetItem* root = dialog->findChild<QTreeWidget*>("deviceTree")->topLevelItem(0);
            const bool both = QTest::qWaitFor([&] { return root->childCount() == 2; }, 10000);
            for (int i = 0; i < root->childCount(); ++i)
                listed.append(root->child(i)->text(0));
            dialog->grab().save(SCREENSHOT_DIR "e2e_selectdongle.png");
            if (both)
                dialog->findChild<QPushButton*>("PB_Connect")->click();
            else
                dialog->close();
        });
        tab->on_toolButton_selectDongle_clicked();
        QCOMPARE(listed, QStringList({"Tarvine Virtual Dongle(ttySIM0)", "Tarvine Virtual Dongle(ttySIM1)"}));
        QVERIFY(tab->msg()->isOpen());
        QCOMPARE(tab->msg()->portName(), QString("ttySIM0"));
    }

    QTemporaryDir m_workDir;
    QString m_oldDir;
    std::unique_ptr<SimProcess> m_sim;
    std::unique_ptr<MainWindow> m_window;
};

QTEST_MAIN(TestE2eDongle)
#include "tst_e2e_dongle.moc"
