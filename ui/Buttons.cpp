#include "ui/Buttons.h"

#include "resources/Pictures.h"
#include "ui/Colors.h"
#include "ui/Style.h"

#include <QMouseEvent>
#include <QPainter>

#include <utility>

namespace velmora {

IconButton::IconButton(QWidget *parent) : QToolButton(parent)
{
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
}

void IconButton::setImageNamed(const QString &name)
{
    if (std::exchange(image, name) != name)
        update();
}

void IconButton::setTag(qint64 tag)
{
    if (std::exchange(number, tag) != tag)
        setDown(false);
}

void IconButton::setProgress(qreal share)
{
    if (std::exchange(progress, share) != share)
        update();
}

QSize IconButton::sizeHint() const
{
    // The icon grows with the text that it stands beside.
    const int side = std::max(20, qRound(fontMetrics().height() * 1.1)) + 2 * Style::spaceS;
    return {side, side};
}

bool IconButton::showsFocus() const
{
    return hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

void IconButton::drawIcon(QPainter *painter, int size, const QColor &color) const
{
    const QPixmap picture = pictures::icon(image, size, devicePixelRatioF(), color);
    painter->drawPixmap(QPointF(width() - size, height() - size) / 2, picture);
}

void IconButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const bool over = underMouse() && isEnabled();
    if (isDown() || over)
        Style::drawPanel(&painter, rect(), isDown() ? colors::pressed(palette()) : colors::hover(palette()));
    const QColor quiet = over ? palette().color(QPalette::WindowText) : colors::quietText(palette());
    // A row of a list may be lower than a large font would have it.
    const int side = std::min(sizeHint().height() - 2 * Style::spaceS, height() - Style::spaceS);
    drawIcon(&painter, side, accented ? palette().color(QPalette::Highlight) : quiet);
    if (progress > 0) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        const QRect ring(0, 0, side + Style::spaceS, side + Style::spaceS);
        painter.drawArc(ring.translated(rect().center() - ring.center()), 90 * 16,
                        -qRound(progress * 360 * 16));
    }
    if (showsFocus())
        Style::drawFocusRing(&painter, rect(), palette().color(QPalette::Highlight));
}

void IconButton::mousePressEvent(QMouseEvent *event)
{
    // Between the presses of a double-click the rows may move, or the row may show another record.
    if (event->type() == QEvent::MouseButtonDblClick && pressedTag != number)
        return;
    pressedTag = number;
    QToolButton::mousePressEvent(event);
}

void IconButton::leaveEvent(QEvent *event)
{
    pressedTag.reset();
    QToolButton::leaveEvent(event);
}

void IconButton::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down)
        event->ignore();
    else
        QToolButton::keyPressEvent(event);
}

} // namespace velmora
