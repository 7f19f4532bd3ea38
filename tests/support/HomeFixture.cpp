#include "tests/support/HomeFixture.h"

#include "api/ServiceManager.h"
#include "ui/Window.h"

#include <QLabel>
#include <QTest>

namespace velmora::testing {

using namespace Qt::StringLiterals;

HomeFixture::HomeFixture() : store(FakeSecretStore::install()), vpn(FakeVPNManager::install())
{
    ServiceManager::shared() = {};
    store.items = {{QStringLiteral("token"), QStringLiteral("t")},
                   {QStringLiteral("username"), QStringLiteral("ann")}};
    screen = Screen::make<HomeVC>();
}

HomeFixture::~HomeFixture()
{
    delete window;
}

void HomeFixture::load(const QByteArray &endpoints, const QByteArray &favorites)
{
    server.answer("{\"endpoints\":" + endpoints + "}");
    server.answer("{\"favorites\":" + favorites + "}");
    window = Window::windowWithContentViewController(screen);
    window->show();
    QVERIFY(QTest::qWaitFor([this] { return isAtRest() && server.requests.size() == 2; }));
}

void HomeFixture::loadWithoutService()
{
    window = Window::windowWithContentViewController(screen);
    window->show();
    // The request shares the screen until it has failed.
    QVERIFY(QTest::qWaitFor([this] { return isAtRest(); }));
}

QString HomeFixture::text(const QString &labelName) const
{
    return control<QLabel>(labelName)->text();
}

QStringList HomeFixture::newLines()
{
    QStringList lines = output.lines();
    output.clear();
    // QtTest prints what Qt's displayless platform says of a window that makes room.
    lines.removeIf([](const QString &line) { return line.contains(u"propagateSizeHints"_s); });
    return lines;
}

} // namespace velmora::testing
