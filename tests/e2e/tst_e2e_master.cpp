#include <QComboBox>
#include <QPushButton>
#include <QTabBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

#include "masterbench.h"
#include "settingsui.h"

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
    void init()
    {
        m_bench = std::make_unique<MasterBench>();
        m_bench->start();
    }
    void cleanup() { m_bench.reset(); }
    void scanConnectDisconnectAndRefuse();
    void autoConnectTimesOut();

private:
    QString cell(int row, const QString& title) const { return m_bench->cell(row, title); }
    // The Connected column shows state 2 as an icon, and no text.
    bool shownConnected(int row) const { return !m_bench->at(row, "Connected").data(Qt::DecorationRole).isNull(); }

    std::unique_ptr<MasterBench> m_bench;
};

void TestE2eMaster::scanConnectDisconnectAndRefuse()
{
    m_bench->scanUntilHeard({kSensor, "c6:5a:10:00:00:02", "c6:5a:10:00:00:03", "c6:5a:10:00:00:04",
                             "c6:5a:10:00:00:05", "c6:5a:10:00:00:06"});
    const int sensor = m_bench->rowOf(kSensor);
    // The names come with the scan responses; the beacon advertises none.
    QTRY_COMPARE_WITH_TIMEOUT(cell(sensor, "Device"), QString("Tarvine HR"), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(cell(m_bench->rowOf("c6:5a:10:00:00:03"), "Device"), QString("Tarvine Thermo"), 10000);
    QCOMPARE(cell(m_bench->rowOf("c6:5a:10:00:00:04"), "Device"), QString("Peer Device"));
    QCOMPARE(cell(sensor, "Advertisement Type"), QString("Report Is Complete | Connectable | Scannable"));
    const int broadcaster = m_bench->rowOf("c6:5a:10:00:00:06");
    QCOMPARE(cell(broadcaster, "Secondary PHY Type"), QString("2M"));
    QVERIFY(cell(broadcaster, "Advertisement Type").endsWith("Syncable"));
    QVERIFY(m_bench->window->grab().save(SCREENSHOT_DIR "master-scanning.png"));

    QCOMPARE(m_bench->page->findChild<QTreeWidget*>("treeWidget_advertising")->topLevelItemCount(), 3);
    QVERIFY(m_bench->page->grab().save(SCREENSHOT_DIR "master-pressed-row.png"));

    QToolButton* connect = m_bench->button("buttonConnect");
    connect->click();
    // Pending until the peer's next advertising event: the table waits, "Cancel" is the way on.
    QCOMPARE(connect->text(), QString("Cancel"));
    QVERIFY(!m_bench->table()->isEnabled());
    QVERIFY(!m_bench->button("buttonScan")->isEnabled());
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    QVERIFY(shownConnected(sensor));
    const int tab = m_bench->tabIndex(kSensorTab);
    QVERIFY(tab >= 0);
    QCOMPARE(m_bench->tabs()->tabText(tab + 1), QString("Slave"));
    QCOMPARE(m_bench->tabs()->currentIndex(), tab);
    QVERIFY(m_bench->tabs()->grab().save(SCREENSHOT_DIR "connection-tab.png"));

    // The tab's own close button disconnects.
    auto* close = qobject_cast<QToolButton*>(m_bench->tabs()->tabBar()->tabButton(tab, QTabBar::RightSide));
    QVERIFY(close);
    QTest::mouseClick(close, Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->tabIndex(kSensorTab), -1, 10000);
    QCOMPARE(connect->text(), QString("Connect"));

    // Again, and this time the peer goes away.
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    QCOMPARE(m_bench->page->masterCondixes().size(), 1);
    const int condix = quint8(m_bench->page->masterCondixes().at(0));
    QCOMPARE(m_bench->sim->control(QString("drop 0 %1").arg(condix)), QString("ok"));
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->tabIndex(kSensorTab), -1, 10000);
    QCOMPARE(connect->text(), QString("Connect"));
    QVERIFY(!shownConnected(sensor));
    QVERIFY(m_bench->page->masterCondixes().isEmpty());

    // Once more, and the dongle refuses the connect.
    QCOMPARE(m_bench->sim->control("status 0 01@3F 12"), QString("ok"));
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Connect"), 10000);
    QVERIFY(m_bench->uplinkSeen(QByteArray::fromHex("bb013f01000c")));
    QVERIFY(!shownConnected(sensor));
    QVERIFY(m_bench->table()->isEnabled());
    m_bench->button("buttonScan")->click();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->button("buttonScan")->text(), QString("Start Scan"), 10000);
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
    m_bench->tab->findChild<QToolButton*>("toolButton_configureSettings")->click();
    QVERIFY(applied);
    QCOMPARE(m_bench->tab->config().value("5_0_conn_timeout"), QString("000a"));

    QToolButton* autoConnect = m_bench->button("buttonAutoConnect");
    autoConnect->click();
    QCOMPARE(autoConnect->text(), QString("Cancel Auto Connect"));
    // The white list is empty: nobody to connect to, so the dongle gives up.
    QTRY_COMPARE_WITH_TIMEOUT(autoConnect->text(), QString("Auto Connect"), 10000);
    QVERIFY(m_bench->uplinkSeen(QByteArray::fromHex("dd0180")));
}

QTEST_MAIN(TestE2eMaster)
#include "tst_e2e_master.moc"
