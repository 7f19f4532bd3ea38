#include "ui/Labels.h"

#include "resources/Pictures.h"
#include "ui/Colors.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// More characters than these fit on no screen.
constexpr qsizetype lineCharacters = 2000;
constexpr qsizetype tooltipCharacters = 1000;

} // namespace

TextLabel::TextLabel(QWidget *parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

void TextLabel::setRole(Style::TextRole role)
{
    textRole = role;
    setFont(Style::font(role));
}

bool TextLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ApplicationFontChange && font() != Style::font(textRole))
        setFont(Style::font(textRole));
    return QLabel::event(event);
}

QColor TextLabel::textColor() const
{
    return textRole == Style::TextRole::Quiet ? colors::quietText(palette())
                                              : palette().color(QPalette::WindowText);
}

void TextLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    QPalette tones = palette();
    tones.setColor(QPalette::WindowText, textColor());
    int flags = static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment()));
    // Without a buddy an ampersand is a letter.
    if (buddy() != nullptr) {
        const bool underlined = style()->styleHint(QStyle::SH_UnderlineShortcut, nullptr, this) != 0;
        flags |= underlined ? Qt::TextShowMnemonic : Qt::TextHideMnemonic;
    }
    if (wordWrap())
        flags |= Qt::TextWordWrap;
    const int inset = std::max(0, indent());
    style()->drawItemText(&painter, contentsRect().adjusted(inset, 0, -inset, 0), flags, tones, isEnabled(),
                          text(), QPalette::WindowText);
}

QSize ElidedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(text().left(lineCharacters)), minimumSizeHint().height()};
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
    // A name is plain text, so its mark-up is escaped. Only a very long one is broken into lines.
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

void IconView::setImageNamed(const QString &imageName)
{
    name = imageName;
    update();
}

QSize IconView::sizeHint() const
{
    constexpr int markSide = 72;
    const int side = coloured ? markSide : QFontMetrics(Style::font(Style::TextRole::Status)).height();
    return {side, side};
}

void IconView::paintEvent(QPaintEvent *)
{
    const int side = std::min(width(), height());
    const QColor colour = coloured ? QColor() : palette().color(QPalette::WindowText);
    const QPixmap picture = pictures::icon(name, side, devicePixelRatioF(), colour);
    QPainter(this).drawPixmap(QPointF(width() - side, height() - side) / 2, picture);
}

void Card::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Style::drawPanel(&painter, rect(), palette().color(QPalette::Base), colors::outline(palette()));
}

} // namespace velmora
