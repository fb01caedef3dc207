#include "cdongletabwidget.h"

#include <QIcon>
#include <QPainter>
#include <QStyleOptionTab>
#include <QTabBar>
#include <QToolButton>

namespace {

// Paints its tabs with the given style itself. Set on a widget, the style would be wrapped by the
// application's style sheet, whose tab rules draw plain rectangles and never reach it.
class SlantedTabBar : public QTabBar
{
public:
    SlantedTabBar(QStyle* shapeStyle, QWidget* parent)
        : QTabBar(parent)
        , m_shapeStyle(shapeStyle)
    {
    }

protected:
    QSize tabSizeHint(int index) const override
    {
        // Room for the slant on the left and the close button on the right of a centred label.
        return QTabBar::tabSizeHint(index) + QSize(kSlant + 24, 0);
    }

    void paintEvent(QPaintEvent*) override
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

private:
    static constexpr int kSlant = 20;

    void drawTab(QPainter& painter, int index)
    {
        QStyleOptionTab option;
        initStyleOption(&option, index);
        m_shapeStyle->drawControl(QStyle::CE_TabBarTabShape, &option, &painter, this);
    }

    QStyle* m_shapeStyle;
};

} // namespace

CDongleTabWidget::CDongleTabWidget(QWidget* parent)
    : QTabWidget(parent)
    , m_addButton(new QToolButton(this))
{
    setTabBar(new SlantedTabBar(&m_tabStyle, this));

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
