#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTableWidget>
#include <QtTest>

#include "log/logmanager.h"
#include "schema/ccommand.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "schema/cvalidatetextedit.h"
#include "schema/uplinkmsgtablemodel.h"
#include "whenmodal.h"

namespace {

// The bytes the codec writes for one map entry.
QByteArray wireBytes(const FieldValueMap& values, const QString& key, quint32 length = 0)
{
    QByteArray body;
    CCommand::appendFieldValue(nullptr, values, CmdField{key, 0, length, QString()}, body);
    return body;
}

template <typename T>
QList<T*> controls(const QWidget& form)
{
    return form.findChildren<T*>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

class TstCmsgField : public QObject
{
    Q_OBJECT

    LogManager m_logger{"tst_cmsgfield"};

    // Fills the next "Add Attribute" or "Edit Attribute" dialog and presses `button`.
    void answerDialog(const QMap<QString, QString>& texts, const char* button, QString* title = nullptr)
    {
        whenModal([=](QWidget* modal) {
            auto* dialog = qobject_cast<CStandardMsgDlg*>(modal);
            QVERIFY(dialog);
            if (title)
                *title = dialog->windowTitle();
            dialog->form()->setEditorTexts(texts);
            QVERIFY(dialog->grab().save(SCREENSHOT_DIR "cstandardmsgdlg.png"));
            QTest::mouseClick(dialog->findChild<QPushButton*>(button), Qt::LeftButton);
        });
    }

    // The owner's add button: arms the form, then runs the dialog with a text per column.
    void addRow(CmsgField& form, const QStringList& columns, const char* button = "pushButtonOK")
    {
        QMap<QString, QString> texts;
        const QVector<UiField> subFields = CmsgField::listSubFields(&m_logger, form.name());
        for (int i = 0; i < columns.size(); ++i)
            texts.insert(subFields.at(i).key, columns.at(i));
        QPointer<CStandardMsgDlg> dialog = new CStandardMsgDlg("Add Attribute", &m_logger, form.name(), &form);
        connect(dialog, &CStandardMsgDlg::sig_standardOKClicked, &form, &CmsgField::on_addElemToTableWidget);
        form.on_btnAddSubFieldClicked();
        answerDialog(texts, button);
        dialog->exec();
        QTRY_VERIFY(dialog.isNull()); // it deletes itself when closed
    }

private slots:
    void initTestCase() { applyFlatStyle(); }

    void writeFormDefaults()
    {
        CmsgField parameters(&m_logger, "Update Connection Parameters Request");
        FieldValueMap values;
        parameters.readFormValues(values);
        const FieldValueMap counts{{"interval_min", "0006"}, {"interval_max", "0006"}, {"slave_latency", "0000"},
                                   {"sup_timeout", "0064"}, {"ce_length", "0002"}};
        QCOMPARE(values, counts);

        CmsgField form(&m_logger, "PHY Update");
        values.clear();
        form.readFormValues(values);
        // An enum goes as its value's decimal digits; a box as the bit of its place.
        QCOMPARE(values.value("host_specify_options"), QVariant("1"));
        QCOMPARE(values.value("trans_phys"), QVariant::fromValue(1u));
        const QList<QCheckBox*> boxes = controls<QCheckBox>(form);
        boxes.at(1)->setChecked(true);
        boxes.at(2)->setChecked(true);
        values.clear();
        form.readFormValues(values);
        QCOMPARE(values.value("trans_phys"), QVariant::fromValue(7u));
        QCOMPARE(values.value("receive_phys"), QVariant::fromValue(1u));

        // Line edits come before combo boxes, whatever the file's order.
        CmsgField big(&m_logger, "Master BIG Parameter Get");
        auto* grid = qobject_cast<QGridLayout*>(big.layout());
        QVERIFY(qobject_cast<QComboBox*>(grid->itemAtPosition(3, 1)->widget()));

        // Data is typed in wire order.
        CmsgField write(&m_logger, "Write Characteristic Value");
        controls<CValidateTextEdit>(write).value(0)->setPlainText("01:02:03");
        values.clear();
        write.readFormValues(values);
        QCOMPARE(wireBytes(values, "value"), QByteArray::fromHex("010203"));
    }

    // Only a default sharing exactly the first bit ticks a box: 3 ticks the first box alone (a
    // default of 1 ticks it in writeFormDefaults).
    void enumMaskDefault()
    {
        UiField mask;
        mask.key = "phys";
        mask.title = "PHYs";
        mask.type = "enum_mask";
        mask.defaultValue = "3";
        mask.elems = {{"LE 1M", 1}, {"LE 2M", 2}, {"LE Coded", 4}};
        CmsgField form(&m_logger, "test", {mask});
        QString ticked;
        for (QCheckBox* box : controls<QCheckBox>(form))
            ticked += box->isChecked() ? '1' : '0';
        QCOMPARE(ticked, QString("100"));
    }

    // How each kind of result shows is checked in tst_ccommanduiwidget, on the same grid; here a
    // set bit's icon, and the PHY form's two halves.
    void readFormTables()
    {
        CmsgField features(&m_logger, "Get Peer Features");
        auto* model = qobject_cast<uplinkMsgTableModel*>(controls<QTableView>(features).value(0)->model());
        QVERIFY(model);
        features.setFieldValueInGlayout({{"features", QByteArray::fromHex("0500000000000000")}});
        QVERIFY(!model->data(model->index(0, 1), Qt::DecorationRole).value<QIcon>().pixmap(16).isNull());
        features.resize(900, 320);
        QVERIFY(features.grab().save(SCREENSHOT_DIR "cmsgfield-features.png"));
        QCOMPARE(controls<QTableView>(CmsgField(&m_logger, "Get Connection PHY")).size(), 2);
    }

    void listRows_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("cells");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("wire");
        QTest::newRow("reliable write") << "Reliable Characteristic Value Writes"
                                        << QStringList{"0x0001", "0x0002", "AA:BB"} << "attrible_handle_list"
                                        << QByteArray::fromHex("0100020002 00aabb");
        QTest::newRow("read multiple") << "Read Multiple Characteristic Values" << QStringList{"0x0103", "300"}
                                       << "attrible_handle_info"
                                       << QByteArray::fromHex("03012c01");
    }
    void listRows()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, cells);
        QFETCH(QByteArray, wire);
        CmsgField form(&m_logger, command);
        QSignalSpy contains(&form, &CmsgField::sig_containsSubField);
        form.show();
        QCOMPARE(contains.count(), 1);

