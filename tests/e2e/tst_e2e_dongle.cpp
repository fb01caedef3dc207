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
#include "link/portregistry.h"
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
        // As the port watcher's next look would: the registry forgets the gone terminals, whose
        // numbers the next simulator may get for other ports.
        PortRegistry::availablePorts();
        QDir::setCurrent(m_oldDir);
    }
    // Another dongle going away only leaves the list. The connected one pulled out while a frame
    // is half on the wire, again and again: each time the tab says the connection was cut, and
    // once the port is back the dongle is selected and answers.
    // TARVINE_UNPLUG_CYCLES sets how many times (100 for a long run by hand).
    void unplugMidFrameAndBack()
    {
        const int cycles = qEnvironmentVariableIsSet("TARVINE_UNPLUG_CYCLES")
                               ? qEnvironmentVariableIntValue("TARVINE_UNPLUG_CYCLES") : 3;
        MainDongleWidget* tab = m_window->firstDongle();
        selectFirstDongle(tab);
        auto* dialog = tab->findChild<CSelectDongleDialog*>();
        auto* tree = dialog->findChild<QTreeWidget*>("deviceTree");
        QCOMPARE(m_sim->control("unplug 1"), QString("ok"));
        QTRY_COMPARE_WITH_TIMEOUT(tree->topLevelItem(0)->childCount(), 1, 2500);
        QVERIFY(tab->msg()->isOpen());
        for (int cycle = 1; cycle <= cycles; ++cycle) {
            // Working: the start-up queries since the last (re)connection are all answered.
            QTRY_VERIFY_WITH_TIMEOUT(startupAnsweredSince(m_connectedAt), 15000);

            QString message;
            bool reselected = false, closedAndOffered = false;
            whenModal([&](QWidget* box) {
                message = labelTexts(box);
                box->close();
                whenModal([&](QWidget* selection) {
                    if (selection != dialog) {
                        selection->close();
                        return;
                    }
                    closedAndOffered = !tab->msg()->isOpen()
                        && !tab->findChild<QToolButton*>("toolButton_reset")->isEnabled();
                    m_sim->control("plug 0");
                    // The port counts once the watcher has told the dialog, which a Refresh
                    // before then misses: refresh until the probe finds it.
                    auto* refresh = dialog->findChild<QPushButton*>("pb_Refresh");
                    const QString wanted = QStringLiteral("Tarvine Virtual Dongle(ttySIM0)");
                    const auto listed = [&] {
                        const auto items = tree->findItems(wanted, Qt::MatchExactly | Qt::MatchRecursive);
                        return items.isEmpty() ? nullptr : items.first();
                    };
                    const bool found = QTest::qWaitFor([&] {
                        if (!refresh->isEnabled())
                            return false;
                        if (listed())
                            return true;
                        refresh->click();
                        return false;
                    }, 10000);
                    if (!found) {
                        selection->close();
                        return;
                    }
                    tree->setCurrentItem(listed());
                    m_connectedAt = m_sim->trace().size();
                    dialog->findChild<QPushButton*>("PB_Connect")->click();
                    reselected = true;
                });
            });
            // Half a scan report: its header promises 30 bytes that never come.
            QCOMPARE(m_sim->control("inject 0 DD01021E00C65A1000"), QString("ok"));
            QCOMPARE(m_sim->control("unplug 0"), QString("ok"));
            QTRY_VERIFY_WITH_TIMEOUT(reselected, 10000);
            QVERIFY2(message.contains("ERROR|")
                         && message.contains("The dongle hardware connection has been cut,\r\nPlease check it.|"),
                     qPrintable(QString("cycle %1: %2").arg(cycle).arg(message)));
            QVERIFY2(closedAndOffered && tab->msg()->isOpen(), qPrintable(QString("cycle %1").arg(cycle)));
        }
        QTRY_VERIFY_WITH_TIMEOUT(startupAnsweredSince(m_connectedAt), 15000);
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

        // A heartbeat a second. Any one may wait behind other frames in the send queue, or for a
        // busy machine, which shortens the interval after it: over several, the late ones may
        // take back at most one second between them.
        QVector<SimProcess::TraceLine> beats;
        QTRY_VERIFY_WITH_TIMEOUT((beats = m_sim->trace("down", QByteArray::fromHex("aa0184"))).size() >= 4, 10000);
        const qint64 spread = beats.last().ms - beats.first().ms;
        QVERIFY2(spread >= (beats.size() - 2) * 1000,
                 qPrintable(QStringLiteral("%1 heartbeats in %2 ms").arg(beats.size()).arg(spread)));

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
    // Past the first `from` lines of the trace, the tool has sent its last start-up query and the
    // simulator has answered it: the link works both ways.
    bool startupAnsweredSince(int from) const
    {
        const QVector<SimProcess::TraceLine> trace = m_sim->trace();
        bool asked = false;
        for (int i = from; i < trace.size(); ++i) {
            const SimProcess::TraceLine& line = trace.at(i);
            if (line.direction == "down" && line.bytes.startsWith(QByteArray::fromHex("aa010d")))
                asked = true;
            if (asked && line.direction == "up" && line.bytes.startsWith(QByteArray::fromHex("dd010e")))
                return true;
        }
        return false;
    }

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
            QCoreApplication::processEvents(); // the details' new layout
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
    int m_connectedAt = 0; // trace lines before the last connection
};

QTEST_MAIN(TestE2eDongle)
#include "tst_e2e_dongle.moc"
