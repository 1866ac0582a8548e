#include "platform/x11/XcbPanelWindows.h"

#include "platform/TracePoint.h"
#include "platform/x11/XcbActivation.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>

#include <array>

namespace quibel {

namespace {

/// The toolkit's connection: on it, the requests here stay in order with its own for the window.
xcb_connection_t* toolkitConnection()
{
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_window_t windowOf(QWindow& panel)
{
    return static_cast<xcb_window_t>(panel.winId());
}

xcb_window_t focusedWindow()
{
    xcb_connection_t* connection = toolkitConnection();
    const auto reply
        = xcbReply(xcb_get_input_focus_reply, connection, xcb_get_input_focus(connection));
    return reply ? reply->focus : xcb_window_t { XCB_INPUT_FOCUS_POINTER_ROOT };
}

void setFocus(xcb_window_t window)
{
    xcb_connection_t* connection = toolkitConnection();
    // With the time of a key press the server would refuse the focus whenever another window has
    // got it in between. A window that is gone or out of sight is no error here. Waiting for the
    // answer keeps what is typed ahead from the window that had the focus: it is let go on another
    // connection, which the server may serve before this one.
    const XcbOwned<xcb_generic_error_t> ignored(xcb_request_check(
        connection,
        xcb_set_input_focus_checked(connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME)));
}

} // namespace

XcbPanelWindows::XcbPanelWindows(XcbConnection& connection)
    : x(connection)
{
}

void XcbPanelWindows::prepare(QWindow& panel, PanelKind kind)
{
    kinds.insert(&panel, kind);
    // Not WindowStaysOnTopHint: for that the toolkit would make the window anew at its first show.
    if (kind == PanelKind::capture) {
        panel.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        panel.installEventFilter(this);
    } else
        panel.setFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                       | Qt::WindowCloseButtonHint);
}

void XcbPanelWindows::place(QWindow& panel, QPoint origin)
{
    panel.setPosition(origin);
}

void XcbPanelWindows::makeKeyAndOrderFront(QWindow& panel)
{
    if (kinds.value(&panel) == PanelKind::capture)
        makeCapturePanelKey(panel);
    else
        makeDialogKey(panel);
}

void XcbPanelWindows::orderOut(QWindow& panel)
{
    // Left to itself, the server gives the focus of a window that vanishes to the root, where some
    // window managers pick it up late and put it into a window of their own choice.
    if (kinds.value(&panel) == PanelKind::capture && focusedWindow() == windowOf(panel))
        setFocus(focusBefore);
    panel.hide();
}

bool XcbPanelWindows::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonPress)
        if (auto* panel = qobject_cast<QWindow*>(watched); panel != nullptr)
            takeFocus(*panel);
    return false;
}

void XcbPanelWindows::makeCapturePanelKey(QWindow& panel)
{
    panel.show();
    tracePoint("map");
    const std::array<std::uint32_t, 1> above { XCB_STACK_MODE_ABOVE };
    xcb_configure_window(
        toolkitConnection(), windowOf(panel), XCB_CONFIG_WINDOW_STACK_MODE, above.data());
    takeFocus(panel);
    tracePoint("focus");
}

void XcbPanelWindows::takeFocus(QWindow& panel)
{
    const xcb_window_t window = windowOf(panel);
    const xcb_window_t before = focusedWindow();
    if (before != window)
        focusBefore = before;
    // Behind the map request on the same connection: the window is viewable by then, since no
    // window manager is asked.
    setFocus(window);
}

void XcbPanelWindows::makeDialogKey(QWindow& panel)
{
    xcb_connection_t* connection = toolkitConnection();
    const xcb_window_t window = windowOf(panel);
    if (!panel.isVisible()) {
        // A window manager removes the states of a window that is withdrawn, so they are set anew.
        const std::array<xcb_atom_t, 3> states { x.atom("_NET_WM_STATE_ABOVE"),
                                                 x.atom("_NET_WM_STATE_SKIP_TASKBAR"),
                                                 x.atom("_NET_WM_STATE_SKIP_PAGER") };
        xcb_change_property(connection,
                            XCB_PROP_MODE_APPEND,
                            window,
                            x.atom("_NET_WM_STATE"),
                            XCB_ATOM_ATOM,
                            32,
                            states.size(),
                            states.data());
        panel.show();
    }
    panel.raise();
    askForActivation(connection, x, window);
    xcb_flush(connection);
}

} // namespace quibel
