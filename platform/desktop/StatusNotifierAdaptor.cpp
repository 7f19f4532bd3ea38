#include "platform/desktop/StatusNotifierAdaptor.h"

#include "platform/Configuration.h"
#include "platform/desktop/StatusNotifierItem.h"

#include <QDBusMetaType>
#include <QtEndian>

namespace velmora {

QDBusArgument &operator<<(QDBusArgument &argument, const BusImage &image)
{
    argument.beginStructure();
    argument << image.width << image.height << image.pixels;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, BusImage &image)
{
    argument.beginStructure();
    argument >> image.width >> image.height >> image.pixels;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const BusToolTip &toolTip)
{
    argument.beginStructure();
    argument << toolTip.iconName << toolTip.images << toolTip.title << toolTip.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, BusToolTip &toolTip)
{
    argument.beginStructure();
    argument >> toolTip.iconName >> toolTip.images >> toolTip.title >> toolTip.text;
    argument.endStructure();
    return argument;
}

StatusNotifierAdaptor::StatusNotifierAdaptor(StatusNotifierItem *item)
    : QDBusAbstractAdaptor(item), owner(item)
{
    qDBusRegisterMetaType<BusImage>();
    qDBusRegisterMetaType<QList<BusImage>>();
    qDBusRegisterMetaType<BusToolTip>();
    connect(item, &StatusNotifierItem::iconChanged, this, &StatusNotifierAdaptor::NewIcon);
}

QString StatusNotifierAdaptor::id() const
{
    return configuration::applicationIdentifier();
}

QString StatusNotifierAdaptor::title() const
{
    return owner->title();
}

QList<BusImage> StatusNotifierAdaptor::iconPixmap() const
{
    QList<BusImage> images;
    const QIcon icon = owner->icon();
    const QList<QSize> sizes = icon.availableSizes();
    for (const QSize &size : sizes) {
        const QImage image = icon.pixmap(size, 1).toImage().convertToFormat(QImage::Format_ARGB32);
        QByteArray pixels;
        pixels.reserve(image.sizeInBytes());
        for (int y = 0; y < image.height(); ++y) {
            const auto *const line = reinterpret_cast<const quint32 *>(image.constScanLine(y));
            for (int x = 0; x < image.width(); ++x) {
                const quint32 pixel = qToBigEndian(line[x]);
                pixels.append(reinterpret_cast<const char *>(&pixel), sizeof(pixel));
            }
        }
        images.append({image.width(), image.height(), pixels});
    }
    return images;
}

BusToolTip StatusNotifierAdaptor::toolTip() const
{
    return {{}, {}, owner->title(), {}};
}

void StatusNotifierAdaptor::Activate(int, int)
{
    owner->click();
}

// The other buttons do nothing: there is no menu and no second action.
void StatusNotifierAdaptor::SecondaryActivate(int, int) {}

void StatusNotifierAdaptor::ContextMenu(int, int) {}

void StatusNotifierAdaptor::Scroll(int, const QString &) {}

void StatusNotifierAdaptor::ProvideXdgActivationToken(const QString &token)
{
    owner->takeToken(token);
}

} // namespace velmora
