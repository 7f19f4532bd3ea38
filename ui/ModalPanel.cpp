#include "ui/ModalPanel.h"

#include "ui/Frames.h"
#include "ui/Style.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>

#include <utility>

namespace velmora {

namespace {

bool isInsidePanel(const QWidget *widget)
{
    for (; widget != nullptr; widget = widget->parentWidget()) {
        if (qobject_cast<const ModalPanel *>(widget) != nullptr)
            return true;
    }
    return false;
}

} // namespace

ModalPanel::ModalPanel(QWidget *parent) : QWidget(parent)
{
    setContentsMargins(Style::spaceXl, Style::spaceXl, Style::spaceXl, Style::spaceXl);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { keepFocus(now); });
}

void ModalPanel::setVisible(bool visible)
{
    const bool was = std::exchange(open, visible);
    if (visible && !was) {
        previousFocus = window()->focusWidget();
        raise();
    } else if (!visible && was && isAncestorOf(window()->focusWidget())) {
        // Hiding the focused widget would move the focus to an unrelated one. From a panel that covers
        // another one, the focus returns to that one.
        if (previousFocus != nullptr && previousFocus->isVisible())
            previousFocus->setFocus(Qt::OtherFocusReason);
        else
            window()->focusWidget()->clearFocus();
    }
    QWidget::setVisible(visible);
    if (visible && !was)
        focusFirstControl(this);
}

void ModalPanel::keepFocus(const QWidget *now)
{
    if (open && isVisible() && now != nullptr && now->window() == window() && !isInsidePanel(now))
        focusFirstControl(this);
}

void ModalPanel::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), QColor(0, 0, 0, 130));
}

void ModalPanel::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        Q_EMIT escapePressed();
    else
        QWidget::keyPressEvent(event);
}

void ModalPanel::mousePressEvent(QMouseEvent *event)
{
    // The pointer does not reach the widgets under the panel.
    event->accept();
}

bool ModalPanel::focusNextPrevChild(bool next)
{
    if (QWidget *const from = window()->focusWidget())
        nextControl(this, from, next)->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

} // namespace velmora
