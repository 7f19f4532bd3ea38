#include "servers/CircleImageView.h"

#include "resources/Pictures.h"

#include <QPainter>

namespace velmora {

CircleImageView::CircleImageView(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void CircleImageView::setImageNamed(const QString &imageName)
{
    if (imageName == name)
        return;
    name = imageName;
    update();
}

void CircleImageView::paintEvent(QPaintEvent *)
{
    drawRect(rect());
}

void CircleImageView::drawRect(const QRect &rect)
{
    const QPixmap image = pictures::flag(name, rect.height(), devicePixelRatioF());
    if (image.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate((rect.width() - rect.height()) / 2.0, 0);
    const QRectF bounds(0, 0, rect.height(), rect.height());
    const qreal corner = rect.height() / 2.0;
    // A hairline keeps a flag's white from melting into a light ground, and its black into a dark one.
    QColor hairline = palette().color(QPalette::WindowText);
    hairline.setAlphaF(0.18F);
    painter.setPen(QPen(hairline, 1));
    // A filled shape has smooth edges where a clip has not.
    painter.setBrush(QBrush(image));
    painter.drawRoundedRect(bounds.adjusted(0.5, 0.5, -0.5, -0.5), corner, corner);
}

} // namespace velmora
