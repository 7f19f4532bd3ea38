#pragma once

#include <QString>

#include <functional>

class QWidget;

/// Every screen with sample data, in each state that looks different.
namespace velmora::scenes {

using Visitor = std::function<void(QWidget &shown, const QString &name)>;

/// Shows them one after another and calls `visit` while each is on screen.
void showAll(const Visitor &visit);

} // namespace velmora::scenes
