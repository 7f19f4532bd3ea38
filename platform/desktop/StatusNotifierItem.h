#pragma once

#include <QDBusConnection>
#include <QIcon>
#include <QObject>

class QDBusServiceWatcher;

namespace velmora {

/// An icon in the desktop's status bar as a StatusNotifierItem (freedesktop.org): without a menu, so that a
/// click does one thing. It registers with the session's watcher whenever one appears, be it long after the
/// start or after the panel was restarted.
///
/// Qt's own implementation asks for a host once in a process and keeps to the answer; a client that the
/// session starts before its panel would never get an icon.
class StatusNotifierItem : public QObject
{
    Q_OBJECT

public:
    /// `title` is the name of the icon to assistive tools and its tooltip.
    explicit StatusNotifierItem(const QString &title);
    ~StatusNotifierItem() override;

    void setIcon(const QIcon &icon);
    /// Whether something on this session shows such icons.
    bool hasHost() const { return hostPresent; }

    // What the host reads and calls.
    QString title() const { return itemTitle; }
    QIcon icon() const { return itemIcon; }
    void click();
    void takeToken(const QString &token) { activationToken = token; }

Q_SIGNALS:
    /// `token` is the permission to take the focus that came with the click; empty where none did.
    void clicked(const QString &token);
    /// Also when the session's first answer is known.
    void hostChanged();
    void iconChanged();

private Q_SLOTS:
    void askForHost();

private:
    void registerAtWatcher();
    void setHostPresent(bool present);

    QDBusConnection bus;
    QDBusServiceWatcher *watcher;
    QString itemTitle;
    QIcon itemIcon;
    QString activationToken;
    bool hostPresent = false;
    bool hostKnown = false;
};

} // namespace velmora
