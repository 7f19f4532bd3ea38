#include "notices/NoticePlacement.h"

namespace velmora {

QPoint noticePosition(const QRect &screen, const QRect &visible, const QSize &window)
{
    // Qt counts from the top left corner of all screens together, y downwards.
    const int screenBottom = screen.y() + screen.height();
    const int visibleY = screenBottom - (visible.y() + visible.height());

    const int x = visible.width() - window.width();
    const int y = visibleY + visible.height() - window.height();

    return {screen.x() + x, screenBottom - (y + window.height())};
}

} // namespace velmora
