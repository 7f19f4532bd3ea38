#include "connection/StatusCard.h"

#include "ui/Colors.h"
#include "ui/Style.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>

#include <utility>

namespace velmora {

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
    // The tone differs between light and dark; the comparison ends what setting it brings about.
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

} // namespace velmora
