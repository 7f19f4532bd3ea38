#include "app/LateNetwork.h"

#include "platform/LateHttpSession.h"
#include "platform/LateVPNManager.h"
#include "platform/NetworkParts.h"

#include <QApplication>
#include <QEvent>
#include <QWidget>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds paintingBound = 1s;

} // namespace

LateNetwork::LateNetwork()
{
    auto manager = std::make_unique<LateVPNManager>();
    vpnManager = manager.get();
    VPNManager::setSharedManager(std::move(manager));
    auto session = std::make_unique<LateHttpSession>();
    httpSession = session.get();
    HttpSession::setShared(std::move(session));

    qApp->installEventFilter(this);
    patience.setSingleShot(true);
    patience.setInterval(paintingBound);
    connect(&patience, &QTimer::timeout, this, &LateNetwork::load);
    patience.start();
}

LateNetwork::~LateNetwork()
{
    // What still waits may hold screens, which know the manager.
    HttpSession::setShared(nullptr);
    VPNManager::setSharedManager(nullptr);
}

bool LateNetwork::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Paint && watched->isWidgetType() &&
        static_cast<QWidget *>(watched)->isWindow()) {
        qApp->removeEventFilter(this);
        // What has been painted is on screen once the event has been handled.
        QMetaObject::invokeMethod(this, &LateNetwork::load, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

void LateNetwork::load()
{
    if (isLoaded)
        return;
    isLoaded = true;
    patience.stop();
    qApp->removeEventFilter(this);
    const NetworkParts &parts = networkParts();
    vpnManager->setManager(parts.makeVPNManager());
    httpSession->setSession(parts.makeHttpSession());
}

} // namespace velmora
