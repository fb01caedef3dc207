#include <QAbstractButton>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSet>
#include <QTextEdit>
#include <QTreeView>
#include <QtTest>

#include "formcontrol.h"
#include "gap/cgapcmdwidget.h"
#include "gap/clayerwidget.h"
#include "gap/diagramwidget.h"
#include "gatt/cgattwidget.h"
#include "gatt/gatttablemodel.h"
#include "gatt/treemodel.h"
#include "masterbench.h"
#include "whenmodal.h"

namespace {

// Two devices of the simulator's default world.
const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
const QString kThermometer = QStringLiteral("c6:5a:10:00:00:03");

// The tree as handle, UUID, description and value, two blanks of indent a level.
QStringList dump(const QAbstractItemModel* model, const QModelIndex& parent = QModelIndex(), int depth = 0)
{
    QStringList lines;
    for (int row = 0; row < model->rowCount(parent); ++row) {
        QStringList cells;
        for (int column = 0; column < 4; ++column)
            cells << model->index(row, column, parent).data().toString();
        if (cells.last().isEmpty())
            cells.removeLast();
        else
            cells.last().prepend("= ");
        lines << QString(2 * depth, ' ') + cells.join(' ');
        lines << dump(model, model->index(row, 0, parent), depth + 1);
    }
    return lines;
}

// The row of this handle ("0X0013"), at any depth.
QModelIndex rowOf(const QAbstractItemModel* model, const QString& handle, const QModelIndex& parent = QModelIndex())
{
    for (int row = 0; row < model->rowCount(parent); ++row) {
        const QModelIndex index = model->index(row, 0, parent);
        if (index.data().toString() == handle)
            return index;
        const QModelIndex inside = rowOf(model, handle, index);
        if (inside.isValid())
            return inside;
    }
    return QModelIndex();
}

} // namespace

// A connection's GATT tab against tarvine-sim: discovery into the tree and the table, a read, a
// write read back, notifications switched on and off, the export, and a link lost mid-discovery.
class TestE2eGatt : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The save dialog as a widget of this process, whatever the desktop offers, so the test can answer it.
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }
    void init()
    {
        m_bench = std::make_unique<MasterBench>();
        m_bench->start();
    }
    void cleanup() { m_bench.reset(); }
    void thermometerDiscoveredWrittenAndExported();
    void heartRateNotifiesUntilSwitchedOff();
    void linkLostMidDiscovery();

private:
    // Runs "Discover All Attributes" to its end.
    void discover(CGattWidget* panel)
    {
        QToolButton* discover = button(panel, "toolButton_dicoverAllAttr");
        QTest::mouseClick(discover, Qt::LeftButton);
        QVERIFY(!discover->isEnabled());
        // The end of the walk gives the buttons back and builds the tree.
        QTRY_VERIFY_WITH_TIMEOUT(discover->isEnabled(), 20000);
        QVERIFY(panel->tree()->rowCount() > 0);
    }
    // Presses the row of that handle in the view, which fills the detail frame.
    void press(CGattWidget* panel, const QString& handle)
    {
        QTreeView* tree = view(panel);
        const QModelIndex index = rowOf(tree->model(), handle);
        QVERIFY2(index.isValid(), qPrintable(handle));
        tree->scrollTo(index);
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualRect(index).center());
        QCOMPARE(panel->findChild<QLabel*>("label_handle")->text(), handle.toLower());
    }
    QToolButton* button(CGattWidget* panel, const char* name) const { return panel->findChild<QToolButton*>(name); }
    QTreeView* view(CGattWidget* panel) const { return panel->findChild<QTreeView*>("treeView"); }

    std::unique_ptr<MasterBench> m_bench;
};

