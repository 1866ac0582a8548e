#include "bench/agent/HotKeyProbe.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

#include <poll.h>
#include <xcb/xtest.h>

namespace quibel::bench {

namespace {

using namespace std::chrono_literals;

// The private X server has the usual keycodes of Linux and the layout of the United States.
constexpr std::uint8_t superKey = 133;
constexpr std::uint8_t shiftKey = 50;
constexpr std::uint8_t bKey = 56;
constexpr std::uint8_t escapeKey = 9;
constexpr std::array<std::uint8_t, 10> typed { 38, 39, 40, 41, 42, 43, 44, 45, 46, 24 };

constexpr auto patience = 3s;
constexpr auto rest = 120ms; ///< Without a paint; shorter than the blinking of a caret.

std::optional<double> milliseconds(Clock::time_point begin, std::optional<Clock::time_point> end)
{
    if (!end)
        return std::nullopt;
    return std::chrono::duration<double, std::milli>(*end - begin).count();
}

} // namespace

HotKeyProbe::HotKeyProbe(const Options& wanted)
    : options(wanted)
    , x(xcb_connect(nullptr, nullptr))
    , screen(xcb_setup_roots_iterator(xcb_get_setup(x)).data)
{
    if (xcb_connection_has_error(x) != 0) {
        std::fputs("no X server\n", stderr);
        std::quick_exit(1);
    }
    makeFrontWindow();
    windows.emplace(x, screen->root, front);
    takeKeyboard();
}

HotKeyProbe::~HotKeyProbe()
{
    xcb_disconnect(x);
}

void HotKeyProbe::makeFrontWindow()
{
    front = xcb_generate_id(x);
    const std::array<std::uint32_t, 2> values {
        screen->white_pixel, XCB_EVENT_MASK_FOCUS_CHANGE | XCB_EVENT_MASK_KEY_PRESS
    };
    xcb_create_window(x,
                      XCB_COPY_FROM_PARENT,
                      front,
                      screen->root,
                      0,
                      0,
                      800,
                      600,
                      0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK,
                      values.data());
    constexpr std::string_view name = "front\0Front\0";
    xcb_change_property(
        x, XCB_PROP_MODE_REPLACE, front, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, 12, name.data());
    xcb_change_property(
        x, XCB_PROP_MODE_REPLACE, front, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 5, name.data());
    xcb_map_window(x, front);
    xcb_flush(x);
}

void HotKeyProbe::takeKeyboard()
{
    const auto deadline = Clock::now() + patience;
    if (!runUntil([this] { return frontHasKeyboard; }, deadline)) {
        std::fputs("the window in front does not get the keyboard\n", stderr);
        std::quick_exit(1);
    }
    static_cast<void>(runUntil([] { return false; }, Clock::now() + 500ms));
}

std::optional<HotKeyProbe::Press> HotKeyProbe::press()
{
    windows->forget();
    frontKeys = 0;
    fakeKey(XCB_KEY_PRESS, superKey);
    fakeKey(XCB_KEY_PRESS, shiftKey);
    xcb_flush(x);
    static_cast<void>(runUntil([] { return false; }, Clock::now() + 20ms));

    const auto begin = Clock::now();
    tap(bKey);
    fakeKey(XCB_KEY_RELEASE, shiftKey);
    fakeKey(XCB_KEY_RELEASE, superKey);
    xcb_flush(x);
    if (options.typesAhead) {
        static_cast<void>(runUntil([] { return false; }, begin + 5ms));
        for (const std::uint8_t keycode : typed)
            tap(keycode);
        xcb_flush(x);
    }
    static_cast<void>(runUntil([this] { return isStill(); }, begin + patience));
    const auto* panel = windows->withKeyboard();
    if (panel == nullptr) {
        close(escapeKey, [this] { return frontHasKeyboard; });
        return std::nullopt;
    }
    Press result { .mapped = milliseconds(begin, panel->mapped),
                   .keyboard = milliseconds(begin, panel->keyboard),
                   .painted = milliseconds(begin, panel->covered()),
                   .still = milliseconds(begin, panel->paints.back().time),
                   .misled = frontKeys,
                   .injected = begin };
    const auto closed = [&] { return panel->unmapped && frontHasKeyboard; };
    result.closed = close(options.closingKey, closed);
    if (!result.closed)
        close(escapeKey, closed);
    return result;
}

bool HotKeyProbe::close(std::uint8_t key, const std::function<bool()>& done)
{
    tap(key);
    xcb_flush(x);
    const bool closed = runUntil(done, Clock::now() + patience);
    static_cast<void>(
        runUntil([] { return false; }, Clock::now() + std::chrono::milliseconds(options.pauseMs)));
    return closed;
}

void HotKeyProbe::fakeKey(std::uint8_t type, std::uint8_t keycode)
{
    xcb_test_fake_input(x, type, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

void HotKeyProbe::tap(std::uint8_t keycode)
{
    fakeKey(XCB_KEY_PRESS, keycode);
    fakeKey(XCB_KEY_RELEASE, keycode);
}

void HotKeyProbe::handle(const xcb_generic_event_t& event)
{
    const int type = event.response_type & 0x7F;
    if (type == XCB_KEY_PRESS && std::ranges::find(typed, event.pad0) != typed.end())
        ++frontKeys;
    const bool focus = type == XCB_FOCUS_IN || type == XCB_FOCUS_OUT;
    if (focus && eventAs<xcb_focus_in_event_t>(&event).event == front) {
        const auto& change = eventAs<xcb_focus_in_event_t>(&event);
        const bool ofGrab
            = change.mode == XCB_NOTIFY_MODE_GRAB || change.detail == XCB_NOTIFY_DETAIL_POINTER;
        if (!ofGrab)
            frontHasKeyboard = type == XCB_FOCUS_IN;
        return;
    }
    windows->handle(event);
}

bool HotKeyProbe::runUntil(const std::function<bool()>& done, Clock::time_point deadline)
{
    while (!done()) {
        while (const XcbOwned<xcb_generic_event_t> event { xcb_poll_for_event(x) })
            handle(*event);
        if (done())
            return true;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= 0ms)
            return false;
        pollfd readable { .fd = xcb_get_file_descriptor(x), .events = POLLIN, .revents = 0 };
        ::poll(
            &readable, 1, static_cast<int>(std::min(left, std::chrono::milliseconds(5)).count()));
    }
    return true;
}

bool HotKeyProbe::isStill()
{
    const auto* panel = windows->withKeyboard();
    return panel != nullptr && panel->covered() && Clock::now() - panel->paints.back().time > rest;
}

} // namespace quibel::bench
