#include <QComboBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTextEdit>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "gatt/cgattwidget.h"
#include "gatt/gatttablemodel.h"
#include "gatt/treemodel.h"
#include "linkbench.h"
#include "whenmodal.h"

namespace {

// A result of module 03, as the port hands it on.
QByteArray uplink(quint8 opcode, const QByteArray& body)
{
    return QByteArray::fromHex("dd03") + char(opcode) + le16(body.size()) + body;
}

} // namespace

// The GATT tab of one link, fed the uplinks a dongle sends; the frames it sends are read back.
// The export is checked in tst_e2e_gatt.
class TestCGattWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_link;
    QString m_dongleName = QStringLiteral("Bench");
    std::unique_ptr<CGattWidget> m_panel;

    QToolButton* button(const char* name) const { return m_panel->findChild<QToolButton*>(name); }
    void receive(const QByteArray& frame) { m_panel->onRcvMsg(frame); }
    // A whole discovery of the heart-rate database for link 1, as the dongle reports it.
    void discover()
    {
        const QByteArray link(1, '\1');
        receive(uplink(0x30, link + le16(1) + le16(8) + le16(0x180D)));
        receive(uplink(0x32, link + le16(2) + char(0x30) + le16(3) + le16(0x2A37)));
        receive(uplink(0x33, link + le16(4) + le16(0x2902)));
        receive(uplink(0x32, link + le16(5) + char(0x0A) + le16(6) + le16(0x2A38)));
        receive(uplink(0x32, link + le16(7) + char(0x10) + le16(8) + le16(0x2A39)));
        receive(uplink(0x34, link + '\0'));
    }

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_link = std::make_unique<LinkBench>();
        m_panel = std::make_unique<CGattWidget>(1, &m_link->msg, &m_link->logger, &m_dongleName);
        m_panel->resize(1100, 500);
        m_panel->show();
    }
    void cleanup()
    {
        m_panel.reset();
        m_link.reset();
    }

    void discoveryBuildsBothViews()
    {
        QTest::mouseClick(button("toolButton_dicoverAllAttr"), Qt::LeftButton);
        QCOMPARE(m_link->pty.read(7).toHex(), withChecksum(QByteArray::fromHex("aa03290100") + '\1').toHex());
        QVERIFY(!button("toolButton_dicoverAllAttr")->isEnabled());
        QVERIFY(!m_panel->findChild<QTabWidget*>("gattTabWidget")->isEnabled());
        receive(uplink(0x30, QByteArray::fromHex("02") + le16(9) + le16(9) + le16(0x180F))); // another link
        discover();
        QVERIFY(button("toolButton_dicoverAllAttr")->isEnabled());
        QCOMPARE(m_panel->attributes().size(), 9);
        QCOMPARE(m_panel->tree()->rowCount(), 1);
        QCOMPARE(m_panel->tree()->rowCount(m_panel->tree()->index(0, 0)), 3);
        QCOMPARE(m_panel->table()->rowCount(), 8);
        QVERIFY(m_panel->grab().save(SCREENSHOT_DIR "cgattwidget-tree.png"));
        m_panel->findChild<QComboBox*>("comboBox_mode")->setCurrentIndex(1);
        QCOMPARE(m_panel->findChild<QTreeView*>("treeView")->model(), static_cast<QAbstractItemModel*>(m_panel->table()));
        QVERIFY(!button("toolButton_expandAll")->isEnabled());
        QVERIFY(m_panel->grab().save(SCREENSHOT_DIR "cgattwidget-table.png"));
    }

    // The client configuration written for each characteristic that notifies or indicates (here
    // both, so 3), then read back once every write is answered. Switching off is end to end in
    // tst_e2e_gatt.
    void notificationsOn()
    {
        discover();
        QTest::mouseClick(button("toolButton_enableNotifyAndIndicate"), Qt::LeftButton);
        // Write Characteristic Descriptor: condix, handle 4, the word; 0x2A39 has no descriptor.
        const QByteArray write = withChecksum(QByteArray::fromHex("aa0324050001") + le16(4) + le16(3));
        QCOMPARE(m_link->pty.read(write.size()).toHex(), write.toHex());
        QCOMPARE(m_panel->pending(), 1);
        QVERIFY(!button("toolButton_readAllChar")->isEnabled());
        receive(uplink(0x25, QByteArray::fromHex("0100") + le16(4)));
        const QByteArray read = withChecksum(QByteArray::fromHex("aa0320030001") + le16(4));
        QCOMPARE(m_link->pty.read(read.size()).toHex(), read.toHex());
        // The read list: condix, status, one record of handle, two skipped bytes, length, value.
        receive(uplink(0x21, QByteArray::fromHex("01000100") + le16(4) + le16(0) + le16(2) + le16(3)));
        QVERIFY(button("toolButton_readAllChar")->isEnabled());
        QCOMPARE(m_panel->table()->index(3, 3).data().toString(), QString("03:00"));
    }

    void readAllAndTheDetailFrame()
    {
        discover();
        auto* view = m_panel->findChild<QTreeView*>("treeView");
        // The value row of Body Sensor Location: readable and writable.
        const QModelIndex location = m_panel->tree()->index(0, 0, m_panel->tree()->index(1, 0, m_panel->tree()->index(0, 0)));
        m_panel->on_treeView_pressed(location);
        QVERIFY(m_panel->findChild<QPushButton*>("pb_write")->isEnabled());

        QTest::mouseClick(button("toolButton_readAllChar"), Qt::LeftButton);
        // Read Long Characteristic Value of handle 6 at offset 0: the only readable one.
        const QByteArray read = withChecksum(QByteArray::fromHex("aa031205000106000000"));
        QCOMPARE(m_link->pty.read(read.size()).toHex(), read.toHex());
        receive(uplink(0x13, QByteArray::fromHex("01000100") + le16(6) + le16(0) + le16(1) + '\x02'));
        QCOMPARE(m_panel->findChild<QTextEdit*>("textEdit_value")->toPlainText(), QString("02"));
        receive(uplink(0x28, QByteArray::fromHex("0101") + le16(6) + '\x05')); // a notification
        QCOMPARE(m_panel->findChild<QTextEdit*>("textEdit_value")->toPlainText(), QString("02"));
        QCOMPARE(m_panel->table()->index(5, 3).data().toString(), QString("05"));

        // A declaration row has no properties of its own.
        m_panel->on_treeView_pressed(location.parent());
        QVERIFY(!m_panel->findChild<QPushButton*>("pb_read")->isEnabled());
        QVERIFY(!m_panel->findChild<QPushButton*>("pb_write")->isEnabled());
        QVERIFY(view->isExpanded(location.parent()));
    }

    void listsRefusedWhole_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("logged");
        // Discover All Primary Services: condix, status, count, records of start, end, UUID length, UUID.
        const QByteArray record = le16(1) + le16(5) + char(2) + le16(0x180D);
        QTest::newRow("one record more than counted") << QByteArray::fromHex("01000100") + record + record
                                                      << "Uplink Command Name:Discover All Primary Services Format error.";
        QTest::newRow("a record cut short") << QByteArray::fromHex("01000100") + record.left(6)
                                            << "Uplink Command Name:Discover All Primary Services Format error.";
        QTest::newRow("no room for the count") << QByteArray::fromHex("0100")
                                               << "Uplink Command Name:Discover All Primary Services Format error.";
        QTest::newRow("a failed status") << QByteArray::fromHex("010a0100") + record
                                         << "Uplink Command Name:Discover All Primary Services Result:BLE ATT ERR ATTRIBUTE NOT FOUND";
    }
    void listsRefusedWhole()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, logged);
        receive(uplink(0x03, body));
        QVERIFY(m_panel->attributes().isEmpty());
        QVERIFY2(m_link->log->contains(logged, 4), qPrintable(m_link->log->texts().join('\n')));
    }

    // A characteristic at the last handle leaves slot 0 empty; the link key box names the dongle
    // by its present name.
    void lastHandleAndRenamedDongle()
    {
        receive(uplink(0x32, QByteArray(1, '\1') + le16(0xFFFF) + char(0x02) + le16(0xFFFF) + le16(0x2A19)));
        QCOMPARE(m_panel->attributes().size(), 0x10000);
        QCOMPARE(int(m_panel->attributes().at(0).used), 0);

        m_dongleName = QStringLiteral("Renamed");
        QSignalSpy shown(m_panel.get(), &CGattWidget::sig_showDongleTab);
        QString title;
        whenModal([&title](QWidget* box) {
            title = box->windowTitle();
            box->close();
        });
        receive(uplink(0x0A, QByteArray(16, '\x11') + '\1').replace(1, 1, "\x02")); // key, condix
        QCOMPARE(shown.value(0).value(0).toString(), m_dongleName);
        QCOMPARE(title, m_dongleName + " Link Value");
    }

};

QTEST_MAIN(TestCGattWidget)
#include "tst_cgattwidget.moc"
