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
    return QTabBar::tabSizeHint(index) + QSize(m_extraWidth, 0);
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
