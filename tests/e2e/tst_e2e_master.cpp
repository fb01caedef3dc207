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
#include "settingsui.h"
#include "simprocess.h"
#include "whenmodal.h"

namespace {

// The heart-rate sensor of the simulator's default world.
const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
const QString kSensorTab = QStringLiteral("Peer Address: ") + kSensor;

int tabIndex(QTabWidget* tabs, const QString& text)
{
    for (int i = 0; i < tabs->count(); ++i)
        if (tabs->tabText(i) == text)
            return i;
    return -1;
}

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
    QToolButton* button(const char* name) const { return m_page->findChild<QToolButton*>(name); }
    QTableView* table() const { return m_page->findChild<QTableView*>("tableView_devices"); }
    QTabWidget* tabs() const { return m_tab->pageTabs(); }
    QModelIndex at(int row, const QString& title) const;
    int rowOf(const QString& address) const
    {
        const auto hits = m_page->model()->match(at(0, "Bluetooth Address"), Qt::DisplayRole, address, 1, Qt::MatchExactly);
        return hits.isEmpty() ? -1 : hits.first().row();
    }
    QString cell(int row, const QString& title) const { return at(row, title).data().toString(); }
    // The Connected column shows state 2 as an icon, and no text.
    bool shownConnected(int row) const { return !at(row, "Connected").data(Qt::DecorationRole).isNull(); }
    void scanUntilHeard(const QStringList& addresses);
    bool uplinkSeen(const QByteArray& prefix) const;

    QTemporaryDir m_workDir;
    std::unique_ptr<SimProcess> m_sim;
    std::unique_ptr<MainWindow> m_window;
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
    // MainWindow writes its settings back at exit: start every test from the defaults.
    QSettings config("config.ini", QSettings::IniFormat);
    config.clear();
    config.setValue("Bench/TabWidgetNumber", 0);
    config.sync();

    m_sim = std::make_unique<SimProcess>(QStringList{"--dongles", "1"});
    QVERIFY(m_sim->readLine().startsWith("ttySIM0 -> "));
    m_window = std::make_unique<MainWindow>();
    m_window->resize(1400, 800);
    m_window->show();
    m_tab = m_window->firstDongle();
    m_page = m_tab->connectionWidget();
    QCOMPARE(m_tab->msg()->openPort("ttySIM0"), 0);
    m_tab->onConnectionStatusChanged(true);
    // The answer to the last start-up query but one fills "profile".
    QTRY_VERIFY_WITH_TIMEOUT(!m_tab->config().value("profile").toByteArray().isEmpty(), 10000);
}

void TestE2eMaster::cleanup()
{
    if (m_tab)
        m_tab->prepareDelete();
    m_window.reset();
    m_sim.reset();
}

QModelIndex TestE2eMaster::at(int row, const QString& title) const
{
    for (int c = 0; c < m_page->model()->columnCount(); ++c)
        if (m_page->model()->headerData(c, Qt::Horizontal).toString() == title)
            return m_page->model()->index(row, c);
    return QModelIndex();
}

// Scans until every address has a row, then presses the first one's Device cell as a user does.
void TestE2eMaster::scanUntilHeard(const QStringList& addresses)
{
    QToolButton* scan = button("buttonScan");
    scan->click();
    // Only the dongle's DD@01@F0 turns the button.
    QCOMPARE(scan->text(), QString("Start Scan"));
    QTRY_COMPARE_WITH_TIMEOUT(scan->text(), QString("Stop Scan"), 10000);
    QVERIFY(uplinkSeen(QByteArray::fromHex("dd01f0")));
    for (const QString& address : addresses)
        QTRY_VERIFY2_WITH_TIMEOUT(rowOf(address) >= 0, qPrintable(address), 10000);
    const int row = rowOf(addresses.first());
    const QModelIndex index = m_page->model()->index(row, 0);
    table()->scrollTo(index);
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, table()->visualRect(index).center());
    QCOMPARE(table()->currentIndex().row(), row);
}

bool TestE2eMaster::uplinkSeen(const QByteArray& prefix) const
{
    for (const SimProcess::TraceLine& line : m_sim->trace())
        if (line.direction == "up" && line.bytes.startsWith(prefix))
            return true;
    return false;
}

void TestE2eMaster::scanConnectDisconnectAndRefuse()
{
    scanUntilHeard({kSensor, "c6:5a:10:00:00:02", "c6:5a:10:00:00:03", "c6:5a:10:00:00:04", "c6:5a:10:00:00:05",
                    "c6:5a:10:00:00:06"});
    const int sensor = rowOf(kSensor);
    // The names come with the scan responses; the beacon advertises none.
    QTRY_COMPARE_WITH_TIMEOUT(cell(sensor, "Device"), QString("Tarvine HR"), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(cell(rowOf("c6:5a:10:00:00:03"), "Device"), QString("Tarvine Thermo"), 10000);
    QCOMPARE(cell(rowOf("c6:5a:10:00:00:04"), "Device"), QString("Peer Device"));
    QCOMPARE(cell(sensor, "Advertisement Type"), QString("Report Is Complete | Connectable | Scannable"));
    const int broadcaster = rowOf("c6:5a:10:00:00:06");
    QCOMPARE(cell(broadcaster, "Secondary PHY Type"), QString("2M"));
    QVERIFY(cell(broadcaster, "Advertisement Type").endsWith("Syncable"));
    QVERIFY(m_window->grab().save(SCREENSHOT_DIR "master-scanning.png"));

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
    const int tab = tabIndex(tabs(), kSensorTab);
    QVERIFY(tab >= 0);
    QCOMPARE(tabs()->tabText(tab + 1), QString("Slave"));
    QCOMPARE(tabs()->currentIndex(), tab);
    QVERIFY(tabs()->grab().save(SCREENSHOT_DIR "connection-tab.png"));

    // The tab's own close button disconnects.
    auto* close = qobject_cast<QToolButton*>(tabs()->tabBar()->tabButton(tab, QTabBar::RightSide));
    QVERIFY(close);
    QTest::mouseClick(close, Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(tabIndex(tabs(), kSensorTab), -1, 10000);
    QCOMPARE(connect->text(), QString("Connect"));

    // Again, and this time the peer goes away.
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    QCOMPARE(m_page->masterCondixes().size(), 1);
    const int condix = quint8(m_page->masterCondixes().at(0));
    QCOMPARE(m_sim->control(QString("drop 0 %1").arg(condix)), QString("ok"));
    QTRY_COMPARE_WITH_TIMEOUT(tabIndex(tabs(), kSensorTab), -1, 10000);
    QCOMPARE(connect->text(), QString("Connect"));
    QVERIFY(!shownConnected(sensor));
    QVERIFY(m_page->masterCondixes().isEmpty());

    // Once more, and the dongle refuses the connect.
    QCOMPARE(m_sim->control("status 0 01@3F 12"), QString("ok"));
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
