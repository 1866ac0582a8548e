#pragma once

#include "platform/x11/XcbConnection.h"

#include <initializer_list>

namespace quibel::testing {

/// The keyboard and mouse of the person at the desktop.
///
/// Units: keys are named by the codes of their places, whatever a layout prints on them.
class Keyboard
{
public:
    enum Key : xcb_keycode_t {
        a = 38,
        b = 56,
        n = 57,
        q = 24,
        semicolon = 47,
        f9 = 75,
        space = 65,
        control = 37,
        shift = 50,
        alt = 64,
        super = 133,
        rightSuper = 134,
        capsLock = 66,
        numLock = 77,
        scrollLock = 78,
    };

    void press(xcb_keycode_t key);
    void release(xcb_keycode_t key);
    /// Presses the keys in order and releases them in the reverse order.
    void type(std::initializer_list<xcb_keycode_t> keys);
    void click(int xInPixels, int yInPixels);

private:
    void send(std::uint8_t type, std::uint8_t detail, int xInPixels = 0, int yInPixels = 0);

    std::unique_ptr<XcbConnection> x = XcbConnection::open();
};

} // namespace quibel::testing
