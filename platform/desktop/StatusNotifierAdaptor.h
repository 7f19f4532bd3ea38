#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QList>

namespace velmora {

class StatusNotifierItem;

/// A picture on the bus: 32 bits for each pixel, alpha first, in network byte order.
struct BusImage
{
    int width = 0;
    int height = 0;
    QByteArray pixels;
};

/// A tooltip on the bus.
struct BusToolTip
{
    QString iconName;
    QList<BusImage> images;
    QString title;
    QString text;
};

QDBusArgument &operator<<(QDBusArgument &argument, const BusImage &image);
const QDBusArgument &operator>>(const QDBusArgument &argument, BusImage &image);
QDBusArgument &operator<<(QDBusArgument &argument, const BusToolTip &toolTip);
const QDBusArgument &operator>>(const QDBusArgument &argument, BusToolTip &toolTip);

/// The interface org.kde.StatusNotifierItem of a status icon.
class StatusNotifierAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QString IconName READ noText)
    Q_PROPERTY(QList<velmora::BusImage> IconPixmap READ iconPixmap)
    Q_PROPERTY(QString OverlayIconName READ noText)
    Q_PROPERTY(QString AttentionIconName READ noText)
    Q_PROPERTY(velmora::BusToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)

public:
    explicit StatusNotifierAdaptor(StatusNotifierItem *item);

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const;
    QString title() const;
    QString status() const { return QStringLiteral("Active"); }
    QString noText() const { return {}; }
    QList<BusImage> iconPixmap() const;
    BusToolTip toolTip() const;
    bool itemIsMenu() const { return false; }

public Q_SLOTS:
    void Activate(int x, int y);
    void SecondaryActivate(int x, int y);
    void ContextMenu(int x, int y);
    void Scroll(int delta, const QString &orientation);
    void ProvideXdgActivationToken(const QString &token);

Q_SIGNALS:
    void NewIcon();
    void NewTitle();

private:
    StatusNotifierItem *owner;
};

} // namespace velmora

Q_DECLARE_METATYPE(velmora::BusImage)
Q_DECLARE_METATYPE(velmora::BusToolTip)
