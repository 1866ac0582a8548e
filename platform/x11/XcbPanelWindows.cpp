#include "platform/x11/XcbPanelWindows.h"

#include "platform/TracePoint.h"
#include "platform/x11/XcbActivation.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <array>

#include <xcb/shape.h>

namespace quibel {

namespace {

constexpr std::uint8_t depthWithAlpha = 32;

/// The toolkit's connection: on it, the requests here stay in order with its own for the window.
xcb_connection_t* toolkitConnection()
{
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_window_t windowOf(const QWindow& panel)
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

bool hasVisualWithAlpha(const xcb_screen_t& screen)
{
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0;
         xcb_depth_next(&depths))
        if (depths.data->depth == depthWithAlpha && depths.data->visuals_len > 0)
            return true;
    return false;
}

/// Asks picom, which gives one to every window, for no shadow.
void forgoShadow(XcbConnection& atoms, xcb_window_t window)
{
    constexpr std::array<std::uint32_t, 1> none { 0 };
    xcb_change_property(toolkitConnection(),
                        XCB_PROP_MODE_REPLACE,
                        window,
                        atoms.atom("_COMPTON_SHADOW"),
                        XCB_ATOM_CARDINAL,
                        32,
                        none.size(),
                        none.data());
}

/// Has the server fill the window with nothing whenever it fills it, instead of leaving what lay
/// there before.
void setBackground(xcb_window_t window, bool transparent)
{
    const std::uint32_t mask = transparent ? XCB_CW_BACK_PIXEL : XCB_CW_BACK_PIXMAP;
    constexpr std::array<std::uint32_t, 1> nothing { 0 };
    xcb_change_window_attributes(toolkitConnection(), window, mask, nothing.data());
}

} // namespace

XcbPanelWindows::XcbPanelWindows(XcbConnection& connection)
    : x(connection)
    , compositor(x, x.screenAtom("_NET_WM_CM_S"))
    , keyboard(toolkitConnection(), connection)
{
    connect(&compositor, &XcbSelectionOwner::changed, this, &PanelWindows::translucencyChanged);
}

bool XcbPanelWindows::areTranslucent() const
{
    return compositor.window() != XCB_WINDOW_NONE && hasVisualWithAlpha(*x.screen());
}

void XcbPanelWindows::prepare(QWindow& panel, PanelKind kind)
{
    kinds.insert(&panel, kind);
    // Not WindowStaysOnTopHint: for that the toolkit would make the window anew at its first show.
    if (kind == PanelKind::capture) {
        panel.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        panel.installEventFilter(this);
        forgoShadow(x, windowOf(panel));
        // A screen may have more pixels to the point than the one before.
        connect(&panel, &QWindow::screenChanged, this, [this, &panel] { shapeInput(panel); });
    } else
        panel.setFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                       | Qt::WindowCloseButtonHint);
}

void XcbPanelWindows::place(QWindow& panel, QPoint origin)
{
    panel.setPosition(origin);
}

void XcbPanelWindows::setFrame(QWindow& panel, const QRect& frame)
{
    frames.insert(&panel, frame);
    shapeInput(panel);
    // A panel gets another frame when a compositor comes or goes.
    setBackground(windowOf(panel), areTranslucent());
}

void XcbPanelWindows::shapeInput(const QWindow& panel) const
{
    xcb_connection_t* connection = toolkitConnection();
    const auto* shape = xcb_get_extension_data(connection, &xcb_shape_id);
    if (shape == nullptr || shape->present == 0)
        return;
    const QRectF frame = frames.value(&panel);
    const double scale = panel.devicePixelRatio();
    const QRect pixels = QRectF(frame.topLeft() * scale, frame.size() * scale).toAlignedRect();
    const xcb_rectangle_t area { .x = static_cast<std::int16_t>(pixels.x()),
                                 .y = static_cast<std::int16_t>(pixels.y()),
                                 .width = static_cast<std::uint16_t>(pixels.width()),
                                 .height = static_cast<std::uint16_t>(pixels.height()) };
    xcb_shape_rectangles(connection,
                         XCB_SHAPE_SO_SET,
                         XCB_SHAPE_SK_INPUT,
                         XCB_CLIP_ORDERING_UNSORTED,
                         windowOf(panel),
                         0,
                         0,
                         1,
                         &area);
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
    const bool isCapture = kinds.value(&panel) == PanelKind::capture;
    // Left to itself, the server gives the focus of a window that vanishes to the root, where some
    // window managers pick it up late and put it into a window of their own choice.
    if (isCapture && focusedWindow() == windowOf(panel))
        setFocus(focusBefore);
    if (isCapture)
        keyboard.release();
    // A compositor that fades windows out does so with what they showed last.
    if (isCapture && areTranslucent())
        xcb_clear_area(toolkitConnection(), 0, windowOf(panel), 0, 0, 0, 0);
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
    keyboard.hold(window);
}

void XcbPanelWindows::makeDialogKey(QWindow& panel)
{
    keyboard.release();
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
