#pragma once

#include <QProxyStyle>

// Draws the dongle tabs as trapezia slanted at their left edge, the current one in the accent colour.
class MyTabStyle : public QProxyStyle
{
    Q_OBJECT
    Q_DISABLE_COPY(MyTabStyle)

public:
    MyTabStyle() = default;

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget = nullptr) const override;
};
