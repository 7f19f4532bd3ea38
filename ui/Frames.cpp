#include "ui/Frames.h"

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

void FormPage::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    const int column = std::max(columnWidth, layout()->minimumSize().width());
    const int side = std::max(Style::spaceM, (width() - column) / 2);
    setContentsMargins(side, Style::spaceM, side, Style::spaceXl);
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

void focusFirstControl(QWidget *part)
{
    QWidget *first = nullptr;
    const QList<QPushButton *> buttons = part->findChildren<QPushButton *>();
    for (QPushButton *const button : buttons) {
        if (button->isDefault() && button->isVisible())
            first = button;
    }
    for (QWidget *next = part->nextInFocusChain(); first == nullptr && next != part;
         next = next->nextInFocusChain()) {
        const bool takesTab = (next->focusPolicy() & Qt::TabFocus) != 0;
        if (takesTab && part->isAncestorOf(next) && next->isVisible() && next->isEnabled())
            first = next;
    }
    if (first != nullptr)
        first->setFocus(Qt::OtherFocusReason);
}

} // namespace velmora
