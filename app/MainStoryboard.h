#pragma once

#include "ui/Storyboard.h"

namespace velmora {

/// The storyboard "Main" with all screens.
std::shared_ptr<Storyboard> makeMainStoryboard();

} // namespace velmora
