#pragma once

#include "ui/Alert.h"

#include <QApplication>
#include <QEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStringList>

#include <functional>
#include <utility>

namespace velmora::testing {

/// Dismisses each alert as soon as it is shown and keeps its title, its informative text and its buttons as
/// one text.
class AlertCatcher : public QObject
{
public:
    AlertCatcher() { qApp->installEventFilter(this); }

    QStringList alerts;
    /// Called once, while the next alert is open.
    std::function<void()> whileOpen;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *box = qobject_cast<MessageDialog *>(watched);
        if (box == nullptr || event->type() != QEvent::Show || !box->isModal())
            return false;
        QStringList said{box->windowTitle(), box->findChild<QPlainTextEdit *>()->toPlainText(), {}};
        for (const QAbstractButton *button : box->findChildren<QAbstractButton *>())
            said.last() += button->text();
        alerts.append(said.join(QChar(u'|')));
        const auto dismiss = [this, box] {
            if (const auto action = std::exchange(whileOpen, {}))
                action();
            box->accept();
        };
        QMetaObject::invokeMethod(box, dismiss, Qt::QueuedConnection);
        return false;
    }
};

} // namespace velmora::testing
