#include "cdongletabwidget.h"

#include <QIcon>
#include <QTabBar>
#include <QToolButton>

#include "app/flat/styledtabbar.h"

namespace {

// Room for the slant on the left and the close button on the right of a centred label.
constexpr int kTabExtraWidth = 20 + 24;

} // namespace

CDongleTabWidget::CDongleTabWidget(QWidget* parent)
    : QTabWidget(parent)
    , m_addButton(new QToolButton(this))
{
    setTabBar(new StyledTabBar(&m_tabStyle, this, kTabExtraWidth));

    m_addButton->setObjectName(QStringLiteral("m_addButton"));
    m_addButton->setIcon(QIcon(QStringLiteral(":/icons/addDongle")));
    m_addButton->setToolTip(QStringLiteral("Add a New BLE Dongle"));
    m_addButton->setStyleSheet(QStringLiteral("QToolButton{width:20px; height: 20px}"));
    setCornerWidget(m_addButton, Qt::TopRightCorner);
    connect(m_addButton, &QToolButton::clicked, this, &CDongleTabWidget::addDongleTab);

    setAttribute(Qt::WA_MouseTracking);
    tabBar()->setStyle(&m_tabStyle);
}

CDongleTabWidget::~CDongleTabWidget()
{
    // The style is a member and dies before the tab bar, which is a child.
    tabBar()->setStyle(nullptr);
}

void CDongleTabWidget::paintEvent(QPaintEvent* event)
{
    // The corner would put the button at the far right; it belongs right behind the last tab.
    m_addButton->move(tabBar()->width() + 10, tabBar()->geometry().top() + 3);
    QTabWidget::paintEvent(event);
}
