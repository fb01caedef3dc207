#include <QPushButton>
#include <QTest>
#include <QTextBrowser>

#include "app/flat/caboutdialog.h"
#include "whenmodal.h"

class tst_CAboutDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }
    void layoutAndClose();
};

void tst_CAboutDialog::layoutAndClose()
{
    CAboutDialog dialog;
    const QString html = dialog.findChild<QTextBrowser*>(QStringLiteral("m_text"))->toHtml();
    QVERIFY(html.contains(QLatin1String("Tarvine")));
    QVERIFY(html.contains(CAboutDialog::versionText()));
    auto* close = dialog.findChild<QPushButton*>(QStringLiteral("m_close"));
    QCOMPARE(close->geometry(), QRect(420, 260, 80, 20));

    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QVERIFY(dialog.grab().save(SCREENSHOT_DIR "caboutdialog.png"));
    QTest::mouseClick(close, Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(tst_CAboutDialog)
#include "tst_caboutdialog.moc"
