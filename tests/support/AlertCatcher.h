#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

namespace velmora::testing {

/// Dismisses each alert as soon as it is shown and keeps what it said: title, informative text, buttons, in
/// one text.
class AlertCatcher : public QObject
{
public:
    AlertCatcher();

    QStringList alerts;
    /// Called once, while the next alert is open.
    std::function<void()> whileOpen;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace velmora::testing