void TestE2eGatt::thermometerDiscoveredWrittenAndExported()
{
    CGattWidget* panel = m_bench->connectTo(kThermometer, &CLayerWidget::gattPage);
    QVERIFY(panel);
    const char condix = char(m_bench->layerOf(kThermometer)->condix());
    // The MTU first: the page says so in a message box, and the peer's 247 is taken.
    QString said;
    whenModal([&said](QWidget* box) {
        said = box->findChild<QLabel*>("m_text")->text();
        QTest::mouseClick(box->findChild<QAbstractButton*>("m_ok"), Qt::LeftButton);
    });
    QTest::mouseClick(button(panel, "toolButton_exchangeMTU"), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(said, QString("Exchange MTU success"), 10000);
    QVERIFY(m_bench->uplinkSeen(QByteArray::fromHex("dd03010400") + condix + QByteArray::fromHex("00f700")));
    discover(panel);
    // Three services, with their characteristics below them and their values and descriptors below
    // those; the last characteristic whole.
    const QStringList tree = dump(panel->tree());
    QCOMPARE(tree.size(), 21);
    QCOMPARE(tree.filter(QRegularExpression("^0X")), (QStringList{"0X0001 0X2800 Primary Service Declaration = 00:18",
                                                                  "0X0006 0X2800 Primary Service Declaration = 0A:18",
                                                                  "0X000B 0X2800 Primary Service Declaration = 09:18"}));
    QCOMPARE(tree.mid(17), (QStringList{"  0X0012 0X2803 Characteristic Declaration = 2A:13:00:21:2A",
                                        "    0X0013 0X2A21 Measurement Interval",
                                        "    0X0014 0X2902 Client Characteristic Configuration",
                                        "    0X0015 0X2906 ATT DESC VALID RANGE"}));
    QVERIFY(view(panel)->isExpanded(rowOf(panel->tree(), "0X0012")));
    QVERIFY(panel->grab().save(SCREENSHOT_DIR "gatt-tree.png"));
    auto* mode = panel->findChild<QComboBox*>("comboBox_mode");
    mode->setCurrentIndex(1);
    QCOMPARE(panel->table()->rowCount(), 21);
    QVERIFY(panel->grab().save(SCREENSHOT_DIR "gatt-table.png"));
    mode->setCurrentIndex(0);

    // The measurement interval, 1 s, becomes 5 s: typed as text, which goes out byte-reversed, so
    // "0005" reaches the peer as 05 00, and reads back so.
    press(panel, "0X0013");
    QCOMPARE(panel->findChild<QLabel*>("label_property")->text(), QString("Read , Write , Indicate"));
    auto* value = panel->findChild<QTextEdit*>("textEdit_value");
    value->clear();
    QTest::keyClicks(value, "0005");
    QTest::mouseClick(panel->findChild<QPushButton*>("pb_write"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->uplinkSeen(QByteArray::fromHex("dd031b0400") + condix + QByteArray::fromHex("001300")), 10000);
    QTest::mouseClick(panel->findChild<QPushButton*>("pb_read"), Qt::LeftButton);
    const QModelIndex interval = rowOf(panel->tree(), "0X0013");
    QTRY_COMPARE_WITH_TIMEOUT(interval.siblingAtColumn(3).data().toString(), QString("05:00"), 10000);
    QCOMPARE(value->toPlainText(), QString("0500"));
    QCOMPARE(interval.siblingAtColumn(3).data(Qt::ForegroundRole).value<QColor>(), QColor("#189ede"));

    // The export holds the table's rows, whichever view is shown.
    const QString path = m_bench->workDir.filePath("thermometer.csv");
    whenModal([path](QWidget* dialog) {
        auto* save = qobject_cast<QFileDialog*>(dialog);
        QVERIFY(save);
        QCOMPARE(save->windowTitle(), QString("save File..."));
        save->selectFile(path);
        QMetaObject::invokeMethod(save, "accept");
    });
    QTest::mouseClick(button(panel, "toolButton_export"), Qt::LeftButton);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.value(0), QString("Handle,UUID,UUID Description,Value,Properties"));
    QCOMPARE(lines.size(), 1 + panel->table()->rowCount());
    for (int row = 0; row < panel->table()->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < 5; ++column)
            cells << panel->table()->index(row, column).data().toString();
        QCOMPARE(lines.at(row + 1).toLower(), cells.join(',').toLower());
    }
    QVERIFY(lines.contains("0x0013,0x2a21,Measurement Interval,05:00,0x2a"));
}

