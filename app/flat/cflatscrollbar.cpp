#include "cflatscrollbar.h"

#include <QAbstractScrollArea>

CFlatScrollBar::CFlatScrollBar(Qt::Orientation orientation, QWidget* parent)
    : QScrollBar(orientation, parent)
{
    setRange(0, 0);
    hide();
}

CFlatScrollBar::~CFlatScrollBar() = default;

void CFlatScrollBar::onRangeChanged(int min, int max)
{
    setMinimum(min);
    setRange(0, max);
    // The area hides its own bars, so their page step never reaches here; half a view is the step.
    if (const auto* area = qobject_cast<const QAbstractScrollArea*>(parentWidget())) {
        const QSize view = area->viewport()->size();
        setPageStep((orientation() == Qt::Horizontal ? view.width() : view.height()) / 2);
    }
    if (max < 1)
        hide();
}