        addRow(form, cells);
        addRow(form, cells, "pushButtonCancel");
        QTableWidget* table = form.subFieldTable();
        QCOMPARE(table->rowCount(), 1);
        QStringList shown;
        for (int column = 0; column < table->columnCount(); ++column)
            shown.append(table->item(0, column)->text());
        QCOMPARE(shown, cells);

        addRow(form, cells);
        form.resize(500, 260);
        QVERIFY(form.grab().save(SCREENSHOT_DIR "cmsgfield-" + QByteArray(QTest::currentDataTag()).replace(' ', '-')
                                 + ".png"));
        FieldValueMap values;
        form.readFormValues(values);
        QCOMPARE(wireBytes(values, "handle_count", 2), QByteArray::fromHex("0200"));
        QFETCH(QString, key);
        QCOMPARE(wireBytes(values, key), wire + wire);
    }

    void editRow()
    {
        CmsgField form(&m_logger, "Reliable Characteristic Value Writes");
        addRow(form, {"0x0001", "0x0002", "AA:BB"});
        addRow(form, {"0x0003", "0x0000", "CC"});
        QTableWidget* table = form.subFieldTable();

        QString title;
        answerDialog({{"attrible_handle", "0x0009"}}, "pushButtonOK", &title);
        emit table->cellDoubleClicked(0, 2);
        QCOMPARE(title, QStringLiteral("Edit Attribute"));
        QCOMPARE(table->rowCount(), 2);
        QCOMPARE(table->item(0, 0)->text(), QStringLiteral("0x0009"));
        QCOMPARE(table->item(0, 2)->text(), QStringLiteral("AA:BB")); // the rest kept as it was

        // After an edit, the next OK of an add dialog appends again.
        addRow(form, {"0x0004", "0x0000", "DD"});
        QCOMPARE(table->rowCount(), 3);
        QCOMPARE(table->item(2, 0)->text(), QStringLiteral("0x0004"));
    }
};

QTEST_MAIN(TstCmsgField)
#include "tst_cmsgfield.moc"
