#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableWidget>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

#include <functional>

#include "../adv/advpage.h"
#include "adv/advertisingwidget.h"
#include "adv/cadvbasewidget.h"
#include "gap/deviceentrymodel.h"
#include "gatt/cgattcmddlg.h"
#include "gatt/cgattwidget.h"
#include "gatt/csmdilog.h"
#include "gatt/gatttablemodel.h"
#include "masterbench.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "settingsui.h"
#include "whenmodal.h"

namespace {

const QString kThermometer = QStringLiteral("c6:5a:10:00:00:03");
const QString kPeripheral = QStringLiteral("00:00:5e:00:53:10");

// The security parameters of a tab, as a user sets them in its settings and applies them.
void applySecurity(MainDongleWidget* tab, const QMap<QString, QString>& choices)
{
    whenModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<CSettingDialog*>(modal);
        QVERIFY(dialog);
        showPage(dialog, "Security Parameters");
        for (auto it = choices.cbegin(); it != choices.cend(); ++it) {
            auto* combo = dialog->setting(it.key())->findChild<QComboBox*>();
            QVERIFY2(combo && combo->findText(it.value()) >= 0, qPrintable(it.key()));
            combo->setCurrentIndex(combo->findText(it.value()));
        }
        dialog->findChild<QPushButton*>("btn_apply")->click();
    });
    tab->findChild<QToolButton*>("toolButton_configureSettings")->click();
}

// The person at the tool during a pairing: answers each question as it comes up, dialogs of
// both tabs nested as they are, and keeps what each box said, "title: text".
class PairingUser
{
public:
    // Gives the passkey to type for a dialog of this title (empty: keep the field), and whether
    // to say yes.
    using Answer = std::function<QPair<QString, bool>(const QString& title, const QString& shown)>;

    explicit PairingUser(Answer answer)
        : m_answer(std::move(answer))
    {
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { answerTop(); });
        m_timer.start();
    }

    QStringList said;

private:
    void answerTop()
    {
        QWidget* box = QApplication::activeModalWidget();
        if (!box || box->property("answered").toBool())
            return;
        box->setProperty("answered", true);
        if (auto* dialog = qobject_cast<csmdilog*>(box)) {
            auto* field = dialog->findChild<QLineEdit*>("lineEdit_passkey");
            said.append(dialog->windowTitle() + ": " + field->text());
            const QPair<QString, bool> answer = m_answer(dialog->windowTitle(), field->text());
            if (!answer.first.isEmpty())
                field->setText(answer.first);
            dialog->grab().save(SCREENSHOT_DIR "e2e-pairing-" + dialog->windowTitle().section(": ", 1).replace(' ', '-') + ".png");
            dialog->findChild<QPushButton*>(answer.second ? "btn_Yes" : "btn_No")->click();
            return;
        }
        const auto* text = box->findChild<QLabel*>("m_text");
        said.append(box->windowTitle() + ": " + (text ? text->text() : QString()));
        auto* yes = box->findChild<QPushButton*>("m_yes");
        if (yes && yes->isVisible())
            yes->click();
        else
            box->close();
    }

    Answer m_answer;
    QTimer m_timer;
};

} // namespace

