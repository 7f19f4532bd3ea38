#include "connection/StatusCard.h"

#include "ui/Colors.h"
#include "ui/Style.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>

#include <utility>

namespace velmora {

namespace {

constexpr int diameter = 88;
constexpr int iconSide = 40;
/// Room around the disc for the ring that shows the focus.
constexpr int ringRoom = 4;

} // namespace

void StatusCard::setProtected(bool isProtected)
{
    if (std::exchange(fillsWithTone, isProtected) == isProtected)
        return;
    applyColors();
    update();
    Q_EMIT protectedChanged(isProtected);
    Q_EMIT exposedChanged(!isProtected);
}

void StatusCard::applyColors()
{
    const QPalette ground = QApplication::palette();
    setPalette(fillsWithTone ? colors::onFill(colors::protectedFill(ground), colors::onProtected())
                             : QPalette());
}

void StatusCard::changeEvent(QEvent *event)
{
    Card::changeEvent(event);
    // The tone differs between light and dark. Without the comparison this would call itself for ever.
    if (event->type() == QEvent::PaletteChange && fillsWithTone &&
        palette().color(QPalette::Window) != colors::protectedFill(QApplication::palette()))
        applyColors();
}

void StatusCard::paintEvent(QPaintEvent *event)
{
    if (!fillsWithTone) {
        Card::paintEvent(event);
        return;
    }
    QPainter painter(this);
    Style::drawPanel(&painter, rect(), palette().color(QPalette::Window));
}

QSize PowerButton::sizeHint() const
{
    return {diameter + 2 * ringRoom, diameter + 2 * ringRoom};
}

bool PowerButton::hitButton(const QPoint &position) const
{
    const QPointF distance = QPointF(position) - QRectF(rect()).center();
    return QPointF::dotProduct(distance, distance) <= diameter * diameter / 4.0;
}

void PowerButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QPalette &tones = palette();
    QRectF disc(0, 0, diameter, diameter);
    disc.moveCenter(QRectF(rect()).center());
    Style::drawPanel(&painter, disc, tones.color(QPalette::Highlight), Qt::transparent, diameter / 2.0);
    if (isDown() || underMouse())
        Style::drawPanel(&painter, disc, QColor(0, 0, 0, isDown() ? 50 : 20), Qt::transparent,
                         diameter / 2.0);
    drawIcon(&painter, iconSide, tones.color(QPalette::HighlightedText));
    if (showsFocus())
        Style::drawFocusRing(&painter, rect(), tones.color(QPalette::Highlight), diameter / 2.0 + ringRoom);
}

} // namespace velmora
