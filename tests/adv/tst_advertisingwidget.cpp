#include <QComboBox>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include "adv/advertisingwidget.h"
#include "advpage.h"
#include "linkbench.h"
#include "schema/ccommand.h"

namespace {

const char* const kLegacy = CAdvBaseWidget::LegacyKind;
const char* const kExtended = CAdvBaseWidget::ExtendedKind;
const char* const kPeriodic = CAdvBaseWidget::PeriodicKind;

QByteArray ack(const char* command, int status = 0)
{
    return QByteArray::fromHex(QByteArray("BB01") + command + "0100") + char(status);
}

QByteArray started(int advIndex, int status = 0)
{
    return QByteArray::fromHex("DD01280200") + char(status) + char(advIndex);
}

QByteArray stopped(int advIndex)
{
    return QByteArray::fromHex("DD012A0300000D") + char(advIndex);
}

} // namespace

// The Slave page on a port whose far end the test reads; the dongle's answers are handed to the
// page as the port would.
struct SlaveBench : LinkBench
{
    SlaveBench() { page.resize(1300, 560); }

    // "MM@OO" of the commands sent since last asked, read from their log lines, which are
    // written as they are queued; the index byte follows the start and stop commands ("01@27:2").
    QStringList sent()
    {
        QStringList ids;
        for (const QString& text : log->texts()) {
            const int raw = text.indexOf(QLatin1String("Raw Data: "));
            if (!text.startsWith(QLatin1String("Downlink Command Name: ")) || raw < 0)
                continue;
            const QByteArray frame = QByteArray::fromHex(text.mid(raw + 10, 12).toLatin1());
            QString id = QString::fromLatin1(frame.mid(1, 1).toHex().toUpper() + '@' + frame.mid(2, 1).toHex().toUpper());
            if (id == QLatin1String("01@27") || id == QLatin1String("01@29"))
                id += QLatin1Char(':') + QString::number(quint8(frame.at(5)));
            ids.append(id);
        }
        log->clear();
        return ids;
    }

    void press(int row) { view()->setCurrentIndex(view()->model()->index(row, 0)); page.on_tableView_advListClicked(view()->currentIndex()); }
    QTableView* view() { return page.findChild<QTableView*>("tableView_advList"); }
    QPushButton* button(const char* name) { return page.findChild<QPushButton*>(name); }
    CAdvBaseWidget* shownPage()
    {
        for (auto* candidate : page.findChildren<CAdvBaseWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (candidate->isVisibleTo(&page))
                return candidate;
        }
        return nullptr;
    }

    FieldValueMap config;
    advertisingWidget page{&msg, &logger, &config};
};

class TestAdvertisingWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<uint8_t>("uint8_t");
        applyFlatStyle();
    }

    // The dialog offers the lowest free indexes; the list takes five sets and no more.
    void setsFillAndFreeIndexes()
    {
        SlaveBench bench;
        QStringList offered;
        const auto addThrough = [&](const char* kind) {
            whenModal([&, kind](QWidget* dialog) {
                auto* index = dialog->findChild<QComboBox*>("advIndexCombo");
                offered.clear();
                for (int i = 0; i < index->count(); ++i)
                    offered.append(index->itemText(i));
                dialog->findChild<QComboBox*>("advTypeCombo")->setCurrentText(kind);
                dialog->findChild<QPushButton*>("PB_AddAdv")->click();
            });
            bench.button("btnAddAdvList")->click();
        };
        for (const char* kind : {kLegacy, kExtended, kPeriodic, kLegacy, kLegacy})
            addThrough(kind);
        QCOMPARE(offered, QStringList{"4"});
        QCOMPARE(bench.view()->model()->rowCount(), 5);
        QVERIFY(!bench.button("btnAddAdvList")->isEnabled());

        bench.press(1);
        bench.button("btnDeleteAdvList")->click();
        bench.press(2);
        bench.button("btnDeleteAdvList")->click();
        QVERIFY(bench.button("btnAddAdvList")->isEnabled());
        addThrough(kExtended);
        QCOMPARE(offered, (QStringList{"1", "3"}));
        // Each set keeps a page of its own.
        bench.press(0);
        CAdvBaseWidget* first = bench.shownPage();
        bench.press(3);
        QVERIFY(bench.shownPage() != first);
        QCOMPARE(bench.view()->model()->index(3, 1).data().toString(), QString(kExtended));
    }

    // Parameters, the data unless the set is directed, then the legacy start for every kind (the
    // other kinds' chains run end to end in tst_e2e_adv); a refusal anywhere ends the chain.
    void startChain_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("settings");
        QTest::addColumn<int>("refusedAt"); // 0: nothing refused, 1: the parameters, 2: the data
        QTest::addColumn<QStringList>("sent");
        const QStringList withData{"adv=3"};
        const QStringList directed{"cmb_discmode=0", "cmb_advmode=3", "le_peeraddr=11:22:33:44:55:66"};
        QTest::newRow("legacy") << kLegacy << withData << 0 << QStringList{"01@23", "01@25", "01@27:2"};
        QTest::newRow("legacy directed") << kLegacy << directed << 0 << QStringList{"01@23", "01@27:2"};
        QTest::newRow("parameters refused") << kExtended << withData << 1 << QStringList{"01@2B"};
        QTest::newRow("data refused") << kLegacy << withData << 2 << QStringList{"01@23", "01@25"};
    }
    void startChain()
    {
        QFETCH(QString, kind);
        QFETCH(QStringList, settings);
        QFETCH(int, refusedAt);
        QFETCH(QStringList, sent);
        SlaveBench bench;
        ModalCatcher boxes; // a refusal the test did not expect shows here instead of hanging it
        bench.page.on_addAdvertisingItem(2, kind);
        applySettings(bench.shownPage(), settings);
        bench.button("btnStartAdv")->click();
        // Each set command is answered; the chain ends at the start or at a refusal.
        QStringList all;
        for (int stage = 1; stage <= 3; ++stage) {
            const QStringList now = bench.sent();
            all += now;
            if (now.isEmpty() || now.last().startsWith("01@27"))
                break;
            bench.page.onRcvMsg(ack(qPrintable(now.last().mid(3)), refusedAt == stage ? 3 : 0));
        }
        QVERIFY2(boxes.shown.isEmpty(), qPrintable(boxes.shown.join(" / ")));
        QCOMPARE(all, sent);
    }

    // The dongle's events, not the click, move a set between off and running; a running set's
    // page can't be edited, and only a running periodic set offers a BIG.
    void runningState_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("bigOffered");
        QTest::newRow("legacy") << kLegacy << false;
        QTest::newRow("periodic") << kPeriodic << true;
    }
    void runningState()
    {
        QFETCH(QString, kind);
        QFETCH(bool, bigOffered);
        SlaveBench bench;
        bench.page.on_addAdvertisingItem(0, kLegacy);
        bench.page.on_addAdvertisingItem(3, kind);
        QVERIFY(!bench.page.hasRunningSet());
        bench.page.onRcvMsg(started(3));
        QVERIFY(bench.page.hasRunningSet());
        QVERIFY(!bench.view()->model()->index(1, 2).data(Qt::DecorationRole).isNull());
        QCOMPARE(bench.button("btnStartAdv")->text(), QString("Stop Advertising"));
        QCOMPARE(bench.button("btnConnAdvBIG")->isEnabled(), bigOffered);
        QVERIFY(!bench.shownPage()->isEnabled());
        if (bigOffered) {
            bench.page.show();
            QVERIFY(QTest::qWaitForWindowExposed(&bench.page));
            QVERIFY(bench.page.grab().save(SCREENSHOT_DIR "slave-page.png"));
        }
        QSignalSpy big(&bench.page, &advertisingWidget::sig_slaveBIGSucceed);
        bench.button("btnConnAdvBIG")->click();
        QCOMPARE(big.count(), bigOffered ? 1 : 0);

        // Stopping goes by the button; the set stays on until the dongle says so, and the
        // pressed row stays pressed.
        bench.button("btnStartAdv")->click();
        QCOMPARE(bench.sent(), QStringList{"01@29:3"});
        // The keys press a row as the mouse does.
        QTest::keyClick(bench.view(), Qt::Key_Up);
        QCOMPARE(bench.button("btnStartAdv")->text(), QString("Start Advertising"));
        bench.page.onRcvMsg(stopped(3));
        QVERIFY(!bench.page.hasRunningSet());
        QCOMPARE(bench.view()->currentIndex().row(), 0);
        bench.press(1);
        QVERIFY(bench.shownPage()->isEnabled());

        bench.page.onRcvMsg(started(3, 12));
        QVERIFY(!bench.page.hasRunningSet());
        QVERIFY(bench.log->contains("[Complete Result] Uplink Command Name:Advertising Start Result:"
                                    + CCommand::statusWord("STATUS_RSP", 12), 4));
    }

    // Clearing stops what runs; a reset clears without a word to a dongle whose sets are gone.
    void clearAndReset()
    {
        SlaveBench bench;
        for (int index : {0, 1, 2})
            bench.page.on_addAdvertisingItem(index, kLegacy);
        bench.page.onRcvMsg(started(0));
        bench.page.onRcvMsg(started(2));
        bench.page.on_btnClearAdvList_clicked();
        QCOMPARE(bench.sent(), (QStringList{"01@29:0", "01@29:2"}));
        QCOMPARE(bench.view()->model()->rowCount(), 0);
        QVERIFY(!bench.button("btnStartAdv")->isEnabled());

        bench.page.on_addAdvertisingItem(4, kExtended);
        bench.page.onRcvMsg(started(4));
        bench.page.reset();
        QCOMPARE(bench.sent(), QStringList());
        QVERIFY(!bench.page.hasRunningSet());
        QCOMPARE(bench.view()->model()->rowCount(), 0);
    }

};

QTEST_MAIN(TestAdvertisingWidget)
#include "tst_advertisingwidget.moc"
