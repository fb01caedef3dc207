#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include "app/flat/searchbox.h"
#include "whenmodal.h"

class tst_SearchBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }
    void buttonsAskTheOwnerWithTheBox_data();
    void buttonsAskTheOwnerWithTheBox();
    void typingStoresTheTextAndForgetsTheHit();
    void screenshot();
};

void tst_SearchBox::buttonsAskTheOwnerWithTheBox_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("next");

    QTest::newRow("next") << "buttonNext" << true;
    QTest::newRow("previous") << "buttonPrevious" << false;
}

void tst_SearchBox::buttonsAskTheOwnerWithTheBox()
{
    QFETCH(QString, button);
    QFETCH(bool, next);

    SearchBox box;
    box.show();
    QSignalSpy nextSpy(&box, &SearchBox::searchNext);
    QSignalSpy previousSpy(&box, &SearchBox::searchPrevious);

    QTest::mouseClick(box.findChild<QPushButton*>(button), Qt::LeftButton);

    QSignalSpy& fired = next ? nextSpy : previousSpy;
    QCOMPARE(fired.count(), 1);
    QCOMPARE(fired.first().first().value<SearchBox*>(), &box);
    QCOMPARE((next ? previousSpy : nextSpy).count(), 0);
    // Asking does not move the hit: the owner does that.
    QCOMPARE(box.foundRow(), -1);
}

void tst_SearchBox::typingStoresTheTextAndForgetsTheHit()
{
    SearchBox box;
    QVERIFY(!box.isModal());
    QCOMPARE(box.size(), QSize(247, 111));
    box.setFound(4, 2);

    QTest::keyClicks(box.findChild<QLineEdit*>(QStringLiteral("lineEdit")), QStringLiteral("C0:"));

    QCOMPARE(box.text(), QStringLiteral("C0:"));
    QCOMPARE(box.foundRow(), -1);
    QCOMPARE(box.foundColumn(), -1);
}

void tst_SearchBox::screenshot()
{
    SearchBox box;
    box.findChild<QLineEdit*>(QStringLiteral("lineEdit"))->setText(QStringLiteral("Tarvine"));
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QVERIFY(box.grab().save(SCREENSHOT_DIR "searchbox.png"));
}

QTEST_MAIN(tst_SearchBox)
#include "tst_searchbox.moc"
