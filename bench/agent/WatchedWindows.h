#pragma once

#include "platform/x11/Xcb.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include <xcb/damage.h>

namespace quibel::bench {

using Clock = std::chrono::steady_clock;

/// What happened to the windows of a display since `forget`, but for one window that is our own.
///
/// Everything is told by the X server, on events that other programs cannot keep from us; the
/// times are those of their arrival here.
class WatchedWindows
{
public:
    struct Paint
    {
        Clock::time_point time;
        xcb_rectangle_t area;
    };

    struct Window
    {
        xcb_damage_damage_t damage = 0;
        /// The server itself fills a window of another visual than the root's when it maps it.
        bool filledWhenMapped = false;
        xcb_rectangle_t geometry {};
        std::optional<Clock::time_point> mapped {};
        std::optional<Clock::time_point> unmapped {};
        std::optional<Clock::time_point> keyboard {};
        std::vector<Paint> paints {};

        /// When the areas painted so far covered the whole window.
        [[nodiscard]] std::optional<Clock::time_point> covered() const;
    };

    /// `own` is left alone.
    WatchedWindows(xcb_connection_t* connection, xcb_window_t root, xcb_window_t own);

    void handle(const xcb_generic_event_t& event);

    /// Forgets what happened, not the windows.
    void forget();

    /// The window that has been mapped and painted and has got the keyboard, by focus or, as menus
    /// do, by a grab; null while there is none.
    [[nodiscard]] const Window* withKeyboard();

private:
    void handleFocus(const xcb_focus_in_event_t& focus, Clock::time_point now);
    void watch(xcb_window_t id);
    [[nodiscard]] Window* find(xcb_window_t id);

    xcb_connection_t* x;
    xcb_window_t rootWindow;
    xcb_visualid_t rootVisual;
    xcb_window_t ownWindow;
    std::uint8_t damageEvent = 0;
    std::map<xcb_window_t, Window> windows;
    std::vector<Clock::time_point> grabs; ///< Of the keyboard, at the root.
};

} // namespace quibel::bench
