#pragma once

#include "platform/Screens.h"
#include "platform/Workspace.h"
#include "platform/freedesktop/DesktopEntries.h"
#include "platform/x11/XcbWindowList.h"

namespace quibel {

/// The session as the window manager tells it or, where none does, as the input focus shows it.
///
/// While an activation is under way it is alone in selecting events of the root window on its
/// connection.
class XcbWorkspace final : public QObject, public Workspace
{
    Q_OBJECT

public:
    XcbWorkspace(XcbConnection& connection, Screens& screens, const DesktopEntries& entries);

    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() override;
    void activate(const RunningApplication& application) override;
    [[nodiscard]] std::optional<std::vector<WindowInfo>> onScreenWindows() override;

private:
    [[nodiscard]] xcb_window_t frontmostWindow();
    [[nodiscard]] xcb_window_t focusedWindow();
    [[nodiscard]] xcb_window_t focusWithin(xcb_window_t window);
    /// The window and what it lies in, up to below the root; empty when it is gone.
    [[nodiscard]] std::vector<xcb_window_t> ancestry(xcb_window_t window);
    [[nodiscard]] XcbProperty activeWindow();
    [[nodiscard]] RunningApplication ownerOf(xcb_window_t window);
    void selectRootEvents(xcb_event_mask_t events);
    void handleEvent(const xcb_generic_event_t* event);

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
    /// The window that was activated last, until the window manager names an active one: it
    /// follows later, and what it names till then is past.
    struct
    {
        xcb_window_t window = XCB_WINDOW_NONE;
        std::uint32_t request = 0; ///< The number of the request that activated it.
    } activating;
};

/// An area of the desktop in points.
///
/// Units: `pixels` in the window system's pixels; the result in the coordinates of `Screen::frame`
/// of the screen that holds the area's centre, else of the first one.
[[nodiscard]] QRectF pointsFromPixels(const QRectF& pixels, const std::vector<Screen>& screens);

} // namespace quibel
