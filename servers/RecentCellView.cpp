#include "servers/RecentCellView.h"

namespace velmora {

void RecentCellView::configure(const QString &code, const QString &name)
{
    flag = code;
    country = name;
    flagImageView->setImageNamed(code.toLower());
    countryLabel->setText(name);
}

} // namespace velmora
