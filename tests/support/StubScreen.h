#pragma once

#include "ui/Screen.h"

namespace velmora::testing {

/// A screen that only counts how often it was shown.
class StubScreen final : public Screen
{
public:
    void viewDidAppear() override { ++appearances; }

    int appearances = 0;

protected:
    std::unique_ptr<QWidget> makeView() override { return std::make_unique<QWidget>(); }
};

} // namespace velmora::testing
