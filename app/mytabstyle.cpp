#include "mytabstyle.h"

#include <QPainter>
#include <QPolygon>
#include <QStyleOptionTab>

void MyTabStyle::drawControl(ControlElement element, const QStyleOption* option,
                             QPainter* painter, const QWidget* widget) const
{
    if (element == CE_TabBarTabShape) {
        const auto* tab = qstyleoption_cast<const QStyleOptionTab*>(option);
        if (tab && tab->version >= 3) {
            const bool selected = tab->state & State_Selected;
            const QRect r = tab->rect;

            painter->save();
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(QColor(0xc9c9c9));
            painter->setBrush(selected ? QColor(0x189EDE) : QColor(Qt::white));
            const QPolygon shape({QPoint(r.left() + 20, r.top()), r.topRight(), r.bottomRight(),
                                  r.bottomLeft()});
            painter->drawPolygon(shape);

            painter->setPen(selected ? QColor(Qt::white) : QColor(Qt::black));
            painter->drawText(r, Qt::AlignCenter, tab->text);
            painter->restore();
            return;
        }
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}
