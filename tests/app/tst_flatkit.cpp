#include <QFrame>
#include <QLabel>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTest>

#include "app/flat/cflatdialog.h"
#include "app/flat/cflatmessage.h"
#include "app/flat/tflatscrollarea.h"
#include "whenmodal.h"

namespace {

void sendMouse(QWidget* target, QEvent::Type type, const QPoint& global, Qt::MouseButtons buttons)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, target->mapFromGlobal(global), global, button, buttons, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

void sendEvent(QWidget* widget, QEvent::Type type)
{
    QEvent event(type);
    QApplication::sendEvent(widget, &event);
}

} // namespace

// The flat widget kit: frameless dialog, message box, scroll bars; the tab style shows in the
// screenshots. The search box is driven in tst_cconnectionwidget, the About dialog in
// tst_maindonglewidget.
class TestFlatKit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void dialogDrag_data()
    {
        QTest::addColumn<int>("fixed");
        QTest::addColumn<bool>("onTitle");
        QTest::addColumn<bool>("moves");
        QTest::newRow("press on the title bar") << 0 << true << true;
        QTest::newRow("press below the title bar") << 0 << false << false;
        QTest::newRow("fixed dialog, press where the title would be") << 1 << true << false;
    }
    void dialogDrag()
    {
        QFETCH(int, fixed);
        QFETCH(bool, onTitle);
        QFETCH(bool, moves);
        CFlatDialog dialog(QStringLiteral("drag"), nullptr, 200, 150, fixed);
        dialog.resize(340, 160);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const QPoint start = dialog.pos();
        auto* title = dialog.findChild<QFrame*>(QStringLiteral("m_titleBar"));
        QCOMPARE(title->isVisible(), !fixed);

        QFrame* content = dialog.contentFrame();
        // A fixed dialog's content moves up into the title's place.
        const QPoint local = onTitle ? (fixed ? content->mapTo(&dialog, QPoint(20, 5))
                                              : title->mapTo(&dialog, QPoint(20, 10)))
                                     : content->mapTo(&dialog, content->rect().center());
        const QPoint press = dialog.mapToGlobal(local);
        sendMouse(&dialog, QEvent::MouseButtonPress, press, Qt::LeftButton);
        sendMouse(&dialog, QEvent::MouseMove, press + QPoint(30, 10), Qt::LeftButton);
        sendMouse(&dialog, QEvent::MouseMove, press + QPoint(60, 25), Qt::LeftButton);
        sendMouse(&dialog, QEvent::MouseButtonRelease, press + QPoint(60, 25), Qt::NoButton);
        QCOMPARE(dialog.pos(), moves ? start + QPoint(60, 25) : start);
    }

    void messageAnswers_data()
    {
        QTest::addColumn<bool>("isQuestion");
        QTest::addColumn<QString>("pressed");
        QTest::addColumn<int>("answer");
        QTest::newRow("question, Yes") << true << "m_yes" << int(QMessageBox::Yes);
        QTest::newRow("question, closed by the title bar") << true << "m_tbClose" << int(QMessageBox::No);
        QTest::newRow("information, Ok") << false << "m_ok" << int(QMessageBox::Ok);
    }
    void messageAnswers()
    {
        QFETCH(bool, isQuestion);
        QFETCH(QString, pressed);
        whenModal([&](QWidget* box) {
            if (!isQuestion)
                box->grab().save(SCREENSHOT_DIR "flatmessage.png");
            QTest::mouseClick(box->findChild<QAbstractButton*>(pressed), Qt::LeftButton);
        });
        const int result = isQuestion
            ? CFlatMessage::question(nullptr, QStringLiteral("Delete"), QStringLiteral("Sure?"))
            : CFlatMessage::information(nullptr, QStringLiteral("error"), QStringLiteral("widget numbers should < 5"));
        QTEST(result, "answer");
    }

    void messageShowsItsWholeText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("short") << QStringLiteral("save fail!");
        QTest::newRow("a link key on one line")
            << QStringLiteral("Link value number: ") + QByteArray(16, '\xa5').toHex(':');
        QTest::newRow("a sentence that wraps")
            << QStringLiteral("The file could not be opened because ").repeated(6);
    }
    void messageShowsItsWholeText()
    {
        QFETCH(QString, text);
        bool tallEnough = false;
        bool wideEnough = false;
        whenModal([&](QWidget* box) {
            auto* label = box->findChild<QLabel*>(QStringLiteral("m_text"));
            tallEnough = label->height() >= label->heightForWidth(label->width());
            wideEnough = label->width() >= qMin(label->fontMetrics().horizontalAdvance(text), 520);
            box->grab().save(SCREENSHOT_DIR "flatmessage-" + QString(QTest::currentDataTag()).replace(' ', '-') + ".png");
            QTest::mouseClick(box->findChild<QAbstractButton*>(QStringLiteral("m_ok")), Qt::LeftButton);
        });
        CFlatMessage::information(nullptr, QStringLiteral("message"), text);
        QVERIFY(tallEnough);
        QVERIFY(wideEnough);
    }

    void scrollBarShowsOnEntryOnlyWhenContentOverflows_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("shows");
        QTest::newRow("one line fits") << 1 << false;
        QTest::newRow("a hundred lines overflow") << 100 << true;
    }
    void scrollBarShowsOnEntryOnlyWhenContentOverflows()
    {
        QFETCH(int, lines);
        QFETCH(bool, shows);
        TFlatScrollArea<QPlainTextEdit> area;
        area.setLineWrapMode(QPlainTextEdit::NoWrap);
        area.resize(200, 120);
        area.setPlainText(QStringLiteral("a line\n").repeated(lines).chopped(1));
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        CFlatScrollBar* flat = area.flatVerticalScrollBar();
        if (shows)
            QTRY_VERIFY(flat->maximum() >= 1);
        QVERIFY(flat->isHidden());

        sendEvent(&area, QEvent::Enter);
        QCOMPARE(flat->isVisible(), shows);
        QVERIFY(area.flatHorizontalScrollBar()->isHidden());
        // The flat bar scrolls the view.
        area.verticalScrollBar()->setValue(lines / 2);
        QCOMPARE(flat->value(), lines / 2);

        sendEvent(&area, QEvent::Leave);
        QVERIFY(flat->isHidden());
    }
};

QTEST_MAIN(TestFlatKit)
#include "tst_flatkit.moc"
