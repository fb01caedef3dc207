#include <QComboBox>
#include <QPushButton>
#include <QTabBar>
#include <QTableView>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "gap/cconnectionwidget.h"
#include "link/cmsg.h"
#include "masterbench.h"
#include "settingsui.h"
#include "whenmodal.h"

namespace {

// The heart-rate sensor of the simulator's default world.
const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
const QString kSensorTab = QStringLiteral("Peer Address: ") + kSensor;

} // namespace

// The Master page against tarvine-sim: scan, connect, disconnect, automatic and refused connects.
class TestE2eMaster : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void scanConnectDisconnectAndRefuse();
    void autoConnectTimesOut();

private:
    QToolButton* button(const char* name) const { return m_bench->button(name); }
    QTableView* table() const { return m_bench->table(); }
    QTabWidget* tabs() const { return m_bench->tabs(); }
    int tabIndex(const QString& text) const { return m_bench->tabIndex(text); }
    int rowOf(const QString& address) const { return m_bench->rowOf(address); }
    QString cell(int row, const QString& title) const { return m_bench->cell(row, title); }
    // The Connected column shows state 2 as an icon, and no text.
    bool shownConnected(int row) const { return !m_bench->at(row, "Connected").data(Qt::DecorationRole).isNull(); }
    bool uplinkSeen(const QByteArray& prefix) const { return m_bench->uplinkSeen(prefix); }

    QTemporaryDir m_workDir;
    std::unique_ptr<MasterBench> m_bench;
    MainDongleWidget* m_tab = nullptr;
    CConnectionWidget* m_page = nullptr;
};

void TestE2eMaster::initTestCase()
{
    QDir::setCurrent(m_workDir.path());
    applyFlatStyle();
}

void TestE2eMaster::init()
{
    m_bench = std::make_unique<MasterBench>();
    m_bench->start();
    m_tab = m_bench->tab;
    m_page = m_bench->page;
}

void TestE2eMaster::cleanup()
{
    m_bench.reset();
}

void TestE2eMaster::scanConnectDisconnectAndRefuse()
{
    m_bench->scanUntilHeard({kSensor, "c6:5a:10:00:00:02", "c6:5a:10:00:00:03", "c6:5a:10:00:00:04",
                             "c6:5a:10:00:00:05", "c6:5a:10:00:00:06"});
    const int sensor = rowOf(kSensor);
    // The names come with the scan responses; the beacon advertises none.
    QTRY_COMPARE_WITH_TIMEOUT(cell(sensor, "Device"), QString("Tarvine HR"), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(cell(rowOf("c6:5a:10:00:00:03"), "Device"), QString("Tarvine Thermo"), 10000);
    QCOMPARE(cell(rowOf("c6:5a:10:00:00:04"), "Device"), QString("Peer Device"));
    QCOMPARE(cell(sensor, "Advertisement Type"), QString("Report Is Complete | Connectable | Scannable"));
    const int broadcaster = rowOf("c6:5a:10:00:00:06");
    QCOMPARE(cell(broadcaster, "Secondary PHY Type"), QString("2M"));
    QVERIFY(cell(broadcaster, "Advertisement Type").endsWith("Syncable"));
    QVERIFY(m_bench->window->grab().save(SCREENSHOT_DIR "master-scanning.png"));

    QCOMPARE(m_page->findChild<QTreeWidget*>("treeWidget_advertising")->topLevelItemCount(), 3);
    QVERIFY(m_page->grab().save(SCREENSHOT_DIR "master-pressed-row.png"));

    QToolButton* connect = button("buttonConnect");
    connect->click();
    // Pending until the peer's next advertising event: the table waits, "Cancel" is the way on.
    QCOMPARE(connect->text(), QString("Cancel"));
    QVERIFY(!table()->isEnabled());
    QVERIFY(!button("buttonScan")->isEnabled());
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    QVERIFY(shownConnected(sensor));
    const int tab = tabIndex(kSensorTab);
    QVERIFY(tab >= 0);
    QCOMPARE(tabs()->tabText(tab + 1), QString("Slave"));
    QCOMPARE(tabs()->currentIndex(), tab);
    QVERIFY(tabs()->grab().save(SCREENSHOT_DIR "connection-tab.png"));

    // The tab's own close button disconnects.
    auto* close = qobject_cast<QToolButton*>(tabs()->tabBar()->tabButton(tab, QTabBar::RightSide));
    QVERIFY(close);
    QTest::mouseClick(close, Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(tabIndex(kSensorTab), -1, 10000);
    QCOMPARE(connect->text(), QString("Connect"));

    // Again, and this time the peer goes away.
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    QCOMPARE(m_page->masterCondixes().size(), 1);
    const int condix = quint8(m_page->masterCondixes().at(0));
    QCOMPARE(m_bench->sim->control(QString("drop 0 %1").arg(condix)), QString("ok"));
    QTRY_COMPARE_WITH_TIMEOUT(tabIndex(kSensorTab), -1, 10000);
    QCOMPARE(connect->text(), QString("Connect"));
    QVERIFY(!shownConnected(sensor));
    QVERIFY(m_page->masterCondixes().isEmpty());

    // Once more, and the dongle refuses the connect.
    QCOMPARE(m_bench->sim->control("status 0 01@3F 12"), QString("ok"));
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Connect"), 10000);
    QVERIFY(uplinkSeen(QByteArray::fromHex("bb013f01000c")));
    QVERIFY(!shownConnected(sensor));
    QVERIFY(table()->isEnabled());
    button("buttonScan")->click();
    QTRY_COMPARE_WITH_TIMEOUT(button("buttonScan")->text(), QString("Start Scan"), 10000);
}

void TestE2eMaster::autoConnectTimesOut()
{
    // Automatic connection with a 100 ms time-out, set as a user does in the settings dialog.
    bool applied = false;
    whenModal([&](QWidget* modal) {
        const auto closeAnyway = qScopeGuard([modal] { modal->close(); });
        auto* dialog = qobject_cast<CSettingDialog*>(modal);
        QVERIFY(dialog);
        showPage(dialog, "Connection Parameters");
        auto* type = dialog->setting("5_0_conn_type")->findChild<QComboBox*>();
        type->setCurrentIndex(type->findData(1u));
        typeInto(dialog, "5_0_conn_timeout", "100");
        dialog->findChild<QPushButton*>("btn_apply")->click();
        applied = !dialog->isVisible();
    });
    m_tab->findChild<QToolButton*>("toolButton_configureSettings")->click();
    QVERIFY(applied);
    QCOMPARE(m_tab->config().value("5_0_conn_timeout"), QString("000a"));

    QToolButton* autoConnect = button("buttonAutoConnect");
    autoConnect->click();
    QCOMPARE(autoConnect->text(), QString("Cancel Auto Connect"));
    // The white list is empty: nobody to connect to, so the dongle gives up.
    QTRY_COMPARE_WITH_TIMEOUT(autoConnect->text(), QString("Auto Connect"), 10000);
    QVERIFY(uplinkSeen(QByteArray::fromHex("dd0180")));
}

QTEST_MAIN(TestE2eMaster)
#include "tst_e2e_master.moc"
