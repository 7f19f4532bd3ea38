#include "notices/NoticeCard.h"

#include "ui/Colors.h"

#include <QPainter>

namespace velmora {

void NoticeCard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    painter.setPen(colors::controlOutline(palette()));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

} // namespace velmora