void TestE2eGatt::heartRateNotifiesUntilSwitchedOff()
{
    CGattWidget* panel = m_bench->connectTo(kSensor, &CLayerWidget::gattPage);
    QVERIFY(panel);
    discover(panel);
    const char condix = char(m_bench->layerOf(kSensor)->condix());
    QObject watching; // the watches below end with this function, however it ends
    int notifications = 0;
    connect(m_bench->tab->msg(), &CMsg::sig_rcvGattMsg, &watching, [&](const QByteArray& frame) {
        notifications += frame.startsWith(QByteArray::fromHex("dd03280600") + condix);
    });
    // The measurement's value row, and what it shows as values arrive.
    const QModelIndex measurement = rowOf(panel->tree(), "0X000F").siblingAtColumn(3);
    QCOMPARE(measurement.siblingAtColumn(2).data().toString(), QString("Heart Rate Measurement"));
    QSet<QString> shown;
    connect(panel->tree(), &QAbstractItemModel::dataChanged, &watching, [&] { shown.insert(measurement.data().toString()); });

    QToolButton* enable = button(panel, "toolButton_enableNotifyAndIndicate");
    QTest::mouseClick(enable, Qt::LeftButton);
    // Written, then read back: both configurations of the sensor say notify.
    QTRY_VERIFY_WITH_TIMEOUT(enable->isEnabled(), 10000);
    QCOMPARE(rowOf(panel->tree(), "0X0010").siblingAtColumn(3).data().toString(), QString("01:00"));
    QCOMPARE(rowOf(panel->tree(), "0X0016").siblingAtColumn(3).data().toString(), QString("01:00"));
    QTRY_VERIFY2_WITH_TIMEOUT(shown.size() >= 4, qPrintable(QStringLiteral("%1 notifications, shown %2").arg(notifications).arg(QStringList(shown.values()).join(" "))), 10000);
    QCOMPARE(measurement.data(Qt::ForegroundRole).value<QColor>(), QColor("#189ede"));
    for (const QString& text : qAsConst(shown)) {
        if (text.isEmpty())
            continue;
        const QByteArray bytes = QByteArray::fromHex(text.toLatin1());
        QVERIFY2(bytes.size() == 2 && bytes.at(0) == 0 && quint8(bytes.at(1)) >= 58 && quint8(bytes.at(1)) <= 96, qPrintable(text));
    }
    QVERIFY(panel->grab().save(SCREENSHOT_DIR "gatt-notifying.png"));

    QToolButton* disable = button(panel, "toolButton_disableNotifyAndIndicate");
    QTest::mouseClick(disable, Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(disable->isEnabled(), 10000);
    QCOMPARE(rowOf(panel->tree(), "0X0010").siblingAtColumn(3).data().toString(), QString("00:00"));
    // The read-back came behind the last notification; another round trip, a read of every
    // readable value, brings no more. The last of the answers gives the buttons back.
    const int stoppedAt = notifications;
    const QString last = measurement.data().toString();
    QToolButton* readAll = button(panel, "toolButton_readAllChar");
    QTest::mouseClick(readAll, Qt::LeftButton);
    QVERIFY(!readAll->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(readAll->isEnabled(), 10000);
    QCOMPARE(notifications, stoppedAt);
    QCOMPARE(measurement.data().toString(), last);
    QVERIFY(stoppedAt > 4);
    const auto valueOf = [panel](const char* handle) { return rowOf(panel->tree(), handle).siblingAtColumn(3).data().toString(); };
    QCOMPARE(QByteArray::fromHex(valueOf("0X0003").toLatin1()), QByteArray("Tarvine HR"));
    QCOMPARE(valueOf("0X0005"), QString("41:03"));
    QCOMPARE(valueOf("0X0015"), QString("5A")); // the battery at 90 %
}

// The link is slowed first, so that the walk is surely under way when its first service shows.
void TestE2eGatt::linkLostMidDiscovery()
{
    CGattWidget* panel = m_bench->connectTo(kThermometer, &CLayerWidget::gattPage);
    QVERIFY(panel);
    CLayerWidget* layer = m_bench->layerOf(kThermometer);
    const int condix = layer->condix();
    CGapCmdWidget* gap = layer->gapPage();
    CCommandUiWidget* update = formNamed(gap->forms(), "Update Connection Parameters Request");
    QVERIFY(update);
    layer->pages()->setCurrentWidget(gap);
    typeIntoForm(update, {"Connection Interval Minimum(ms)=100", "Connection Interval Maximum(ms)=100",
                          "Connection Latency=0", "Supervision Timeout(ms)=4000"});
    update->findChild<QPushButton*>("btn_command")->click();
    QCOMPARE(gap->diagramWidget()->state(), int(DiagramWidget::Updating));
    QTRY_COMPARE_WITH_TIMEOUT(gap->diagramWidget()->state(), int(DiagramWidget::Linked), 10000);

    layer->pages()->setCurrentWidget(panel);
    QTest::mouseClick(button(panel, "toolButton_dicoverAllAttr"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(panel->table()->rowCount() > 0, 20000);
    QCOMPARE(m_bench->sim->control(QStringLiteral("drop 0 %1").arg(condix)), QString("ok"));
    // The connection's tab goes; the walk ends after the link, as "disconnected" (70).
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->tabIndex("Peer Address: " + kThermometer), -1, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->uplinkSeen(QByteArray::fromHex("dd03340200") + char(condix) + char(70)), 10000);
    QCOMPARE(m_bench->sim->traced("up", QByteArray::fromHex("dd03340200") + char(condix) + char(10)), 0);

    // The Master page connects again, and the new tab discovers the whole database.
    panel = m_bench->connectTo(kThermometer, &CLayerWidget::gattPage);
    QVERIFY(panel);
    discover(panel);
    QCOMPARE(panel->tree()->rowCount(), 3);
    QCOMPARE(panel->table()->rowCount(), 21);
}

QTEST_MAIN(TestE2eGatt)
#include "tst_e2e_gatt.moc"
