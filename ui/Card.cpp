#include "ui/Card.h"

#include "ui/Colors.h"
#include "ui/Style.h"

#include <QPainter>

namespace velmora {

void Card::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Style::drawPanel(&painter, rect(), palette().color(QPalette::Base), colors::outline(palette()));
}

} // namespace velmora
