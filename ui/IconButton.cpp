#include "ui/IconButton.h"

#include "resources/Pictures.h"
#include "ui/Colors.h"
#include "ui/Style.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyleOption>

#include <utility>

namespace velmora {

namespace {

/// Icons grow with the text that they stand beside.
int iconSize(const QWidget &widget)
{
    return std::max(20, qRound(widget.fontMetrics().height() * 1.1));
}

} // namespace

IconButton::IconButton(QWidget *parent) : QToolButton(parent)
{
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
}

void IconButton::setImageNamed(const QString &name)
{
    if (name == image)
        return;
    image = name;
    update();
}

void IconButton::setAccented(bool accented)
{
    if (std::exchange(accent, accented) != accented)
        update();
}

QSize IconButton::sizeHint() const
{
    const int side = velmora::iconSize(*this) + 2 * Style::spaceS;
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
    const int side = std::min(velmora::iconSize(*this), height() - Style::spaceS);
    drawIcon(&painter, side, accent ? palette().color(QPalette::Highlight) : quiet);
    if (showsFocus())
        Style::drawFocusRing(&painter, rect(), palette().color(QPalette::Highlight));
}

void IconButton::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        click();
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
        event->ignore();
        break;
    default:
        QToolButton::keyPressEvent(event);
    }
}

} // namespace velmora
