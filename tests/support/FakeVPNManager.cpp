#include "tests/support/FakeVPNManager.h"

#include "tests/support/OutputCapture.h"

#include <QMetaObject>

namespace velmora::testing {

using namespace Qt::StringLiterals;

namespace {

template<class Outcome>
void answer(QObject *context, QQueue<Outcome> &scripted, std::function<void(Outcome)> completion)
{
    const Outcome outcome = scripted.isEmpty() ? Outcome{} : scripted.dequeue();
    QMetaObject::invokeMethod(
        context, [completion = std::move(completion), outcome] { completion(outcome); },
        Qt::QueuedConnection);
}

} // namespace

FakeVPNManager &FakeVPNManager::install()
{
    auto manager = std::make_unique<FakeVPNManager>();
    FakeVPNManager &installed = *manager;
    VPNManager::setSharedManager(std::move(manager));
    return installed;
}

void FakeVPNManager::loadFromPreferences(Completion completion)
{
    OutputCapture::note(u"vpn load"_s);
    answer(this, loads, std::move(completion));
}

void FakeVPNManager::saveToPreferences(Completion completion)
{
    OutputCapture::note(u"vpn save"_s);
    saved.append(protocol.value_or(VPNProtocolIPSec{}));
    answer(this, saves, std::move(completion));
}

void FakeVPNManager::removeFromPreferences(Completion completion)
{
    OutputCapture::note(u"vpn remove"_s);
    protocol.reset();
    QMetaObject::invokeMethod(
        this, [completion] { completion({}); }, Qt::QueuedConnection);
}

void FakeVPNManager::startVPNTunnel(std::function<void(VPNStartOutcome)> completion)
{
    OutputCapture::note(u"vpn start"_s);
    answer(this, starts, std::move(completion));
}

void FakeVPNManager::stopVPNTunnel()
{
    OutputCapture::note(u"vpn stop"_s);
}

void FakeVPNManager::post(VPNStatus status)
{
    currentStatus = status;
    Q_EMIT statusDidChange();
}

} // namespace velmora::testing
