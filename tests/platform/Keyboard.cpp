#include "tests/platform/Keyboard.h"

#include <iterator>

#include <xcb/xtest.h>

namespace quibel::testing {

void Keyboard::press(xcb_keycode_t key)
{
    send(XCB_KEY_PRESS, key);
}

void Keyboard::release(xcb_keycode_t key)
{
    send(XCB_KEY_RELEASE, key);
}

void Keyboard::type(std::initializer_list<xcb_keycode_t> keys)
{
    for (const xcb_keycode_t key : keys)
        press(key);
    for (auto key = std::rbegin(keys); key != std::rend(keys); ++key)
        release(*key);
}

void Keyboard::click(int xInPixels, int yInPixels)
{
    send(XCB_MOTION_NOTIFY, 0, xInPixels, yInPixels);
    send(XCB_BUTTON_PRESS, XCB_BUTTON_INDEX_1);
    send(XCB_BUTTON_RELEASE, XCB_BUTTON_INDEX_1);
}

void Keyboard::send(std::uint8_t type, std::uint8_t detail, int xInPixels, int yInPixels)
{
    xcb_test_fake_input(x->get(),
                        type,
                        detail,
                        XCB_CURRENT_TIME,
                        x->root(),
                        static_cast<std::int16_t>(xInPixels),
                        static_cast<std::int16_t>(yInPixels),
                        0);
    x->flush();
}

} // namespace quibel::testing
