#include <QComboBox>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QSpinBox>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include "../adv/advpage.h"
#include "adv/advertisingwidget.h"
#include "adv/cadvbasewidget.h"
#include "app/flat/cflatmessage.h"
#include "capturelogger.h"
#include "gap/adddevicedialog.h"
#include "gap/deviceentrymodel.h"
#include "air/blecrypto.h"
#include "gap/getinfodlg.h"
#include "log/logmanager.h"
#include "masterbench.h"
#include "schema/ccommanduiwidget.h"
#include "settings/csetting.h"
#include "settings/csettingdialog.h"

namespace {

// The default world's periodic broadcaster, and the second dongle, which runs a periodic set.
const QString kBroadcaster = "c6:5a:10:00:00:06";
const QString kPeripheral = "00:00:5e:00:53:11";

// The core's sample identity key, most significant byte first.
const QByteArray kPeerIrk = QByteArray::fromHex("ec0234a357c8ad05341010a60a397d9b");

QByteArray wireAddress(const QString& text)
{
    QByteArray bytes = QByteArray::fromHex(text.toLatin1());
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

} // namespace

// The dongle's lists, periodic sync and its own queries, through the Master page and the tool
// bar, against a simulated dongle.
class TestE2eDeviceLists : public QObject
{
    Q_OBJECT

    MasterBench m_bench;
    CaptureLogger* m_log = nullptr;

    QToolButton* tool(const char* name) const { return m_bench.tab->findChild<QToolButton*>(name); }
    QComboBox* listType() const { return m_bench.page->findChild<QComboBox*>("deviceListType"); }
    DeviceEntryModel* whiteListModel() const { return m_bench.page->deviceListModel(0); }
    QString listCell(int row, int column) const
    {
        auto* table = m_bench.page->findChild<QTableView*>("tableView_deviceList");
        return table->model()->index(row, column).data().toString();
    }
    // Adds an address to the white list through the Add dialog, as a user does.
    void addToWhiteList(const QString& address, bool random)
    {
        whenModal([&](QWidget* dialog) {
            dialog->findChild<QLineEdit*>("lineEdit_address")->setText(address);
            dialog->findChild<QComboBox*>("comboBox_addressType")->setCurrentIndex(random ? 1 : 0);
            dialog->findChild<QPushButton*>("pushButtonOK")->click();
        });
        m_bench.button("deviceListAdd")->click();
    }

    QComboBox* peers() const { return m_bench.page->findChild<QComboBox*>("comboBox_peerAddr"); }
    QList<int> syncIndexes() const
    {
        QList<int> indexes;
        for (int i = 0; i < peers()->count(); ++i)
            indexes.append(peers()->itemData(i).toInt());
        return indexes;
    }
    // Scans, presses the advertiser's row and syncs to it; the messages shown are closed and kept.
    void syncTo(const QString& address, QStringList* shown = nullptr)
    {
        if (m_bench.button("buttonScan")->text() == "Start Scan")
            m_bench.scanUntilHeard({address});
        QTRY_VERIFY_WITH_TIMEOUT(m_bench.rowOf(address) >= 0
                                     && m_bench.cell(m_bench.rowOf(address), "Advertisement Type").endsWith("Syncable"),
                                 10000);
        m_bench.press(address);
        const int before = peers()->count();
        ModalCatcher boxes;
        m_bench.button("buttonSync")->click();
        QTRY_VERIFY_WITH_TIMEOUT(peers()->count() == before + 1 && !boxes.shown.isEmpty(), 10000);
        if (shown)
            *shown = boxes.shown;
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<uint8_t>("uint8_t");
        qRegisterMetaType<uint16_t>("uint16_t");
        m_bench.start({"Central", "Peripheral"});
        m_bench.tab->logger()->addLogger(m_log = new CaptureLogger);
    }

