#pragma once

#include "platform/x11/XcbConnection.h"

#include <QAbstractNativeEventFilter>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdint>

namespace quibel {

/// Keeps the keyboard with one window of this program, whatever window managers do with the input
/// focus meanwhile, until it is released or the user clicks something else.
///
/// The toolkit's connection has the grab, so that keys come to the window as they always do. The
/// server ends it with that connection, however the program ends.
///
/// A panel that is left open must not keep the screen from being locked: a minute after the last
/// key the window has the input focus only, and the next key brings the grab back.
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
    void ungrab();
    void keyPressed();
    void listenToClicks(std::uint32_t events);
    void setFocus(xcb_window_t window);
    void takeFocusBack(const xcb_focus_out_event_t& event);
    /// Programs that take the focus back as well would go on for ever.
    [[nodiscard]] bool mayTakeFocusBack();
    [[nodiscard]] bool isClick(const xcb_ge_generic_event_t& event) const;
    void clicked();
    /// The window that lies on the root and that `window` lies in.
    [[nodiscard]] xcb_window_t topOf(xcb_window_t window) const;

    xcb_connection_t* connection;
    XcbConnection& x;
    std::uint8_t inputExtension = 0; ///< The number of its events; 0 without it.
    xcb_window_t holder = XCB_WINDOW_NONE;
    QTimer idle;                  ///< Runs while the keyboard is grabbed, anew from each key.
    QElapsedTimer sinceTakenBack; ///< From the first of `timesTakenBack`.
    int timesTakenBack = 0;
};

} // namespace quibel
