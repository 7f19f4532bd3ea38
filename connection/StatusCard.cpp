#include "connection/StatusCard.h"

#include "ui/Colors.h"
#include "ui/Style.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>

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
    setPalette(fillsWithTone ? colors::onFill(ground, colors::protectedFill(ground), colors::onProtected())
                             : QPalette());
}

void StatusCard::changeEvent(QEvent *event)
{
    Card::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange && fillsWithTone)
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
