#pragma once

#include "platform/x11/Xcb.h"

#include <QImage>
#include <QRect>

#include <chrono>
#include <optional>
#include <vector>

namespace quibel {

/// Takes pictures of windows as they are, whatever covers them, and of areas of the desktop.
///
/// It has a connection of its own to the server and ends it: the server then takes back all that a
/// picture needed, however the taking ended.
///
/// Thread: any, the one that made it; calls wait for the server and the windows' programs.
class XcbFrameGrabber
{
public:
    /// Connects to the server that DISPLAY names.
    XcbFrameGrabber();
    XcbFrameGrabber(const XcbFrameGrabber&) = delete;
    XcbFrameGrabber& operator=(const XcbFrameGrabber&) = delete;
    ~XcbFrameGrabber();

    /// The content of a window, without the frame that the window manager drew.
    ///
    /// Errors: a null image when the window is not on screen, goes, or does not stop changing.
    [[nodiscard]] QImage grabWindow(xcb_window_t window);

    /// The part of `area`, in pixels of the root window, that is on the desktop.
    ///
    /// Errors: a null image when there is none.
    [[nodiscard]] QImage grabArea(const QRect& area);

private:
    /// Where a window is inside one that encloses it, or inside itself.
    struct Placement
    {
        QRect inside;                     ///< In pixels of the enclosing window's pixmap.
        QSize enclosing;                  ///< Of that pixmap.
        xcb_visualid_t visual = XCB_NONE; ///< Of the enclosing window.

        bool operator==(const Placement&) const = default;
    };

    /// The window and those that enclose it, the root last; empty when the window is gone.
    [[nodiscard]] std::vector<xcb_window_t> lineage(xcb_window_t window);
    [[nodiscard]] std::optional<Placement> placement(xcb_window_t window, xcb_window_t enclosing);

    /// One attempt; a null image also when the window changed on the way.
    [[nodiscard]] QImage attemptWindow(xcb_window_t window);
    [[nodiscard]] QImage grabPixmap(xcb_window_t window, xcb_window_t enclosing);
    [[nodiscard]] QImage grabVisible(xcb_window_t window, const std::vector<xcb_window_t>& line);
    [[nodiscard]] QImage grabCovered(xcb_window_t window);
    /// Source: Extended Window Manager Hints, the selection _NET_WM_CM_Sn.
    [[nodiscard]] bool hasCompositor();
    [[nodiscard]] bool isRedirected(xcb_window_t window);
    [[nodiscard]] bool isWhollyVisible(const std::vector<xcb_window_t>& line);
    [[nodiscard]] bool
    isWhollyVisibleIn(xcb_window_t window, xcb_window_t child, xcb_window_t parent);
    void waitUntilPainted(xcb_window_t window);
    /// False when nothing was heard in that time.
    [[nodiscard]] bool waitForEvents(std::chrono::milliseconds time);

    xcb_connection_t* connection;
    int screenNumber = 0;
    xcb_screen_t* screen = nullptr;
    bool composes = false; ///< The server can keep windows in pixmaps of their own.
    bool tellsDamage = false;
};

} // namespace quibel
