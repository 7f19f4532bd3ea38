#include "ui/ElidedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// More than this of a text fits on no screen.
constexpr qsizetype lineCharacters = 2000;
constexpr qsizetype tooltipCharacters = 1000;

} // namespace

QSize ElidedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(text().left(lineCharacters)), minimumSizeHint().height()};
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, fontMetrics().height()};
}

QString ElidedLabel::shownText() const
{
    QString line = text();
    if (line.size() > 2 * lineCharacters)
        line = line.left(lineCharacters) + line.right(lineCharacters);
    return fontMetrics().elidedText(line, Qt::ElideMiddle, contentsRect().width());
}

bool ElidedLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return TextLabel::event(event);
    if (shownText() == text())
        return false;
    // A name comes from the service: it is text, never mark-up. Only a very long one is broken into lines.
    const QString spaces = text().size() <= 100 ? u"nowrap"_s : u"normal"_s;
    const QString name = text().left(tooltipCharacters);
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       u"<p style='white-space:%1'>%2</p>"_s.arg(spaces, name.toHtmlEscaped()), this, rect());
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
