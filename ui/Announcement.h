#pragma once

#include <QString>

class QWidget;

namespace velmora {

/// Lets a screen reader speak `text` once, after the sentence that it speaks, without moving the focus. Does
/// nothing while no such program listens. `where` must live until the text has been read: the window rather
/// than a screen that leaves it.
void announce(QWidget *where, const QString &text);

} // namespace velmora
