#include "ui/IconView.h"

#include "resources/Pictures.h"
#include "ui/Style.h"

#include <QPainter>

namespace velmora {

void IconView::setImageNamed(const QString &imageName)
{
    name = imageName;
    update();
}

void IconView::setColoured(bool coloured)
{
    ownColours = coloured;
    update();
}

QSize IconView::sizeHint() const
{
    const int side = QFontMetrics(Style::font(Style::TextRole::Status)).height();
    return {side, side};
}

void IconView::paintEvent(QPaintEvent *)
{
    const int side = std::min(width(), height());
    const QColor colour = ownColours ? QColor() : palette().color(QPalette::WindowText);
    const QPixmap picture = pictures::icon(name, side, devicePixelRatioF(), colour);
    QPainter(this).drawPixmap(QPointF(width() - side, height() - side) / 2, picture);
}

} // namespace velmora
