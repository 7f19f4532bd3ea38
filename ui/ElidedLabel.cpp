#include "ui/ElidedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

namespace velmora {

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, TextLabel::minimumSizeHint().height()};
}

QString ElidedLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
}

bool ElidedLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return TextLabel::event(event);
    if (shownText() == text())
        return false;
    // A name comes from the service: it is text, never mark-up.
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       QStringLiteral("<p>%1</p>").arg(text().toHtmlEscaped()), this, rect());
    return true;
}

void ElidedLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(textColor());
    // The side follows the layout, not the script of the name.
    const Qt::Alignment side = QStyle::visualAlignment(layoutDirection(), alignment()) | Qt::AlignAbsolute;
    painter.drawText(contentsRect(), static_cast<int>(side) | Qt::TextSingleLine, shownText());
}

} // namespace velmora
