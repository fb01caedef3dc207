#pragma once

#include <QProxyStyle>

// Flat rectangular tabs for the pages' inner tab widgets, the current one in the accent colour.
class CustomTabStyle : public QProxyStyle
{
    Q_OBJECT
    Q_DISABLE_COPY(CustomTabStyle)

public:
    CustomTabStyle() = default;

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget = nullptr) const override;
};
