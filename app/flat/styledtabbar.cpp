#include "styledtabbar.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionTab>

StyledTabBar::StyledTabBar(QStyle* shapeStyle, QWidget* parent, int extraWidth)
    : QTabBar(parent)
    , m_shapeStyle(shapeStyle)
    , m_extraWidth(extraWidth)
{
}

StyledTabBar::~StyledTabBar() = default;

QSize StyledTabBar::tabSizeHint(int index) const
{
    QSize size = QTabBar::tabSizeHint(index) + QSize(m_extraWidth, 0);
    // Side tabs draw their titles upright, one line per letter: make room for every line.
    const QTabBar::Shape side = shape();
    if (side == RoundedWest || side == RoundedEast || side == TriangularWest || side == TriangularEast) {
        const QSize text = fontMetrics().size(0, tabText(index));
        size = size.expandedTo(text + QSize(16, 16));
    }
    return size;
}

void StyledTabBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    // The current tab last, so that its edges lie over its neighbours'.
    for (int i = 0; i < count(); ++i) {
        if (i != currentIndex())
            drawTab(painter, i);
    }
    if (currentIndex() >= 0)
        drawTab(painter, currentIndex());
}

void StyledTabBar::drawTab(QPainter& painter, int index)
{
    QStyleOptionTab option;
    initStyleOption(&option, index);
    m_shapeStyle->drawControl(QStyle::CE_TabBarTabShape, &option, &painter, this);
}
