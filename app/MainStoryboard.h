#pragma once

#include "ui/Storyboard.h"

namespace velmora {

/// The storyboard "Main": the one table that knows every screen.
std::shared_ptr<Storyboard> makeMainStoryboard();

} // namespace velmora
