#include <QLabel>
#include <QTabBar>
#include <QTest>

#include "app/flat/cflattabwidget.h"
#include "whenmodal.h"

class tst_CustomTabStyle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }
    void selectedTabIsAccentOthersWhite_data();
    void selectedTabIsAccentOthersWhite();
};

void tst_CustomTabStyle::selectedTabIsAccentOthersWhite_data()
{
    QTest::addColumn<int>("current");

    QTest::newRow("first current") << 0;
    QTest::newRow("last current") << 2;
}

void tst_CustomTabStyle::selectedTabIsAccentOthersWhite()
{
    QFETCH(int, current);

    CFlatTabWidget tabs;
    tabs.setObjectName(QStringLiteral("tabWidget"));
    for (const char* title : {"GATT", "GAP", "L2CAP"})
        tabs.addTab(new QLabel(QString::fromLatin1(title)), QString::fromLatin1(title));
    tabs.setCurrentIndex(current);
    tabs.resize(320, 120);
    tabs.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tabs));

    QTabBar* bar = tabs.tabBar();
    const QImage image = bar->grab().toImage();
    if (current == 0)
        image.save(SCREENSHOT_DIR "customtabstyle.png");
    for (int i = 0; i < bar->count(); ++i) {
        // Left of the centred label, inside the edge.
        const QRect r = bar->tabRect(i);
        const QPoint inside(r.left() + 3, r.center().y());
        const QColor expected = i == current ? QColor(0x189EDE) : QColor(Qt::white);
        QCOMPARE(image.pixelColor(inside * image.devicePixelRatio()), expected);
    }
}

QTEST_MAIN(tst_CustomTabStyle)
#include "tst_customtabstyle.moc"