// Pairing through the GATT tab against tarvine-sim: with the thermometer of the default world by
// passkey entry, between two dongles by numeric comparison; and a command of the Send Commands tab.
class TestE2ePairing : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { m_bench.reset(); }

    // The dongle types what the thermometer shows: right, a bond; wrong, the confirm value fails.
    void passkeyWithThermometer_data()
    {
        QTest::addColumn<int>("typo");
        QTest::addColumn<QString>("result");
        QTest::newRow("typed right") << 0 << "Bench: Pair Result: Pair succeeded.";
        QTest::newRow("typed wrong") << 1 << "Bench: Pair Result: Pair failed. Result: FAIL CONFIRM VAL FAIL";
    }
    void passkeyWithThermometer()
    {
        QFETCH(int, typo);
        QFETCH(QString, result);
        m_bench = std::make_unique<MasterBench>();
        m_bench->start();
        applySecurity(m_bench->tab, {{"device_io_capabilities", "IO_KEYBOARD_ONLY "}, {"use_mitm", "True"}, {"use_bond", "True"}});
        CGattWidget* gatt = m_bench->connectTo(kThermometer, &CLayerWidget::gattPage);
        QVERIFY(gatt);
        PairingUser user([&](const QString&, const QString&) {
            const QString answer = m_bench->sim->control("passkey 0");
            const int shown = answer.section(' ', 1).toInt();
            return qMakePair(QString("%1").arg(shown + typo, 6, 10, QChar('0')).right(6), true);
        });
        gatt->findChild<QToolButton*>("toolButton_pair")->click();
        QTRY_COMPARE_WITH_TIMEOUT(user.said.size(), 2, 15000);
        QCOMPARE(user.said.value(0).section(": ", 0, 1), QString("Bench: Input Passkey"));
        QCOMPARE(user.said.value(1), result);

        // The bond, in the Master page's bond list.
        m_bench->tabs()->setCurrentIndex(0);
        m_bench->page->findChild<QComboBox*>("deviceListType")->setCurrentIndex(1);
        m_bench->button("deviceListRefresh")->click();
        const DeviceEntryModel* bonds = m_bench->page->deviceListModel(1);
        if (typo == 0) {
            QTRY_COMPARE_WITH_TIMEOUT(bonds->rowCount(), 1, 10000);
            QCOMPARE(bonds->index(0, 0).data().toString(), kThermometer);
            m_bench->page->grab().save(SCREENSHOT_DIR "e2e-pairing-bondlist.png");
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(m_bench->uplinkSeen(QByteArray::fromHex("dd0114")), 10000);
            QCoreApplication::processEvents();
            QCOMPARE(bonds->rowCount(), 0);
        }
    }

    // Two dongles with yes/no displays and Secure Connections: the peripheral's user accepts the
    // request, both see one number; a refusal at either end fails both.
    void numericComparison_data()
    {
        QTest::addColumn<bool>("peripheralAgrees");
        QTest::addColumn<QString>("result");
        QTest::newRow("both agree") << true << "Pair succeeded.";
        QTest::newRow("peripheral refuses") << false << "Pair failed. Result: FAIL NUM CMP FAIL";
    }
    void numericComparison()
    {
        QFETCH(bool, peripheralAgrees);
        QFETCH(QString, result);
        m_bench = std::make_unique<MasterBench>();
        m_bench->start({"Peripheral", "Central"});
        for (const char* name : {"Peripheral", "Central"})
            applySecurity(m_bench->dongle(name), {{"device_io_capabilities", "IO_DISPLAY_YES_NO"}, {"use_mitm", "True"},
                                                  {"use_secure_connection", "True"}, {"use_bond", "True"}});
        advertisingWidget* slave = m_bench->dongle("Peripheral")->advertisingPage();
        slave->on_addAdvertisingItem(0, QLatin1String(CAdvBaseWidget::LegacyKind));
        applySettings(slave->findChildren<CAdvBaseWidget*>(QString(), Qt::FindDirectChildrenOnly).last(),
                      {"adv:Complete Local Name=Tarvine Pair"});
        {
            ModalCatcher boxes;
            slave->findChild<QPushButton*>("btnStartAdv")->click();
            QTRY_VERIFY2_WITH_TIMEOUT(slave->hasRunningSet(), qPrintable(boxes.shown.join(" / ")), 10000);
        }
        m_bench->use(m_bench->dongle("Central"));
        CGattWidget* gatt = m_bench->connectTo(kPeripheral, &CLayerWidget::gattPage);
        QVERIFY(gatt);
        PairingUser user([&](const QString& title, const QString&) {
            return qMakePair(QString(), peripheralAgrees || !title.startsWith("Peripheral"));
        });
        gatt->findChild<QToolButton*>("toolButton_pair")->click();
        QTRY_COMPARE_WITH_TIMEOUT(user.said.size(), 5, 15000);
        QCOMPARE(user.said.at(0), QString("Peripheral: Make Pair: Receive encryption request from the peer device"));
        QStringList comparisons = user.said.mid(1, 2);
        comparisons.sort();
        QCOMPARE(comparisons.at(0).section(": ", 0, 1), QString("Central: Number Comparison"));
        QCOMPARE(comparisons.at(1).section(": ", 0, 1), QString("Peripheral: Number Comparison"));
        QCOMPARE(comparisons.at(0).section(": ", 2), comparisons.at(1).section(": ", 2));
        QStringList results = user.said.mid(3);
        results.sort();
        QCOMPARE(results, (QStringList{"Central: Pair Result: " + result, "Peripheral: Pair Result: " + result}));
    }

    // Read Multiple from the Send Commands tab: both values come back in the panel's table.
    void readMultipleFromSendCommands()
    {
        m_bench = std::make_unique<MasterBench>();
        m_bench->start();
        CGattWidget* gatt = m_bench->connectTo(kThermometer, &CLayerWidget::gattPage);
        QVERIFY(gatt);
        // The database first, whose rows the values land in.
        QToolButton* discover = gatt->findChild<QToolButton*>("toolButton_dicoverAllAttr");
        discover->click();
        QTRY_VERIFY_WITH_TIMEOUT(discover->isEnabled(), 20000);
        CGattCmdDlg* commands = gatt->commandTab();
        gatt->findChild<QTabWidget*>("gattTabWidget")->setCurrentWidget(commands);
        auto* tree = commands->findChild<QTreeView*>("treeViewMsg");
        commands->on_treeViewMsg_clicked(tree->model()->index(3, 0, tree->model()->index(4, 0)));
        QCOMPARE(commands->form()->name(), QString("Read Multiple Characteristic Values"));
        // The device name (handle 3) and the appearance (handle 5) of Generic Access.
        for (const auto& [handle, length] : {qMakePair(QString("0x0003"), QString("14")), qMakePair(QString("0x0005"), QString("2"))}) {
            whenModal([handle = handle, length = length](QWidget* modal) {
                auto* dialog = qobject_cast<CStandardMsgDlg*>(modal);
                QVERIFY(dialog);
                dialog->form()->setEditorTexts({{"attrible_handle", handle}, {"len", length}});
                dialog->findChild<QPushButton*>("pushButtonOK")->click();
            });
            commands->findChild<QToolButton*>("toolButtonAddSubField")->click();
        }
        QCOMPARE(commands->form()->subFieldTable()->rowCount(), 2);
        gatt->grab().save(SCREENSHOT_DIR "e2e-send-commands.png");
        commands->findChild<QPushButton*>("btnSend")->click();
        const auto valueOf = [gatt](const QString& handle) {
            const QAbstractItemModel* table = gatt->table();
            for (int row = 0; row < table->rowCount(); ++row) {
                if (table->index(row, 0).data().toString().compare(handle, Qt::CaseInsensitive) == 0)
                    return table->index(row, 3).data().toString();
            }
            return QString();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!valueOf("0x0005").isEmpty(), 10000);
        QCOMPARE(valueOf("0x0003"), QString(QByteArray("Tarvine Thermo").toHex(':').toUpper()));
        gatt->grab().save(SCREENSHOT_DIR "e2e-send-commands-result.png");
    }

private:
    std::unique_ptr<MasterBench> m_bench;
};

QTEST_MAIN(TestE2ePairing)
#include "tst_e2e_pairing.moc"
