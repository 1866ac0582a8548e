#pragma once

#include "platform/Screens.h"
#include "platform/Workspace.h"
#include "platform/freedesktop/DesktopEntries.h"
#include "platform/x11/XcbWindowList.h"

namespace quibel {

/// The session as the window manager tells it.
class XcbWorkspace final : public Workspace
{
public:
    XcbWorkspace(XcbConnection& connection, Screens& screens, const DesktopEntries& entries);

    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() override;
    void activate(const RunningApplication& application) override;
    [[nodiscard]] std::optional<std::vector<WindowInfo>> onScreenWindows() override;

private:
    [[nodiscard]] RunningApplication ownerOf(xcb_window_t window);
    [[nodiscard]] bool contains(xcb_window_t window, xcb_window_t descendant);
    [[nodiscard]] xcb_window_t focusWithin(xcb_window_t window);

    XcbConnection& x;
    Screens& screens;
    const DesktopEntries& entries;
    XcbWindowOwners owners;
    XcbWindowList windows;

    /// The last frontmost window, and which window in it had the keyboard.
    struct
    {
        xcb_window_t window = XCB_WINDOW_NONE;
        xcb_window_t focus = XCB_WINDOW_NONE;
    } lastFrontmost;
    /// The window that was activated last, until the window manager names an active one.
    xcb_window_t activating = XCB_WINDOW_NONE;
};

/// An area of the desktop in points.
///
/// Units: `pixels` in the window system's pixels; the result in the coordinates of `Screen::frame`
/// of the screen that holds the area's centre, else of the first one.
[[nodiscard]] QRectF pointsFromPixels(const QRectF& pixels, const std::vector<Screen>& screens);

} // namespace quibel
