#include <QLabel>
#include <QTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

#include "adv/advertisingwidget.h"
#include "adv/cadvbasewidget.h"
#include "gap/clayerwidget.h"
#include "../adv/advpage.h"
#include "masterbench.h"

namespace {

// The simulator's first dongle, which advertises.
const QString kPeripheral = "00:00:5e:00:53:10";

} // namespace

// Two simulated dongles in one tool: the first advertises from its Slave page, the second scans
// and connects from its Master page.
class TestE2eAdv : public QObject
{
    Q_OBJECT
    std::unique_ptr<MasterBench> m_bench;
    MainDongleWidget* m_peripheral = nullptr;
    advertisingWidget* m_slave = nullptr;

    // Adds a set of the kind under the index, set up as the user would, and starts it.
    CAdvBaseWidget* startSet(int advIndex, const char* kind, const QStringList& settings);
    bool running(int advIndex) const;

private slots:
    void initTestCase() { qRegisterMetaType<uint8_t>("uint8_t"); }
    void init()
    {
        m_bench = std::make_unique<MasterBench>();
        m_bench->start({"Peripheral", "Central"});
        m_peripheral = m_bench->dongle("Peripheral");
        m_slave = m_peripheral->advertisingPage();
        m_bench->use(m_bench->dongle("Central"));
    }
    void cleanup() { m_bench.reset(); }
    void legacySetIsFoundAndConnected();
    void extendedPeriodicAndTimedSets();
};

CAdvBaseWidget* TestE2eAdv::startSet(int advIndex, const char* kind, const QStringList& settings)
{
    m_slave->on_addAdvertisingItem(advIndex, QLatin1String(kind));
    auto* page = m_slave->findChildren<CAdvBaseWidget*>(QString(), Qt::FindDirectChildrenOnly).last();
    applySettings(page, settings);
    ModalCatcher boxes;
    m_slave->findChild<QPushButton*>("btnStartAdv")->click();
    if (!QTest::qWaitFor([&] { return running(advIndex) || !boxes.shown.isEmpty(); }, 10000))
        qWarning("set %d did not start", advIndex);
    if (!boxes.shown.isEmpty())
        qWarning("refused: %s", qPrintable(boxes.shown.join(" / ")));
    return page;
}

bool TestE2eAdv::running(int advIndex) const
{
    auto* view = m_slave->findChild<QTableView*>("tableView_advList");
    const QModelIndexList rows = view->model()->match(view->model()->index(0, 0), Qt::DisplayRole, advIndex, 1, Qt::MatchExactly);
    return !rows.isEmpty() && !view->model()->index(rows.first().row(), 2).data(Qt::DecorationRole).isNull();
}

void TestE2eAdv::legacySetIsFoundAndConnected()
{
    startSet(0, CAdvBaseWidget::LegacyKind, {"adv:Complete Local Name=Tarvine Adv"});
    QVERIFY(running(0));

    // A running set is an air action: the static settings wait.
    QCOMPARE(setAllRefusal(m_peripheral), QString("error: cannot set params when air action is on"));

    m_bench->button("buttonScan")->click();
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->rowOf("Tarvine Adv", "Device") >= 0, 10000);
    const int row = m_bench->rowOf("Tarvine Adv", "Device");
    QCOMPARE(m_bench->cell(row, "Advertisement Type"), QString("Report Is Complete | Connectable | Scannable"));
    const QString address = m_bench->cell(row, "Bluetooth Address");
    m_bench->press(address);
    const auto* tree = m_bench->page->findChild<QTreeWidget*>("treeWidget_advertising");
    // General discoverable: the dongle's stack says so in the Flags it puts first.
    QVERIFY(!tree->findItems("Flag Data:0x06", Qt::MatchExactly | Qt::MatchRecursive).isEmpty());

    QToolButton* connect = m_bench->button("buttonConnect");
    connect->click();
    QTRY_COMPARE_WITH_TIMEOUT(connect->text(), QString("Disconnect"), 10000);
    // The advertiser's side: a slave connection tab, and the set ended by the connection.
    QTabWidget* pages = m_peripheral->pageTabs();
    QTRY_VERIFY_WITH_TIMEOUT(qobject_cast<CLayerWidget*>(pages->widget(pages->count() - 1)), 10000);
    QCOMPARE(qobject_cast<CLayerWidget*>(pages->widget(pages->count() - 1))->role(), uint8_t(1));
    QTRY_VERIFY_WITH_TIMEOUT(!running(0), 10000);
    m_slave->on_tableView_advListClicked(m_slave->findChild<QTableView*>("tableView_advList")->currentIndex());
    QCOMPARE(m_slave->findChild<QPushButton*>("btnStartAdv")->text(), QString("Start Advertising"));
}

void TestE2eAdv::extendedPeriodicAndTimedSets()
{
    m_bench->button("buttonScan")->click();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->button("buttonScan")->text(), QString("Stop Scan"), 10000);

    // 200 bytes, far more than a legacy set carries, seen whole by the scanner behind the Flags
    // that the dongle's stack puts first.
    startSet(1, CAdvBaseWidget::ExtendedKind, {"cb_econnect=0", "adv=200"});
    QVERIFY(running(1));
    const auto* raw = m_bench->page->findChild<QTextEdit*>("rawData_advertising");
    const QString payload = "02:01:06:" + customOfSize(200).toLower();
    const auto heard = [this] { return m_bench->rowOf(kPeripheral) >= 0; };
    QTRY_VERIFY_WITH_TIMEOUT(heard() && (m_bench->press(kPeripheral), raw->toPlainText() == payload), 10000);

    // A periodic set is one to synchronise with. Both sets share the dongle's address, and so
    // one row, which shows whichever was heard last.
    startSet(2, CAdvBaseWidget::PeriodicKind, {"adv=3", "padv=ABCD"});
    QVERIFY(running(2));
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->cell(m_bench->rowOf(kPeripheral), "Advertisement Type").endsWith("Syncable"), 10000);

    // A set with a duration ends by itself, and the page is editable again.
    CAdvBaseWidget* timed = startSet(3, CAdvBaseWidget::LegacyKind,
                                     {"cmb_advmode=1", "adv=3", "le_duration=300"});
    QVERIFY(running(3));
    QVERIFY(!timed->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!running(3), 10000);
    QVERIFY(timed->isEnabled());
    QVERIFY(running(1) && running(2));

    m_peripheral->pageTabs()->setCurrentIndex(1);
    QVERIFY(m_bench->window->grab().save(SCREENSHOT_DIR "e2e-slave-page.png"));
}

QTEST_MAIN(TestE2eAdv)
#include "tst_e2e_adv.moc"
