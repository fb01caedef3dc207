#include <QLabel>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableWidget>
#include <QTemporaryFile>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "gatt/cgattcmddlg.h"
#include "gatt/cgattwidget.h"
#include "linkbench.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "whenmodal.h"

// The Send Commands tab of a link's GATT panel: its tree, its forms and what it sends.
class TestCGattCmdDlg : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_link;
    QString m_dongleName = QStringLiteral("Bench");
    std::unique_ptr<CGattWidget> m_panel;
    CGattCmdDlg* m_tab = nullptr;

    QTreeView* tree() const { return m_tab->findChild<QTreeView*>("treeViewMsg"); }
    QWidget* child(const char* name) const { return m_tab->findChild<QWidget*>(name); }
    // Clicks the row of a group, or of a command in a group.
    void choose(int group, int command = -1)
    {
        const QAbstractItemModel* model = tree()->model();
        QModelIndex index = model->index(group, 0);
        if (command >= 0)
            index = model->index(command, 0, index);
        m_tab->on_treeViewMsg_clicked(index);
    }

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_link = std::make_unique<LinkBench>();
        m_panel = std::make_unique<CGattWidget>(1, &m_link->msg, &m_link->logger, &m_dongleName);
        m_panel->resize(1100, 520);
        m_panel->show();
        m_tab = m_panel->commandTab();
        m_panel->findChild<QTabWidget*>("gattTabWidget")->setCurrentWidget(m_tab);
    }
    void cleanup()
    {
        m_panel.reset();
        m_link.reset();
    }

    void treeAndForms()
    {
        const QAbstractItemModel* model = tree()->model();
        QCOMPARE(model->rowCount(), 8);
        QCOMPARE(model->index(7, 0).data().toString(), QString("Write Characteristic Descriptor"));
        QCOMPARE(model->rowCount(model->index(4, 0)), 4);
        QVERIFY(!child("btnSend")->isVisible());
        choose(4, 0);
        QVERIFY(child("btnSend")->isVisible());
        QCOMPARE(m_tab->findChild<QLabel*>("label_title")->text(), QString("Read Characteristic Value Parameters"));
        QVERIFY(m_tab->form()->isVisible());
        QVERIFY(m_panel->grab().save(SCREENSHOT_DIR "cgattcmddlg.png"));
        // A group after a command: no Send, and no form left shown, though the group bears the
        // name of one of its commands.
        choose(5);
        QVERIFY(!child("btnSend")->isVisible());
        for (CmsgField* form : m_tab->findChildren<CmsgField*>())
            QVERIFY2(!form->isVisible(), qPrintable(form->name()));
    }

    // A discovery sent from here locks the panel's view; a read does not.
    void discoveryLocksTheView()
    {
        auto* mode = m_panel->findChild<QWidget*>("comboBox_mode");
        choose(4, 0);
        static_cast<QPushButton*>(child("btnSend"))->click();
        QCOMPARE(m_link->pty.read(8).toHex(), withChecksum(QByteArray::fromHex("aa030e0300010100")).toHex());
        QVERIFY(mode->isEnabled());
        choose(0, 1); // Discover Primary Services by UUID
        QSignalSpy discovery(m_tab, &CGattCmdDlg::sig_sendDicoverCmd);
        static_cast<QPushButton*>(child("btnSend"))->click();
        QCOMPARE(discovery.size(), 1);
        QVERIFY(!mode->isEnabled());
    }

    // A list row goes in through Add Attribute, out in the command, and away with Remove.
    void reliableWriteRow()
    {
        choose(5, 4);
        QVERIFY(child("toolButtonAddSubField")->isVisible());
        whenModal([](QWidget* modal) {
            auto* dialog = qobject_cast<CStandardMsgDlg*>(modal);
            QVERIFY(dialog);
            QCOMPARE(dialog->windowTitle(), QString("Add Attribute"));
            dialog->form()->setEditorTexts({{"attrible_handle", "0x0001"}, {"offset", "0x0002"}, {"value", "AA:BB"}});
            dialog->findChild<QPushButton*>("pushButtonOK")->click();
        });
        static_cast<QToolButton*>(child("toolButtonAddSubField"))->click();
        QTableWidget* table = m_tab->form()->subFieldTable();
        QCOMPARE(table->rowCount(), 1);
        static_cast<QPushButton*>(child("btnSend"))->click();
        const QByteArray row = QByteArray::fromHex("0100020002 00aabb");
        QCOMPARE(m_link->pty.read(6 + 1 + row.size()).toHex(),
                 withChecksum(QByteArray::fromHex("aa031e") + le16(1 + row.size()) + '\1' + row).toHex());
        table->setCurrentCell(0, 0);
        static_cast<QToolButton*>(child("toolButtonRemoveSubField"))->click();
        QCOMPARE(table->rowCount(), 0);
    }

    // Without its file the tab stays empty and says why; the panel works on.
    void missingFile()
    {
        CGattCmdDlg tab(1, &m_link->msg, &m_link->logger, nullptr, "/nonexistent/gatt_down_link_command_group.xml");
        QCOMPARE(tab.findChild<QTreeView*>("treeViewMsg")->model()->rowCount(), 0);
        QVERIFY(m_link->log->contains("Open file faied: gatt_down_link_command_group.xml", 4));
        QVERIFY(m_link->log->contains("parse xml fail: /nonexistent/gatt_down_link_command_group.xml", 4));
        QTemporaryFile broken;
        QVERIFY(broken.open());
        broken.write("<commandsGroup><group name=\"x\">");
        broken.close();
        CGattCmdDlg invalid(1, &m_link->msg, &m_link->logger, nullptr, broken.fileName());
        QVERIFY(m_link->log->contains("xml file is invalid: " + QFileInfo(broken.fileName()).fileName(), 4));
    }
};

QTEST_MAIN(TestCGattCmdDlg)
#include "tst_cgattcmddlg.moc"
