#include "servers/EndpointTV.h"

#include "api/NetworkManager.h"
#include "api/ServiceManager.h"
#include "platform/Log.h"
#include "servers/HomeScreen.h"
#include "ui/DisplayText.h"

#include "ui_endpoint.h"

#include <QPainter>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int endpointRowHeight = 35;

QString latencyText(const std::optional<QList<double>> &ping)
{
    if (!ping)
        return {};
    if (ping->size() < 3)
        fatalError(u"A latency list holds fewer than three values"_s);
    return QString::asprintf("%.1f ms", ping->at(2));
}

/// The name for assistive tools of a favourite that is not among the endpoints; its row shows none.
QString spokenName(const QString &name)
{
    return name.isEmpty() ? u"Unknown location"_s : name;
}

} // namespace

int LatencyLabel::widthOf(QChar character) const
{
    int width = fontMetrics().horizontalAdvance(character);
    for (char16_t digit = u'0'; character.isDigit() && digit <= u'9'; ++digit)
        width = std::max(width, fontMetrics().horizontalAdvance(digit));
    return width;
}

QSize LatencyLabel::sizeHint() const
{
    // Room for three digits before the point, used or not.
    const QString least = u"000.0 ms"_s;
    int width = 0;
    for (const QChar character : text().size() > least.size() ? text() : least)
        width += widthOf(character);
    return {width, fontMetrics().height()};
}

void LatencyLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(textColor());
    const QString shown = text();
    int x = 0;
    if (layoutDirection() == Qt::LeftToRight) {
        x = width();
        for (const QChar character : shown)
            x -= widthOf(character);
    }
    const int baseline = (height() + fontMetrics().ascent() - fontMetrics().descent()) / 2;
    for (const QChar character : shown) {
        const int slack = widthOf(character) - fontMetrics().horizontalAdvance(character);
        painter.drawText(x + slack / 2, baseline, QString(character));
        x += widthOf(character);
    }
}

EndpointCellView::EndpointCellView(bool isFavorite, QWidget *parent)
    : TableCellView(parent), favorite(isFavorite)
{
    Ui::endpoint layout;
    layout.setupUi(this);
    flagImageView.connect(layout.flagImageView);
    countryLabel.connect(layout.countryLabel);
    starBtn.connect(layout.starBtn);
    starBtn->setImageNamed(favorite ? u"star-filled"_s : u"star"_s);
    starBtn->setProperty("accented", favorite);
    starBtn->setToolTip(favorite ? u"Remove from favourites"_s : u"Add to favourites"_s);
    connect(layout.starBtn, &IconButton::clicked, this, &EndpointCellView::starClicked);
}

void EndpointCellView::configure(const Service &service)
{
    flagImageView->setImageNamed(service.country.toLower());
    countryLabel->setText(displayText(service.name).replace(u'\n', u' '));
    latencyLabel().setText(latencyText(service.ping));
    const QString action = (favorite ? u"Remove %1 from favourites"_s : u"Add %1 to favourites"_s)
                               .arg(spokenName(countryLabel->text()));
    // Qt announces each name that is set, also the same one.
    if (action != starBtn->accessibleName())
        starBtn->setAccessibleName(action);
}

QString EndpointCellView::spokenText() const
{
    QStringList parts{spokenName(countryLabel->text()), latencyLabel().text(),
                      favorite ? u"favourite"_s : u"not a favourite"_s};
    parts.removeAll(QString());
    return parts.join(u", "_s);
}

void EndpointCellView::favoriteReply(const std::optional<Response> &response)
{
    const std::shared_ptr<HomeScreen> home = HomeScreen::current();
    if (!response || response->success != true || !home)
        return;
    NetworkManager::forOneRequest().getServices([home](const std::optional<ServiceResponse> &reply) {
        home->servicesReply(reply ? reply->services : std::nullopt);
    });
}

EndpointTV::EndpointTV(const QString &nibName, const QString &identifierName, const QMetaObject &cellKind,
                       CellLayout layout, QWidget *parent)
    : TableView(parent), cellNibName(nibName), cellIdentifierName(identifierName), kind(cellKind),
      makeCell(std::move(layout))
{
    setUp();
}

void EndpointTV::setUp()
{
    registerLayout(makeCell, cellIdentifierName);
    setRowHeight(endpointRowHeight);
    setBackgroundColor(Qt::transparent);
}

void EndpointTV::drawRect(const QRect &rect)
{
    TableView::drawRect(rect);
    setUp();
}

void EndpointTV::reloadData()
{
    const QList<Service> &all = ServiceManager::shared().allService;
    index.clear();
    index.reserve(static_cast<size_t>(all.size()));
    for (qsizetype place = 0; place < all.size(); ++place)
        index.try_emplace(all[place].id, place);
    TableView::reloadData();
}

Service EndpointTV::recordOfRow(int row) const
{
    if (row >= numberOfRowsInTableView())
        return {};
    const QList<Service> &all = ServiceManager::shared().allService;
    const auto fits = [id = idInRow(row)](const Service &service) {
        return service.id == id;
    };
    const auto place = index.find(idInRow(row));
    if (place != index.end() && place->second < all.size() && fits(all[place->second]))
        return all[place->second];
    // The store may have been written since the last reload.
    const auto record = std::find_if(all.cbegin(), all.cend(), fits);
    return record != all.cend() ? *record : Service();
}

bool EndpointTV::isEndpointSelected(qint64 endpointId) const
{
    return selectedRow() >= 0 && tagOfRow(selectedRow()) == endpointId;
}

bool EndpointTV::selectEndpointSilently(qint64 endpointId)
{
    int row = std::min(rowCount(), numberOfRowsInTableView()) - 1;
    while (row >= 0 && (idInRow(row).value_or(0) != endpointId || tagOfRow(row) != endpointId))
        --row;
    setSelectedRowSilently(row);
    return row >= 0;
}

TableCellView *EndpointTV::tableViewViewForTableColumnRow(int row)
{
    TableCellView *const view = makeViewWithIdentifier(cellIdentifierName);
    auto *const cell = static_cast<EndpointCellView *>(kind.cast(view));
    if (cell == nullptr)
        fatalError(u"The layout %1 holds another kind of row"_s.arg(cellNibName));
    const Service record = recordOfRow(row);
    cell->starBtn->setTag(record.id.value_or(0));
    cell->configure(record);
    return cell;
}

void EndpointTV::tableViewSelectionDidChange()
{
    qint64 id = -1;
    if (const auto *cell = qobject_cast<EndpointCellView *>(viewAtRow(selectedRow())))
        id = cell->starBtn->tag();
    if (selectedEndpointDelegate)
        selectedEndpointDelegate(id, this);
}

QString EndpointTV::searchTextOfRow(int row) const
{
    const auto place = row < numberOfRowsInTableView() ? index.find(idInRow(row)) : index.end();
    return place != index.end() ? ServiceManager::shared().allService.value(place->second).name : QString();
}

} // namespace velmora
