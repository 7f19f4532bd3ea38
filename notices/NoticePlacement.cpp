#include "notices/NoticePlacement.h"

namespace velmora {

QPoint noticePosition(const QRect &screen, const QRect &visible, const QSize &window)
{
    return {screen.x() + visible.width() - window.width(), visible.y()};
}

} // namespace velmora
