#include <QFocusEvent>
#include <QLabel>
#include <QMimeData>
#include <QSignalSpy>
#include <QtTest>

#include "schema/cvalidatetextedit.h"
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
    void startsWithTwoBytes()
    {
        CValidateTextEdit e;
        QCOMPARE(e.rawText(), QString("00:00"));
        QCOMPARE(e.sizeHint().height(), 50);
    }

    void edit_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("kept");
        QTest::addColumn<int>("cursor");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("repaired");
        QTest::newRow("odd digit count") << "ABC" << "ABC" << 3 << "AB0C" << "AB:C0";
        QTest::newRow("whole bytes") << "AB:CD:EF" << "AB:CD:EF" << 8 << "ABCDEF" << "AB:CD:EF";
        QTest::newRow("loose colons") << "A:B:C:" << "A:B:C:" << 6 << "AB0C" << "AB:C0";
        QTest::newRow("rejected characters") << "12zz3 4" << "1234" << 2 << "1234" << "12:34";
        QTest::newRow("only rejected") << "xyz" << "" << 0 << "" << "";
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
        QCOMPARE(e.rawText(), kept);
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
        QString title, text;
        if (refused) {
            whenModal([&](QWidget* box) {
                title = box->windowTitle();
                text = box->findChild<QLabel*>("m_text")->text();
                box->close();
            });
        }
        QMimeData data;
        data.setText(QString(size, 'A'));
        e.insertFromMimeData(&data);
        QCOMPARE(e.rawText().size(), refused ? 5 : 5 + size);
        QCOMPARE(title, refused ? QString("error") : QString());
        QCOMPARE(text, refused ? QString("text length should < 1kb") : QString());
    }
};

QTEST_MAIN(TstCValidateTextEdit)
#include "tst_cvalidatetextedit.moc"
