#pragma once

#include <QString>

class QWidget;

namespace velmora {

/// Lets a screen reader speak `text` once, after the sentence that it speaks, without moving the focus. Does
/// nothing while no such program listens. `where` must live until the text has been read: the window rather
/// than a screen that leaves it.
void announce(QWidget *where, const QString &text);

/// Gives windows and panels the roles by which a screen reader reads them, and keeps passwords from it.
/// Called before the first window is shown; further calls do nothing.
void installAccessibility();

} // namespace velmora
