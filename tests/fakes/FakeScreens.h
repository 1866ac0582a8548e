#pragma once

#include "platform/Screens.h"

namespace quibel {

/// A desktop as the test describes it.
class FakeScreens final : public Screens
{
public:
    [[nodiscard]] std::vector<Screen> all() override { return screens; }
    [[nodiscard]] std::optional<Screen> main() override { return mainScreen; }
    [[nodiscard]] QPoint pointerLocation() override { return pointer; }

    std::vector<Screen> screens;
    std::optional<Screen> mainScreen;
    QPoint pointer;
};

} // namespace quibel
