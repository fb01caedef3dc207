#include <QFrame>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include "app/flat/cflatdialog.h"
#include "whenmodal.h"

namespace {

class ClosingDialog : public CFlatDialog
{
public:
    using CFlatDialog::CFlatDialog;
    void on_closeClicked() override { ++closeCount; }
    int closeCount = 0;
};

void sendMouse(QWidget* target, QEvent::Type type, const QPoint& global, Qt::MouseButtons buttons)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, target->mapFromGlobal(global), global, button, buttons, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

} // namespace

class TestCFlatDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void titleBar_data()
    {
        QTest::addColumn<int>("fixed");
        QTest::addColumn<bool>("titleVisible");
        QTest::newRow("movable dialog shows its title") << 0 << true;
        QTest::newRow("fixed dialog shows none") << 1 << false;
    }
    void titleBar()
    {
        QFETCH(int, fixed);
        QFETCH(bool, titleVisible);
        CFlatDialog dialog(QStringLiteral("Some Title"), nullptr, 0, 0, fixed);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* title = dialog.findChild<QFrame*>(QStringLiteral("m_titleBar"));
        QVERIFY(title);
        QCOMPARE(title->isVisible(), titleVisible);
        auto* label = dialog.findChild<QLabel*>(QStringLiteral("m_lblTitle"));
        QCOMPARE(label->text(), QStringLiteral("Some Title"));
        QVERIFY(dialog.windowFlags() & Qt::FramelessWindowHint);
        QVERIFY(dialog.testAttribute(Qt::WA_TranslucentBackground));
        if (!fixed)
            QVERIFY(dialog.grab().save(SCREENSHOT_DIR "flatdialog.png"));
    }

    void drag_data()
    {
        QTest::addColumn<int>("fixed");
        QTest::addColumn<bool>("onTitle");
        QTest::addColumn<bool>("moves");
        QTest::newRow("press on the title bar") << 0 << true << true;
        QTest::newRow("press below the title bar") << 0 << false << false;
        QTest::newRow("fixed dialog, press where the title would be") << 1 << true << false;
    }
    void drag()
    {
        QFETCH(int, fixed);
        QFETCH(bool, onTitle);
        QFETCH(bool, moves);
        CFlatDialog dialog(QStringLiteral("drag"), nullptr, 200, 150, fixed);
        dialog.resize(340, 160);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const QPoint start = dialog.pos();
        QCOMPARE(start, QPoint(200, 150));

        auto* title = dialog.findChild<QFrame*>(QStringLiteral("m_titleBar"));
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

    void closeButtonCallsOverride()
    {
        ClosingDialog dialog(QStringLiteral("log pane"));
        dialog.show();
        QTest::mouseClick(dialog.findChild<QToolButton*>(QStringLiteral("m_tbClose")),
                          Qt::LeftButton);
        QCOMPARE(dialog.closeCount, 1);
        QVERIFY(dialog.isVisible());
    }
};

QTEST_MAIN(TestCFlatDialog)
#include "tst_cflatdialog.moc"
