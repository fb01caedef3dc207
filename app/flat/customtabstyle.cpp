#include "customtabstyle.h"

#include <QPainter>
#include <QStyleOptionTab>

void CustomTabStyle::drawControl(ControlElement element, const QStyleOption* option,
                                 QPainter* painter, const QWidget* widget) const
{
    if (element == CE_TabBarTabShape) {
        const auto* tab = qstyleoption_cast<const QStyleOptionTab*>(option);
        if (tab && tab->version >= 3) {
            const bool selected = tab->state & State_Selected;
            painter->save();
            painter->setPen(QColor(0xc9c9c9));
            painter->setBrush(selected ? QColor(0x189EDE) : QColor(Qt::white));
            painter->drawRect(tab->rect.adjusted(-1, -1, 0, -1));
            painter->restore();

            painter->save();
            painter->setPen(selected ? QColor(Qt::white) : QColor(Qt::black));
            painter->drawText(tab->rect, Qt::AlignCenter, tab->text);
            painter->restore();
            return;
        }
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}
