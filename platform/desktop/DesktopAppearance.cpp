#include "platform/desktop/DesktopAppearance.h"

#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

const QString portalName = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString settingsInterface = u"org.freedesktop.portal.Settings"_s;

const QString colorScheme = u"color-scheme"_s;
const QString contrast = u"contrast"_s;
const QString textScale = u"text-scaling-factor"_s;
/// The namespace of each key.
const std::array<std::pair<QString, QString>, 3> settings = {{{u"org.freedesktop.appearance"_s, colorScheme},
                                                              {u"org.freedesktop.appearance"_s, contrast},
                                                              {u"org.gnome.desktop.interface"_s, textScale}}};

constexpr uint preferDark = 1;
constexpr uint preferHighContrast = 1;
constexpr double smallestScale = 0.5;
constexpr double largestScale = 3;

/// The first window waits this long, so that its look does not change before the user's eyes.
constexpr std::chrono::milliseconds timeout{150};

/// Under X11 a desktop scales texts by the resolution of fonts, which Qt applies to the whole window.
bool qtScalesAlready()
{
    return QGuiApplication::platformName() == u"xcb"_s && qGuiApp->devicePixelRatio() > 1;
}

} // namespace

DesktopAppearance::DesktopAppearance(Handler appearanceHandler)
    : bus(QDBusConnection::sessionBus()), handler(std::move(appearanceHandler))
{
    QEventLoop loop;
    QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
    for (const auto &[space, key] : settings) {
        bus.connect(portalName, portalPath, settingsInterface, u"SettingChanged"_s, {space, key}, QString(),
                    this, SLOT(settingChanged(QDBusMessage)));
        QDBusMessage question =
            QDBusMessage::createMethodCall(portalName, portalPath, settingsInterface, u"Read"_s);
        question << space << key;
        auto *const watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, key = key] {
            watcher->deleteLater();
            if (!watcher->isError())
                take(key, watcher->reply().arguments().value(0));
        });
        // The portal answers in the order of the questions.
        if (key == settings.back().second)
            connect(watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    }
    loop.exec();
}

void DesktopAppearance::settingChanged(const QDBusMessage &signal)
{
    take(signal.arguments().at(1).toString(), signal.arguments().value(2));
}

/// Ignores a value of an unexpected type.
void DesktopAppearance::take(const QString &key, QVariant value)
{
    // The portal may wrap it more than once.
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = QVariant(value.value<QDBusVariant>().variant());
    Appearance next = current;
    if (key == textScale && value.metaType() == QMetaType::fromType<double>() && !qtScalesAlready())
        next.textScale = std::clamp(value.toDouble(), smallestScale, largestScale);
    else if (key == colorScheme && value.metaType() == QMetaType::fromType<uint>())
        next.isDark = value.toUInt() == preferDark;
    else if (key == contrast && value.metaType() == QMetaType::fromType<uint>())
        next.hasHighContrast = value.toUInt() == preferHighContrast;
    if (std::exchange(current, next) != next)
        handler(current);
}

} // namespace velmora
