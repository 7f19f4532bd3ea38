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
    const auto shown = [this] {
        return isAtRest() && server.requests.size() == 2;
    };
    QVERIFY(QTest::qWaitFor(shown));
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
    // What Qt's displayless platform says of a window that makes room is no line of the client's.
    lines.removeIf([](const QString &line) { return line.contains(u"propagateSizeHints"_s); });
    return lines;
}

} // namespace velmora::testing
