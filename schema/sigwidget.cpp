#include "sigwidget.h"

#include <QMouseEvent>

SigWidget::SigWidget(QWidget* parent)
    : QWidget(parent)
{
    // A plain QWidget ignores the style sheet's background; the title bar shows it.
    setAttribute(Qt::WA_StyledBackground, true);
}

void SigWidget::mousePressEvent(QMouseEvent* event)
{
    emit SigWidgetPressed();
    QWidget::mousePressEvent(event);
}
