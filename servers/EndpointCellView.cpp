#include "servers/EndpointCellView.h"

#include "api/NetworkManager.h"
#include "servers/HomeScreen.h"
#include "ui/DisplayText.h"
#include "ui/TableViewAccessible.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

QString latencyText(const std::optional<QList<double>> &ping)
{
    if (!ping)
        return {};
    if (ping->size() < 3)
        fatalError(u"A latency list holds fewer than three values"_s);
    return QString::asprintf("%.1f ms", ping->at(2));
}

/// What assistive tools say of a favourite that is not among the endpoints, of which the row shows nothing.
QString spokenName(const QString &name)
{
    return name.isEmpty() ? u"Unknown location"_s : name;
}

} // namespace

void EndpointCellView::configure(const Service &service)
{
    flagImageView->setImageNamed(service.country.toLower());
    countryLabel->setText(displayText(service.name).replace(u'\n', u' '));
    latencyLabel().setText(latencyText(service.ping));
    const QString action = starText(spokenName(countryLabel->text()));
    if (starBtn->accessibleName() != action)
        starBtn->setAccessibleName(action);
    announceRowText(this);
}

QString EndpointCellView::spokenText() const
{
    const QString latency = latencyLabel().text();
    const QString name = spokenName(countryLabel->text());
    const QString place = latency.isEmpty() ? name : name + u", "_s + latency;
    return place + u", "_s + favoriteText();
}

void EndpointCellView::viewWillDraw() {}

void EndpointCellView::favoriteReply(const std::optional<Response> &response)
{
    if (!response || response->success != true)
        return;
    const std::shared_ptr<HomeScreen> home = HomeScreen::current();
    if (!home)
        return;
    NetworkManager::forOneRequest().getServices([home](const std::optional<ServiceResponse> &reply) {
        home->servicesReply(reply ? reply->services : std::nullopt);
    });
}

} // namespace velmora