    // Two devices added by hand and one from the scan table, then the list as the dongle has it.
    void whiteList()
    {
        listType()->setCurrentIndex(0);
        addToWhiteList("C6:5A:10:00:00:21", false);
        QTRY_COMPARE(whiteListModel()->rowCount(), 1);
        addToWhiteList("C6:5A:10:00:00:22", true);
        QTRY_COMPARE(whiteListModel()->rowCount(), 2);
        m_bench.scanUntilHeard({"c6:5a:10:00:00:01"});
        m_bench.button("buttonScan")->click();
        m_bench.button("buttonAddToWhiteList")->click();
        QTRY_COMPARE(whiteListModel()->rowCount(), 3);
        whiteListModel()->clear();
        m_bench.button("deviceListRefresh")->click();
        QTRY_COMPARE(whiteListModel()->rowCount(), 3);
        QCOMPARE(listCell(0, 0), QString("c6:5a:10:00:00:21"));
        QCOMPARE(listCell(1, 1), QString("Random"));
        QCOMPARE(listCell(2, 0), QString("c6:5a:10:00:00:01"));
        m_bench.page->grab().save(SCREENSHOT_DIR "devicelist-white.png");
    }

    // Ten entries fill the list: the eleventh is refused before its dialog opens, and the same
    // address again is refused by the dongle.
    void fullWhiteList()
    {
        for (int i = whiteListModel()->rowCount(); i < 10; ++i) {
            addToWhiteList(QString("C6:5A:10:00:01:%1").arg(i, 2, 10, QChar('0')), false);
            QTRY_COMPARE(whiteListModel()->rowCount(), i + 1);
        }
        QString opened;
        whenModal([&](QWidget* dialog) {
            opened = dialog->metaObject()->className();
            dialog->close();
        });
        m_bench.button("deviceListAdd")->click();
        QCOMPARE(opened, QString("CFlatMessage"));
        QVERIFY(m_log->contains("Can not add white list because white list is full.", 4));
        m_bench.button("deviceListClear")->click();
        QTRY_COMPARE(whiteListModel()->rowCount(), 0);
    }

    // Every form of Get Info shows what the dongle answered.
    void getInfo()
    {
        QMap<QString, QMap<QString, QString>> shown;
        bool answered = false;
        whenModal([&](QWidget* modal) {
            auto* dialog = qobject_cast<GetInfoDlg*>(modal);
            if (!dialog) {
                modal->close();
                return;
            }
            // Every answer, as the tool logs it.
            answered = QTest::qWaitFor([&] {
                for (CCommandUiWidget* form : dialog->forms())
                    if (!m_log->texts().join('\n').contains("Uplink Command Name: " + form->name() + "\r\n"))
                        return false;
                return true;
            }, 10000);
            for (CCommandUiWidget* form : dialog->forms())
                shown[form->name()] = form->formTexts();
            dialog->grab().save(SCREENSHOT_DIR "getinfodlg.png");
            dialog->close();
        });
        tool("toolButton_getInfo")->click();
        QVERIFY(answered);
        QCOMPARE(shown.size(), 8);
        QCOMPARE(shown["Device Version Get"]["lmp_ver"], QString("9"));
        QCOMPARE(shown["Device Version Get"]["manuf_name"], QString("65535"));
        QCOMPARE(shown["Device BD_Address Get"]["identity_addr"], QString("00:00:5E:00:53:10"));
        QCOMPARE(shown["Suggested Default Data Length Info Get"]["sugg_max_tx_time"], QString("328"));
        QCOMPARE(shown["Max Data Length Info Get"]["sugg_max_rx_octets"], QString("251"));
        QCOMPARE(shown["Number of Available Adv Sets Get"]["nb_adv_sets"], QString("5"));
        QCOMPARE(shown["Maximum Adv Data Length Get"]["max_adv_length"], QString("1650"));
        QCOMPARE(shown["TX Power Get"]["min_tx_pwr"], QString("-20"));
        QCOMPARE(shown["RF Path Compensation Values Get"]["rx_path_comp"], QString("0.0"));
    }

