#include "servers/LatencyLabel.h"

#include <QPainter>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

int LatencyLabel::digitWidth() const
{
    int widest = 0;
    for (const QChar digit : u"0123456789"_s)
        widest = std::max(widest, fontMetrics().horizontalAdvance(digit));
    return widest;
}

int LatencyLabel::widthOf(QChar character) const
{
    return character.isDigit() ? digitWidth() : fontMetrics().horizontalAdvance(character);
}

QSize LatencyLabel::sizeHint() const
{
    // Room for three digits before the point, used or not.
    const QString least = u"000.0 ms"_s;
    int width = 0;
    for (const QChar character : text().size() > least.size() ? text() : least)
        width += widthOf(character);
    return {width, fontMetrics().height()};
}

void LatencyLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(textColor());
    const QString shown = text();
    int width = 0;
    for (const QChar character : shown)
        width += widthOf(character);
    const int baseline = (height() + fontMetrics().ascent() - fontMetrics().descent()) / 2;
    int x = layoutDirection() == Qt::RightToLeft ? 0 : this->width() - width;
    for (const QChar character : shown) {
        const int slack = widthOf(character) - fontMetrics().horizontalAdvance(character);
        painter.drawText(x + slack / 2, baseline, QString(character));
        x += widthOf(character);
    }
}

} // namespace velmora
