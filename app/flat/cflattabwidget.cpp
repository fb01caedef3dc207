#include "cflattabwidget.h"

#include "app/flat/styledtabbar.h"

CFlatTabWidget::CFlatTabWidget(QWidget* parent)
    : QTabWidget(parent)
{
    setTabBar(new StyledTabBar(&m_tabStyle, this));
}

CFlatTabWidget::~CFlatTabWidget() = default;