    // Two syncs take the indexes 0 and 1 and show their trains' data; a sync is an air action;
    // a stopped 0 is taken again; a lost train returns its sync.
    void periodicSync()
    {
        MainDongleWidget* peripheral = m_bench.dongle("Peripheral");
        advertisingWidget* slave = peripheral->advertisingPage();
        slave->on_addAdvertisingItem(2, QLatin1String(CAdvBaseWidget::PeriodicKind));
        applySettings(slave->findChildren<CAdvBaseWidget*>(QString(), Qt::FindDirectChildrenOnly).last(),
                      {"adv=3", "padv=ABCD"});
        slave->findChild<QPushButton*>("btnStartAdv")->click();

        QStringList shown;
        syncTo(kBroadcaster, &shown);
        QCOMPARE(shown, QStringList{"Info: synchronize succeeded."});
        syncTo(kPeripheral, &shown);
        QCOMPARE(shown, QStringList{"Info: synchronize succeeded."});
        QCOMPARE(syncIndexes(), (QList<int>{0, 1}));
        QCOMPARE(peers()->itemText(0), QString("randomc6:5a:10:00:00:06"));
        QTRY_VERIFY_WITH_TIMEOUT(m_bench.page->syncView(0)->toPlainText().contains("0b:ff:ff:ff:01:02:03:04:05:06:07:08"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(m_bench.page->syncView(1)->toPlainText().contains("ab:cd"), 10000);
        peers()->setCurrentIndex(0);
        m_bench.page->grab().save(SCREENSHOT_DIR "periodic-sync.png");
        // The handle of the sync shown goes to the BIG sync page: the first the dongle gave.
        QSignalSpy big(m_bench.page, &CConnectionWidget::masterBIGSucceed);
        m_bench.button("buttonMasterBIG")->click();
        QCOMPARE(big.size(), 1);
        QCOMPARE(big.first().first().toUInt(), 1u);

        // No scan, no link: the syncs alone hold the settings back.
        m_bench.button("buttonScan")->click();
        QTRY_COMPARE_WITH_TIMEOUT(m_bench.button("buttonScan")->text(), QString("Start Scan"), 10000);
        QCOMPARE(setAllRefusal(m_bench.tab), QString("error: cannot set params when air action is on"));

        m_bench.page->findChild<QToolButton*>("m_tbStopSync")->click();
        QTRY_COMPARE(syncIndexes(), QList<int>{1});
        syncTo(kBroadcaster);
        QCOMPARE(syncIndexes(), (QList<int>{1, 0}));
        QCOMPARE(m_bench.sim->control("lose 0 1"), QString("ok"));
        QTRY_COMPARE(syncIndexes(), QList<int>{0});
        QCOMPARE(m_bench.button("buttonSync")->toolTip(), QString("Start Sync"));
    }

    // With "Use periodic advertiser list", the dongle syncs to whom its list names: no row is
    // pressed.
    void periodicListSync()
    {
        m_bench.page->findChild<QToolButton*>("m_tbStopSync")->click();
        QTRY_VERIFY(syncIndexes().isEmpty());
        if (m_bench.button("buttonScan")->text() == "Stop Scan")
            m_bench.button("buttonScan")->click();
        QTRY_COMPARE_WITH_TIMEOUT(m_bench.button("buttonScan")->text(), QString("Start Scan"), 10000);

        listType()->setCurrentIndex(2);
        whenModal([](QWidget* dialog) {
            dialog->findChild<QLineEdit*>("lineEdit_address")->setText("C6:5A:10:00:00:06");
            dialog->findChild<QComboBox*>("comboBox_addressType")->setCurrentIndex(1);
            dialog->findChild<QSpinBox*>("spinBox_advSid")->setValue(2);
            dialog->findChild<QPushButton*>("pushButtonOK")->click();
        });
        m_bench.button("deviceListAdd")->click();
        QTRY_COMPARE(m_bench.page->deviceListModel(2)->rowCount(), 1);
        QCOMPARE(listCell(0, 2), QString("2"));

        whenModal([](QWidget* modal) {
            const auto closeAnyway = qScopeGuard([modal] { modal->close(); });
            auto* dialog = qobject_cast<CSettingDialog*>(modal);
            QVERIFY(dialog);
            dialog->setting("type")->setValue(1); // "Use periodic advertiser list for synchronization"
            dialog->findChild<QPushButton*>("pb_setAll")->click();
        });
        tool("toolButton_configureSettings")->click();
        QCOMPARE(m_bench.tab->config().value("type").toInt(), 1);

        m_bench.button("buttonScan")->click();
        QTRY_VERIFY_WITH_TIMEOUT(m_bench.button("buttonSync")->isEnabled(), 10000);
        QVERIFY(!m_bench.table()->currentIndex().isValid());
        ModalCatcher boxes;
        m_bench.button("buttonSync")->click();
        QTRY_COMPARE_WITH_TIMEOUT(syncIndexes(), QList<int>{0}, 10000);
        QCOMPARE(peers()->itemText(0), QString("randomc6:5a:10:00:00:06"));
        QCOMPARE(boxes.shown, QStringList{"Info: synchronize succeeded."});
    }

    // A bonded peer that gave its key stands in the resolving list, whose privacy mode the page
    // turns; the addresses read for it resolve with its key and with the dongle's own.
    void resolvableAddresses()
    {
        QCOMPARE(m_bench.sim->control("bond 0 C6:5A:10:00:00:01 0 " + kPeerIrk.toHex()), QString("ok"));
        listType()->setCurrentIndex(3);
        QTRY_COMPARE(m_bench.page->deviceListModel(3)->rowCount(), 1);
        QCOMPARE(listCell(0, 0), QString("c6:5a:10:00:00:01"));
        QCOMPARE(listCell(0, 2), QString("network"));
        QCOMPARE(listCell(0, 3), QString(kPeerIrk.toHex()));
        const QByteArray localIrk = QByteArray::fromHex(listCell(0, 4).toLatin1());
        auto* table = m_bench.page->findChild<QTableView*>("tableView_deviceList");
        table->setCurrentIndex(table->model()->index(0, 0));
        m_bench.button("devicePrivacyModeUpdate")->click();
        QTRY_COMPARE(listCell(0, 2), QString("device"));
        m_bench.page->grab().save(SCREENSHOT_DIR "devicelist-rpa.png");

        QString local;
        QString peer;
        bool answered = false;
        whenModal([&](QWidget* dialog) {
            dialog->findChild<QLineEdit*>("lineEdit_peerAddress")->setText("C6:5A:10:00:00:01");
            dialog->findChild<QPushButton*>("buttonPeer")->click();
            dialog->findChild<QPushButton*>("buttonLocal")->click();
            auto* localField = dialog->findChild<QLineEdit*>("lineEdit_localRpa");
            auto* peerField = dialog->findChild<QLineEdit*>("lineEdit_peerRpa");
            answered = QTest::qWaitFor([&] { return !localField->text().isEmpty() && !peerField->text().isEmpty(); }, 10000);
            local = localField->text();
            peer = peerField->text();
            dialog->grab().save(SCREENSHOT_DIR "resolveaddressdialog.png");
            dialog->close();
        });
        tool("toolButton_address")->click();
        QVERIFY(answered);
        QVERIFY2(BleCrypto::resolves(kPeerIrk, wireAddress(peer.remove(':'))), qPrintable(peer));
        QVERIFY2(BleCrypto::resolves(localIrk, wireAddress(local.remove(':'))), qPrintable(local));
    }

    // The offset goes to the dongle, and the dialog closes.
    void rfCalibration()
    {
        whenModal([](QWidget* dialog) {
            dialog->findChild<QLineEdit*>("lineEdit_xoOffset")->setText("0x1A2B");
            dialog->findChild<QPushButton*>("PB_Calibration")->click();
        });
        tool("toolButton_RfCalibraion")->click();
        QTRY_VERIFY(m_bench.sim->traced("down", QByteArray::fromHex("aa018302002b1a")) == 1);
        QTRY_VERIFY(m_bench.uplinkSeen(QByteArray::fromHex("bb0183010000")));
    }
};

QTEST_MAIN(TestE2eDeviceLists)
#include "tst_e2e_devicelists.moc"
