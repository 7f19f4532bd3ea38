#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

namespace velmora::pictures {

/// The icon of this name drawn in one colour, or in its own where the colour is invalid; square, `size`
/// logical pixels wide. Null where there is none.
QPixmap icon(const QString &name, int size, qreal devicePixelRatio, const QColor &colour);

/// The flag of this name ("us", "gb-sct"), square and not clipped, `size` logical pixels wide. Null where
/// there is none. The name may come from the service: one that is no plain code names no flag.
QPixmap flag(const QString &name, int size, qreal devicePixelRatio);

/// A picture with colours of its own, such as the product's mark, for windows and the status icon.
QIcon colouredIcon(const QString &name);

} // namespace velmora::pictures
