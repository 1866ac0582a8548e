#pragma once

#include "platform/Screens.h"
#include "platform/Workspace.h"
#include "platform/freedesktop/DesktopEntries.h"
#include "platform/x11/XcbWindowList.h"

namespace quibel {

/// The session as the input focus shows it and, where that is in no application's window, as the
/// window manager tells it.
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
    /// The window that keys go to; the top-level window under the pointer while none has the focus.
    [[nodiscard]] xcb_window_t inputFocus();
    /// `outwards` is the ancestry of the window that keys go to.
    ///
    /// Source: ICCCM, WM_STATE: what a window manager marks the windows with that it manages.
    [[nodiscard]] xcb_window_t frontmostWindow(const std::vector<xcb_window_t>& outwards);
    [[nodiscard]] xcb_window_t firstThatHas(xcb_atom_t property,
                                            const std::vector<xcb_window_t>& candidates);
    /// The window and what it lies in, up to below the root; empty when it is gone.
    [[nodiscard]] std::vector<xcb_window_t> ancestry(xcb_window_t window);
    [[nodiscard]] RunningApplication ownerOf(xcb_window_t window);
    void selectRootEvents(xcb_event_mask_t events);
    void endActivation();
    void handleEvent(const xcb_generic_event_t* event);

    XcbConnection& x;
    Screens& screens;
    const DesktopEntries& entries;
    XcbWindowOwners owners;
    XcbWindowList windows;
    xcb_atom_t netActiveWindow;
    xcb_atom_t netCurrentDesktop;
    xcb_atom_t netWmDesktop;
    xcb_atom_t netSupportingWmCheck;

    /// The last frontmost window, and which window in it had the keyboard.
    struct
    {
        xcb_window_t window = XCB_WINDOW_NONE;
        xcb_window_t focus = XCB_WINDOW_NONE;
    } lastFrontmost;
    /// The window that was activated last, until the window manager names an active one: it
    /// follows later, and what it names till then is past.
    struct Activation
    {
        xcb_window_t window = XCB_WINDOW_NONE;
        std::uint32_t request = 0; ///< The number of the request that activated it.
    };
    Activation activating;
};

/// An area of the desktop in points.
///
/// Units: `pixels` in the window system's pixels; the result in the coordinates of `Screen::frame`
/// of the screen that holds the area's centre, else of the first one.
[[nodiscard]] QRectF pointsFromPixels(const QRectF& pixels, const std::vector<Screen>& screens);

} // namespace quibel
