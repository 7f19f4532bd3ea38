#pragma once

#include <functional>

class QMenuBar;
class QWidget;

namespace velmora {

/// The application's menu bar for one window. `openSettings` is what its settings entry does.
QMenuBar *makeAppMenu(QWidget *window, const std::function<void()> &openSettings);

} // namespace velmora
