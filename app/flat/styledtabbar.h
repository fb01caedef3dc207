#pragma once

#include <QTabBar>

class QPaintEvent;
class QStyle;

// A tab bar that paints each tab's shape with the given style itself. Set on a widget, the style
// would be wrapped by the application's style sheet, whose tab rules draw plain rectangles and
// never reach it. The style draws the label as part of the shape.
class StyledTabBar : public QTabBar
{
    Q_OBJECT
    Q_DISABLE_COPY(StyledTabBar)

public:
    // The style is not owned. `extraWidth` widens every tab beyond what its text needs.
    explicit StyledTabBar(QStyle* shapeStyle, QWidget* parent = nullptr, int extraWidth = 0);
    ~StyledTabBar() override;

protected:
    QSize tabSizeHint(int index) const override;
    void paintEvent(QPaintEvent* event) override;

private:
    void drawTab(QPainter& painter, int index);

    QStyle* m_shapeStyle = nullptr;
    int m_extraWidth = 0;
};
