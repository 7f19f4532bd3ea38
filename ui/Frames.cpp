#include "ui/Frames.h"

#include <QEvent>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace velmora {

namespace {

/// The width of the column, unless its texts need more.
constexpr int columnWidth = 352;

} // namespace

QSize FormPage::minimumSizeHint() const
{
    return layout()->minimumSize() + QSize(2 * Style::spaceM, Style::spaceM + Style::spaceXl);
}

bool FormPage::event(QEvent *event)
{
    if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest) {
        const int column = std::max(columnWidth, layout()->minimumSize().width());
        const int side = std::max(Style::spaceM, (width() - column) / 2);
        setContentsMargins(side, Style::spaceM, side, Style::spaceXl);
    }
    return QWidget::event(event);
}

Heading::Heading(QWidget *parent)
    : QWidget(parent), icon(new IconView(this)), titleLabel(new TextLabel(this)),
      textLabel(new TextLabel(this))
{
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, Style::spaceS);
    auto *const line = new QHBoxLayout;
    line->setSpacing(Style::spaceM);
    line->addWidget(icon);
    line->addWidget(titleLabel, 1);
    column->addLayout(line);
    column->addWidget(textLabel);
    titleLabel->setRole(Style::TextRole::Status);
    titleLabel->setWordWrap(true);
    textLabel->setWordWrap(true);
    icon->hide();
}

void Heading::setImageName(const QString &name)
{
    icon->setImageNamed(name);
    icon->setVisible(!name.isEmpty());
}

QWidget *nextControl(const QWidget *part, QWidget *from, bool forwards)
{
    QWidget *next = from;
    do
        next = forwards ? next->nextInFocusChain() : next->previousInFocusChain();
    while (next != from && !((next->focusPolicy() & Qt::TabFocus) != 0 && part->isAncestorOf(next) &&
                             next->isVisible() && next->isEnabled()));
    return next;
}

void focusFirstControl(QWidget *part)
{
    QWidget *first = nextControl(part, part, true);
    const QList<QPushButton *> buttons = part->findChildren<QPushButton *>();
    for (QPushButton *const button : buttons) {
        if (button->isDefault() && button->isVisible())
            first = button;
    }
    if (first != part)
        first->setFocus(Qt::OtherFocusReason);
}

} // namespace velmora
