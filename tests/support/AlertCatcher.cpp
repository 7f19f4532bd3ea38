#include "tests/support/AlertCatcher.h"

#include <QApplication>
#include <QEvent>
#include <QMessageBox>
#include <QPushButton>

#include <utility>

namespace velmora::testing {

using namespace Qt::StringLiterals;

AlertCatcher::AlertCatcher()
{
    qApp->installEventFilter(this);
}

bool AlertCatcher::eventFilter(QObject *watched, QEvent *event)
{
    auto *box = qobject_cast<QMessageBox *>(watched);
    if (box == nullptr || event->type() != QEvent::Show || !box->isModal())
        return false;
    QStringList buttons;
    for (const QAbstractButton *button : box->buttons())
        buttons.append(button->text());
    alerts.append(u"%1|%2|%3"_s.arg(box->windowTitle(), box->informativeText(), buttons.join(u',')));
    QMetaObject::invokeMethod(
        box,
        [this, box] {
            if (const auto action = std::exchange(whileOpen, {}))
                action();
            box->accept();
        },
        Qt::QueuedConnection);
    return false;
}

} // namespace velmora::testing
