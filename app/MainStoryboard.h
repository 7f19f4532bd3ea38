#pragma once

#include "ui/Storyboard.h"

namespace velmora {

/// The storyboard "Main", the only table of all screens.
std::shared_ptr<Storyboard> makeMainStoryboard();

} // namespace velmora
