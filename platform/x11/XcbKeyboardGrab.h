#pragma once

#include "platform/x11/XcbConnection.h"

#include <QAbstractNativeEventFilter>

#include <cstdint>

namespace quibel {

/// Keeps the keyboard with one window of this program, whatever window managers do with the input
/// focus meanwhile, until it is released or the user clicks something else.
///
/// The toolkit's connection has the grab, so that keys come to the window as they always do. The
/// server ends it with that connection, however the program ends.
class XcbKeyboardGrab final : public QAbstractNativeEventFilter
{
    Q_DISABLE_COPY_MOVE(XcbKeyboardGrab)

public:
    XcbKeyboardGrab(xcb_connection_t* toolkitConnection, XcbConnection& atoms);
    ~XcbKeyboardGrab() override;

    /// For a window that is viewable and has the input focus.
    ///
    /// While someone else holds the keyboard, be it the hot key that is still down, the focus alone
    /// brings keys to the window; the grab follows.
    void hold(xcb_window_t window);
    void release();

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    void grab();
    void listenToClicks(std::uint32_t events);
    void setFocus(xcb_window_t window);
    void takeFocusBack(const xcb_focus_out_event_t& event);
    [[nodiscard]] bool isClick(const xcb_ge_generic_event_t& event) const;
    void clicked();
    /// The window that lies on the root and that `window` lies in.
    [[nodiscard]] xcb_window_t topOf(xcb_window_t window) const;

    xcb_connection_t* connection;
    XcbConnection& x;
    std::uint8_t inputExtension = 0; ///< The number of its events; 0 without it.
    xcb_window_t holder = XCB_WINDOW_NONE;
};

} // namespace quibel
