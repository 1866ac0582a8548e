#pragma once

#include <QPoint>
#include <QRect>

#include <cstdint>
#include <optional>
#include <vector>

namespace quibel {

using DisplayID = std::uint32_t;

/// One screen of the desktop.
///
/// Units: `frame` and `visibleFrame` are in points (device-independent pixels), top-left origin.
struct Screen
{
    std::optional<DisplayID> displayID;
    QRect frame;
    QRect visibleFrame; ///< `frame` without panels and docks.
    QRect pixelFrame;   ///< The same area in the window system's own pixels.

    bool operator==(const Screen&) const = default;
};

/// The screens of the desktop and where the pointer is on them.
///
/// Thread: main.
class Screens
{
public:
    Screens() = default;
    Screens(const Screens&) = delete;
    Screens& operator=(const Screens&) = delete;
    virtual ~Screens() = default;

    /// All screens, in the system's order.
    [[nodiscard]] virtual std::vector<Screen> all() = 0;

    /// The main (primary) screen; none while no screen is connected.
    [[nodiscard]] virtual std::optional<Screen> main() = 0;

    /// The pointer, in points, in the coordinates of `Screen::frame`.
    [[nodiscard]] virtual QPoint pointerLocation() = 0;
};

/// The first of `screens` whose frame holds `point`; nullopt if none does.
[[nodiscard]] std::optional<Screen> screenAt(QPoint point, const std::vector<Screen>& screens);

} // namespace quibel
