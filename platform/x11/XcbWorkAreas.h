#pragma once

#include "platform/x11/XcbDocks.h"

namespace quibel {

/// What bars and docks leave of each screen.
///
/// Thread: main.
class XcbWorkAreas
{
public:
    explicit XcbWorkAreas(XcbConnection& connection);

    /// The free part of each of `screens`, in their order; the whole of a screen that nothing is
    /// told of.
    ///
    /// Units: pixels of the root window.
    [[nodiscard]] std::vector<QRect> of(const std::vector<QRect>& screens);

private:
    /// Of all screens, where the window manager knows them one by one.
    [[nodiscard]] std::vector<QRect> areasOfEach(std::uint32_t desktop);

    XcbConnection& x;
    XcbDocks docks;
};

} // namespace quibel
