#include "ui/TextLabel.h"

#include "ui/Colors.h"

#include <QEvent>
#include <QPainter>

#include <algorithm>

namespace velmora {

TextLabel::TextLabel(QWidget *parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

void TextLabel::setRole(Style::TextRole role)
{
    textRole = role;
    applyFont();
}

void TextLabel::applyFont()
{
    const QFont wanted = Style::font(textRole);
    if (wanted != font())
        setFont(wanted);
}

bool TextLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ApplicationFontChange)
        applyFont();
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

} // namespace velmora
