#pragma once

#include <QPoint>
#include <QRect>

namespace velmora {

/// Where the top left corner of a notice's window goes, in Qt's coordinates, as are the two areas of the main
/// screen: all of it, and what panels leave free.
///
/// Flush with the top edge of the visible area; x, counted from the screen's left edge, is the visible area's
/// width less the window's. That leaves out where the visible area begins, deliberately: with a panel at the
/// left edge, the notice stands that far left of the right edge.
QPoint noticePosition(const QRect &screen, const QRect &visible, const QSize &window);

} // namespace velmora
