#include "servers/RecentTV.h"

#include "platform/Log.h"
#include "servers/Countries.h"
#include "servers/RecentCellView.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int recentRowHeight = 36;

} // namespace

RecentTV::RecentTV(QWidget *parent)
    : ServerTV(u"recent"_s, u"RecentCell"_s, recentRowHeight, parent), flags{u"US"_s, u"GB"_s, u"CA"_s,
                                                                             u"FR"_s}
{
    // Nothing in it takes a key.
    setFocusPolicy(Qt::NoFocus);
}

int RecentTV::numberOfRowsInTableView() const
{
    return static_cast<int>(flags.size());
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

bool RecentTV::tableViewShouldSelectRow(int) const
{
    return false;
}

} // namespace velmora
