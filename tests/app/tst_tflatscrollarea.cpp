#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTest>

#include "app/flat/ccustomtableview.h"
#include "app/flat/tflatscrollarea.h"
#include "whenmodal.h"

namespace {

template<typename T>
QString flatKindProblem()
{
    TFlatScrollArea<T> area;
    const auto bars = area.template findChildren<CFlatScrollBar*>(QString(), Qt::FindDirectChildrenOnly);
    if (bars.size() != 2)
        return QStringLiteral("%1 flat bars").arg(bars.size());
    if (area.horizontalScrollBarPolicy() != Qt::ScrollBarAlwaysOff
        || area.verticalScrollBarPolicy() != Qt::ScrollBarAlwaysOff)
        return QStringLiteral("own bars not switched off");
    if (!area.testAttribute(Qt::WA_MouseTracking))
        return QStringLiteral("no mouse tracking");
    if (area.flatHorizontalScrollBar()->orientation() != Qt::Horizontal
        || area.flatVerticalScrollBar()->orientation() != Qt::Vertical)
        return QStringLiteral("orientations crossed");
    if (!area.flatHorizontalScrollBar()->isHidden() || !area.flatVerticalScrollBar()->isHidden())
        return QStringLiteral("a flat bar visible at birth");
    return QString();
}

void sendEnter(QWidget* widget)
{
    QEvent event(QEvent::Enter);
    QApplication::sendEvent(widget, &event);
}

void sendLeave(QWidget* widget)
{
    QEvent event(QEvent::Leave);
    QApplication::sendEvent(widget, &event);
}

} // namespace

class tst_TFlatScrollArea : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }
    void everyKindGetsTwoHiddenFlatBars();
    void barShowsOnEntryOnlyWhenContentOverflows_data();
    void barShowsOnEntryOnlyWhenContentOverflows();
    void flatAndOwnBarsFollowEachOther();
};

void tst_TFlatScrollArea::everyKindGetsTwoHiddenFlatBars()
{
    QCOMPARE(flatKindProblem<QListWidget>(), QString());
    QCOMPARE(flatKindProblem<QPlainTextEdit>(), QString());
    QCOMPARE(flatKindProblem<QScrollArea>(), QString());
    QCOMPARE(flatKindProblem<QTableView>(), QString());
    QCOMPARE(flatKindProblem<QTableWidget>(), QString());
    QCOMPARE(flatKindProblem<QTextBrowser>(), QString());
    QCOMPARE(flatKindProblem<QTextEdit>(), QString());
    QCOMPARE(flatKindProblem<QTreeView>(), QString());
    QCOMPARE(flatKindProblem<QTreeWidget>(), QString());

    CCustomTableView table;
    QCOMPARE(table.findChildren<CFlatScrollBar*>(QString(), Qt::FindDirectChildrenOnly).size(), 2);
}

void tst_TFlatScrollArea::barShowsOnEntryOnlyWhenContentOverflows_data()
{
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("shows");

    QTest::newRow("one line fits") << 1 << false;
    QTest::newRow("empty") << 0 << false;
    QTest::newRow("a hundred lines overflow") << 100 << true;
}

void tst_TFlatScrollArea::barShowsOnEntryOnlyWhenContentOverflows()
{
    QFETCH(int, lines);
    QFETCH(bool, shows);

    TFlatScrollArea<QPlainTextEdit> area;
    area.setLineWrapMode(QPlainTextEdit::NoWrap);
    area.resize(200, 120);
    QStringList text;
    for (int i = 0; i < lines; ++i)
        text << QStringLiteral("line %1").arg(i);
    area.setPlainText(text.join(QLatin1Char('\n')));
    area.show();
    QVERIFY(QTest::qWaitForWindowExposed(&area));
    if (shows)
        QTRY_VERIFY(area.flatVerticalScrollBar()->maximum() >= 1);
    QVERIFY(area.flatVerticalScrollBar()->isHidden());

    sendEnter(&area);
    QCOMPARE(area.flatVerticalScrollBar()->isVisible(), shows);
    QVERIFY(area.flatHorizontalScrollBar()->isHidden());

    sendLeave(&area);
    QVERIFY(area.flatVerticalScrollBar()->isHidden());
}

void tst_TFlatScrollArea::flatAndOwnBarsFollowEachOther()
{
    TFlatScrollArea<QPlainTextEdit> area;
    area.resize(200, 120);
    QStringList text;
    for (int i = 0; i < 200; ++i)
        text << QStringLiteral("line %1").arg(i);
    area.setPlainText(text.join(QLatin1Char('\n')));
    area.show();
    QVERIFY(QTest::qWaitForWindowExposed(&area));
    CFlatScrollBar* flat = area.flatVerticalScrollBar();
    QScrollBar* own = area.verticalScrollBar();
    QTRY_COMPARE(flat->maximum(), own->maximum());
    QVERIFY(flat->maximum() > 10);
    QCOMPARE(flat->minimum(), 0);
    QCOMPARE(flat->pageStep(), area.viewport()->height() / 2);

    own->setValue(7);
    QCOMPARE(flat->value(), 7);
    flat->setValue(3);
    QCOMPARE(own->value(), 3);

    // Emptied, the content fits again and the bar goes even while the mouse is in.
    sendEnter(&area);
    QVERIFY(flat->isVisible());
    area.clear();
    QTRY_COMPARE(flat->maximum(), 0);
    QVERIFY(flat->isHidden());
}

QTEST_MAIN(tst_TFlatScrollArea)
#include "tst_tflatscrollarea.moc"
