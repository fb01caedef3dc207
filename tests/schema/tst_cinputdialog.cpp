#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include "schema/cinputdialog.h"
#include "schema/cvalidatortextedit.h"

class TstCInputDialog : public QObject
{
    Q_OBJECT

private slots:
    void typing_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("repaired");
        QTest::newRow("hex keeps digits and colons") << 16 << "AB:c" << "AB:c" << "0A:Bc";
        QTest::newRow("hex drops a typed intruder") << 16 << "12g3" << "123" << "01:23";
        QTest::newRow("decimal drops a letter") << 10 << "12a3" << "123" << "123";
    }
    void typing()
    {
        QFETCH(int, kind);
        QFETCH(QString, keys);
        CValidatorTextEdit e(kind);
        QTest::keyClicks(&e, keys);
        QTEST(e.toPlainText(), "typed");
        QCOMPARE(e.textCursor().position(), e.toPlainText().size());
        e.repair();
        QTEST(e.toPlainText(), "repaired");
    }

    void buttons_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("emitted");
        QTest::newRow("OK") << "pushButtonOK" << int(QDialog::Accepted) << 1;
        QTest::newRow("Cancel") << "pushButtonCancel" << int(QDialog::Rejected) << 0;
    }
    void buttons()
    {
        QFETCH(QString, button);
        CInputDialog dialog("Value", "AA:BB");
        QCOMPARE(dialog.windowTitle(), QString("Value"));
        QVERIFY(dialog.minimumWidth() >= 400 && dialog.minimumHeight() >= 200);
        QSignalSpy texts(&dialog, &CInputDialog::sig_inputTextChanged);
        dialog.open();
        dialog.findChild<QPushButton*>(button)->click();
        QTEST(dialog.result(), "result");
        QTEST(int(texts.count()), "emitted");
        if (!texts.isEmpty())
            QCOMPARE(texts.at(0).at(0).toString(), QString("AA:BB"));
    }
};

QTEST_MAIN(TstCInputDialog)
#include "tst_cinputdialog.moc"
