#pragma once

#include <QApplication>
#include <QEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>

#include <functional>
#include <utility>

namespace velmora::testing {

/// Dismisses each alert as soon as it is shown and keeps what it said: title, informative text, buttons, in
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
        auto *box = qobject_cast<QMessageBox *>(watched);
        if (box == nullptr || event->type() != QEvent::Show || !box->isModal())
            return false;
        QStringList said{box->windowTitle(), box->informativeText(), {}};
        for (const QAbstractButton *button : box->buttons())
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
