#include "tests/support/FakeStatusHost.h"

namespace velmora::testing {

using namespace Qt::StringLiterals;

FakeStatusHost::FakeStatusHost() : bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"panel"_s))
{
    bus.registerObject(u"/StatusNotifierWatcher"_s, this, QDBusConnection::ExportAllContents);
}

FakeStatusHost::~FakeStatusHost()
{
    stop();
    bus.unregisterObject(u"/StatusNotifierWatcher"_s);
    QDBusConnection::disconnectFromBus(u"panel"_s);
}

void FakeStatusHost::start()
{
    bus.registerService(u"org.kde.StatusNotifierWatcher"_s);
}

void FakeStatusHost::stop()
{
    bus.unregisterService(u"org.kde.StatusNotifierWatcher"_s);
    items.clear();
}

void FakeStatusHost::setHost(bool present)
{
    host = present;
    if (present)
        Q_EMIT StatusNotifierHostRegistered();
    else
        Q_EMIT StatusNotifierHostUnregistered();
}

void FakeStatusHost::RegisterStatusNotifierItem(const QString &service)
{
    items.append(service);
}

} // namespace velmora::testing
