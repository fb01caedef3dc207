#include <QFocusEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QtTest>

#include "schema/cvalidatetextedit.h"
#include "schema/cvalidatortextedit.h"
#include "whenmodal.h"

namespace {

// Pasting without a clipboard.
class PasteEdit : public CValidateTextEdit
{
public:
    using CValidateTextEdit::insertFromMimeData;
};

} // namespace

class TstCValidateTextEdit : public QObject
{
    Q_OBJECT

private slots:
    void edit_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("kept");
        QTest::addColumn<int>("cursor");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("repaired");
        QTest::newRow("odd digit count") << "ABC" << "ABC" << 3 << "AB0C" << "AB:C0";
        QTest::newRow("whole bytes") << "AB:CD:EF" << "AB:CD:EF" << 8 << "ABCDEF" << "AB:CD:EF";
        QTest::newRow("rejected characters") << "12zz3 4" << "1234" << 2 << "1234" << "12:34";
        QTest::newRow("empty") << "" << "" << 0 << "" << "";
    }
    void edit()
    {
        QFETCH(QString, typed);
        QFETCH(QString, kept);
        CValidateTextEdit e;
        QSignalSpy lengths(&e, &CValidateTextEdit::sig_textEditLength);
        e.setPlainText(typed);
        QCOMPARE(e.rawText(), kept);
        QCOMPARE(lengths.count(), 1); // once, though the filter sets the text again
        QCOMPARE(lengths.at(0).at(0).toInt(), kept.size());
        if (kept != typed)
            QTEST(e.textCursor().position(), "cursor");
        QTEST(e.value(), "value");
        QFocusEvent out(QEvent::FocusOut);
        QApplication::sendEvent(&e, &out);
        QTEST(e.rawText(), "repaired");
    }

    void paste_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("refused");
        QTest::newRow("1024 characters") << 1024 << false;
        QTest::newRow("1025 characters") << 1025 << true;
    }
    void paste()
    {
        QFETCH(int, size);
        QFETCH(bool, refused);
        PasteEdit e;
        e.moveCursor(QTextCursor::End);
        ModalCatcher boxes;
        QMimeData data;
        data.setText(QString(size, 'A'));
        e.insertFromMimeData(&data);
        QCOMPARE(e.rawText(), "00:00" + QString(refused ? 0 : size, 'A')); // it starts with two bytes
        QCOMPARE(boxes.shown, refused ? QStringList{"error: text length should < 1kb"} : QStringList());
    }

    // The input dialog's editor.
    void validatorTyping_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("repaired");
        QTest::newRow("hex keeps digits and colons") << 16 << "AB:c" << "AB:c" << "0A:Bc";
        QTest::newRow("hex drops a typed intruder") << 16 << "12g3" << "123" << "01:23";
        QTest::newRow("decimal drops a letter") << 10 << "12a3" << "123" << "123";
    }
    void validatorTyping()
    {
        QFETCH(int, kind);
        QFETCH(QString, keys);
        CValidatorTextEdit e(kind);
        QTest::keyClicks(&e, keys);
        QTEST(e.toPlainText(), "typed");
        e.repair();
        QTEST(e.toPlainText(), "repaired");
    }
};

QTEST_MAIN(TstCValidateTextEdit)
#include "tst_cvalidatetextedit.moc"
