#pragma once

#include "bench/agent/WatchedWindows.h"

#include <functional>

namespace quibel::bench {

/// Presses a hot key as a keyboard would and tells what became of it, on a desktop where the window
/// in front is its own.
///
/// Units: milliseconds since the key event was injected.
class HotKeyProbe
{
public:
    struct Press
    {
        std::optional<double> mapped;
        std::optional<double> keyboard;
        std::optional<double> painted; ///< The first time that all of the window has been painted.
        std::optional<double> still;   ///< The last paint before a rest.
        int misled = 0;                ///< Characters that the window in front got.
        Clock::time_point injected;    ///< When the key event was sent.
        bool closed = false;           ///< By the closing key, and the keyboard given back.
    };

    struct Options
    {
        bool typesAhead = false; ///< Ten characters, 5 ms after the key.
        std::uint8_t closingKey = 0;
        int pauseMs = 100;
    };

    /// Errors: the process ends when there is no X server.
    explicit HotKeyProbe(const Options& wanted);
    HotKeyProbe(const HotKeyProbe&) = delete;
    HotKeyProbe& operator=(const HotKeyProbe&) = delete;
    ~HotKeyProbe();

    /// One press, up to the panel being closed again; none when it was not shown.
    [[nodiscard]] std::optional<Press> press();

private:
    void makeFrontWindow();
    void takeKeyboard();
    bool close(std::uint8_t key, const std::function<bool()>& done);
    void fakeKey(std::uint8_t type, std::uint8_t keycode);
    void tap(std::uint8_t keycode);
    void handle(const xcb_generic_event_t& event);
    bool runUntil(const std::function<bool()>& done, Clock::time_point deadline);
    [[nodiscard]] bool isStill();

    Options options;
    xcb_connection_t* x;
    xcb_screen_t* screen;
    xcb_window_t front = 0;
    std::optional<WatchedWindows> windows;
    bool frontHasKeyboard = false;
    int frontKeys = 0;
};

} // namespace quibel::bench
