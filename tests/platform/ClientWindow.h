#pragma once

#include "platform/x11/XcbConnection.h"

#include <QRect>

#include <vector>

namespace quibel::testing {

/// A bare window, as another program would have it: on a connection of its own, not known to Qt.
///
/// Thread: the one that made it; the calls wait for the server.
class ClientWindow
{
public:
    struct Options
    {
        QByteArray title {};
        QRect geometry { 100, 100, 300, 200 };
        QByteArray type {};                ///< End of a window type's name, such as "DOCK".
        std::vector<QByteArray> states {}; ///< Ends of state names, such as "ABOVE".
        bool overrideRedirect = false;
    };

    explicit ClientWindow(const Options& options);
    ClientWindow(const ClientWindow&) = delete;
    ClientWindow& operator=(const ClientWindow&) = delete;
    ~ClientWindow() = default;

    void map();
    void unmap();
    void destroy();
    void iconify();
    void raise();
    void setText(const QByteArray& property, const QByteArray& type, const QByteArray& text);
    void setNumbers(const QByteArray& property,
                    const QByteArray& type,
                    const std::vector<std::uint32_t>& numbers);
    /// Asks the window manager for something about this window, as a pager would.
    void requestFromRoot(const QByteArray& message, const std::vector<std::uint32_t>& data);

    [[nodiscard]] xcb_window_t id() const { return window; }
    [[nodiscard]] XcbConnection& connection() { return *x; }
    [[nodiscard]] bool hasFocus() const;
    [[nodiscard]] bool isViewable() const;
    /// The keys that were pressed while the window had the keyboard, each repetition as well.
    [[nodiscard]] const std::vector<xcb_keycode_t>& pressedKeys() const { return keys; }

private:
    void sync();
    void handleEvent(const xcb_generic_event_t* event);

    std::vector<xcb_keycode_t> keys;
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    xcb_window_t window = XCB_WINDOW_NONE;
};

/// Whether `upper` lies above `lower` in the order of all windows on screen.
[[nodiscard]] bool isAbove(XcbConnection& connection, xcb_window_t upper, xcb_window_t lower);

/// The window that is active, as the window manager names it.
[[nodiscard]] xcb_window_t activeWindow(XcbConnection& connection);

/// Waits until the window manager has dealt with all that has happened so far. Before that it may
/// take a new window for one that is gone, whose number the server gave it. Does not wait for one
/// that cannot be asked.
///
/// Errors: false when it does not in time.
[[nodiscard]] bool settleWindowManager();

} // namespace quibel::testing
