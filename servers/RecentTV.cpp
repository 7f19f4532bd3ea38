#include "servers/RecentTV.h"

#include "platform/Log.h"
#include "servers/Countries.h"

#include "ui_recent.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int recentRowHeight = 36;

} // namespace

RecentCellView::RecentCellView(QWidget *parent) : TableCellView(parent)
{
    Ui::recent layout;
    layout.setupUi(this);
    flagImageView.connect(layout.flagImageView);
    countryLabel.connect(layout.countryLabel);
}

void RecentCellView::configure(const QString &code, const QString &name)
{
    flag = code;
    country = name;
    flagImageView->setImageNamed(code.toLower());
    countryLabel->setText(name);
}

RecentTV::RecentTV(QWidget *parent)
    : TableView(parent), cellNibName(u"recent"_s),
      cellIdentifierName(u"RecentCell"_s), flags{u"US"_s, u"GB"_s, u"CA"_s, u"FR"_s}
{
    // Nothing in it takes a key.
    setFocusPolicy(Qt::NoFocus);
    setUp();
}

void RecentTV::setUp()
{
    registerLayout([](QWidget *viewport) { return new RecentCellView(viewport); }, cellIdentifierName);
    setRowHeight(recentRowHeight);
    setBackgroundColor(Qt::transparent);
}

void RecentTV::drawRect(const QRect &rect)
{
    TableView::drawRect(rect);
    setUp();
}

TableCellView *RecentTV::tableViewViewForTableColumnRow(int row)
{
    auto *const cell = qobject_cast<RecentCellView *>(makeViewWithIdentifier(cellIdentifierName));
    if (cell == nullptr)
        fatalError(u"The layout %1 holds another kind of row"_s.arg(cellNibName));
    const std::optional<QString> name = Countries::name(flags[row]);
    if (!name)
        fatalError(u"The country %1 has no name"_s.arg(flags[row]));
    cell->configure(flags[row], *name);
    return cell;
}

} // namespace velmora
