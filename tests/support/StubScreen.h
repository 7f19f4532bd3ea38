#pragma once

#include "ui/Screen.h"

namespace velmora::testing {

/// A screen with nothing on it.
class StubScreen final : public Screen
{
protected:
    std::unique_ptr<QWidget> makeView() override { return std::make_unique<QWidget>(); }
};

} // namespace velmora::testing
