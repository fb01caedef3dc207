#include <QAbstractItemView>
#include <QCheckBox>
#include <QLineEdit>
#include <QSignalSpy>
#include <QtTest>

#include "schema/ccomboboxwithcheckbox.h"

namespace {

const QString Long61 = QString(60, 'a') + 'b';
const QString Long60 = QString(60, 'c');

QMap<uint, QString> captions()
{
    return {{4, Long60}, {1, "LE 1M"}, {2, Long61}};
}

} // namespace

class TstCComboBoxWithCheckBox : public QObject
{
    Q_OBJECT

private slots:
    // Boxes ticked by clicks, in click order, or by setValue (clicks empty), which says nothing.
    void ticking_data()
    {
        QTest::addColumn<QList<int>>("clicks"); // box positions
        QTest::addColumn<uint>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("one box") << QList<int>{0} << 1u << "LE 1M";
        QTest::newRow("two boxes, captions in key order") << QList<int>{2, 0} << 5u << "LE 1M | " + Long60;
        QTest::newRow("ticked and unticked") << QList<int>{0, 1, 0} << 2u << Long61;
        QTest::newRow("all unticked") << QList<int>{2, 2} << 0u << "";
        QTest::newRow("set: two bits") << QList<int>{} << 6u << Long61 + " | " + Long60;
        QTest::newRow("set: a bit without a box") << QList<int>{} << 9u << "LE 1M";
    }
    void ticking()
    {
        QFETCH(QList<int>, clicks);
        QFETCH(uint, value);
        QFETCH(QString, text);
        CComboBoxWithCheckBox combo(captions());
        QSignalSpy changed(&combo, &CComboBoxWithCheckBox::comboxWithCheckBoxValueChanged);
        const auto boxes = combo.findChildren<QCheckBox*>();
        // The boxes in key order, long captions cut.
        QStringList texts;
        for (const QCheckBox* box : boxes)
            texts << box->text() + '/' + box->toolTip();
        QCOMPARE(texts, (QStringList{"LE 1M/LE 1M", QString(60, 'a') + ".../" + Long61, Long60 + '/' + Long60}));
        for (int i : clicks)
            boxes[i]->click();
        if (clicks.isEmpty())
            combo.setValue(value);
        QCOMPARE(combo.value(), value);
        QCOMPARE(combo.lineEdit()->text(), text);
        QCOMPARE(combo.lineEdit()->toolTip(), text);
        QCOMPARE(combo.lineEdit()->cursorPosition(), 0);
        for (int i = 0; i < boxes.size(); ++i)
            QCOMPARE(boxes[i]->isChecked(), bool(value & (1u << i)));
        QCOMPARE(changed.count(), clicks.size());
        if (!clicks.isEmpty())
            QCOMPARE(changed.last().at(0).toUInt(), value);
    }

    void lineKeepsItsText()
    {
        CComboBoxWithCheckBox combo(captions());
        combo.setValue(1);
        combo.lineEdit()->setText("typed");
        QCOMPARE(combo.lineEdit()->text(), QString("LE 1M"));
        combo.setCurrentIndex(2);
        QCOMPARE(combo.lineEdit()->text(), QString("LE 1M"));
    }

    void clickOnTheLineOpensThePopup()
    {
        CComboBoxWithCheckBox combo(captions());
        combo.show();
        QVERIFY(QTest::qWaitForWindowExposed(&combo));
        QTest::mouseClick(combo.lineEdit(), Qt::LeftButton);
        QTRY_VERIFY(combo.view()->isVisible());
        combo.hidePopup();
    }
};

QTEST_MAIN(TstCComboBoxWithCheckBox)
#include "tst_ccomboboxwithcheckbox.moc"
