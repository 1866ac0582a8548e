#include "platform/x11/XcbKeyboardGrab.h"

#include "platform/x11/XcbOwnWindows.h"
#include "platform/x11/XcbProperty.h"

#include <QCoreApplication>

#include <chrono>
#include <utility>

#include <xcb/xinput.h>

namespace quibel {

namespace {

constexpr std::chrono::minutes idleTime { 1 };

/// Wheels are buttons as well.
bool scrolls(std::uint32_t button)
{
    constexpr std::uint32_t firstOfWheels = 4;
    constexpr std::uint32_t lastOfWheels = 7;
    return button >= firstOfWheels && button <= lastOfWheels;
}

} // namespace

XcbKeyboardGrab::XcbKeyboardGrab(xcb_connection_t* toolkitConnection, XcbConnection& atoms)
    : connection(toolkitConnection)
    , x(atoms)
{
    const auto* extension = xcb_get_extension_data(connection, &xcb_input_id);
    if (extension != nullptr && extension->present != 0)
        inputExtension = extension->major_opcode;
    idle.setSingleShot(true);
    idle.setInterval(idleTime);
    idle.callOnTimeout([this] { ungrab(); });
    QCoreApplication::instance()->installNativeEventFilter(this);
}

XcbKeyboardGrab::~XcbKeyboardGrab()
{
    release();
}

void XcbKeyboardGrab::hold(xcb_window_t window)
{
    // A click must be able to end it.
    if (inputExtension == 0)
        return;
    if (std::exchange(holder, window) == XCB_WINDOW_NONE)
        listenToClicks(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS
                       | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_BEGIN);
    grab();
}

void XcbKeyboardGrab::release()
{
    if (std::exchange(holder, XCB_WINDOW_NONE) == XCB_WINDOW_NONE)
        return;
    listenToClicks(0);
    ungrab();
}

bool XcbKeyboardGrab::nativeEventFilter(const QByteArray& /*type*/,
                                        void* message,
                                        qintptr* /*result*/)
{
    if (holder == XCB_WINDOW_NONE)
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7FU) {
    case XCB_FOCUS_IN: {
        // Comes too when the one who held the keyboard has let it go, this one included.
        const auto& came = eventAs<xcb_focus_in_event_t>(event);
        if (came.event == holder && came.mode != XCB_NOTIFY_MODE_GRAB && idle.isActive())
            grab();
        break;
    }
    case XCB_KEY_PRESS:
        keyPressed();
        break;
    case XCB_FOCUS_OUT:
        takeFocusBack(eventAs<xcb_focus_out_event_t>(event));
        break;
    case XCB_GE_GENERIC:
        if (isClick(eventAs<xcb_ge_generic_event_t>(event)))
            clicked();
        break;
    default:
        break;
    }
    return false;
}

void XcbKeyboardGrab::grab()
{
    const auto request = xcb_grab_keyboard(
        connection, 1, holder, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_discard_reply(connection, request.sequence);
    xcb_flush(connection);
    idle.start();
}

void XcbKeyboardGrab::ungrab()
{
    idle.stop();
    xcb_ungrab_keyboard(connection, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

void XcbKeyboardGrab::keyPressed()
{
    if (idle.isActive())
        idle.start();
    else
        grab();
}

void XcbKeyboardGrab::listenToClicks(std::uint32_t events)
{
    // Raw events come wherever the click goes, and it goes there all the same.
    const struct
    {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection { .head = { .deviceid = XCB_INPUT_DEVICE_ALL_MASTER, .mask_len = 1 },
                  .mask = events };
    xcb_input_xi_select_events(connection, x.root(), 1, &selection.head);
}

void XcbKeyboardGrab::takeFocusBack(const xcb_focus_out_event_t& event)
{
    const bool isTaken
        = event.mode == XCB_NOTIFY_MODE_NORMAL || event.mode == XCB_NOTIFY_MODE_WHILE_GRABBED;
    if (event.event != holder || !isTaken || event.detail == XCB_NOTIFY_DETAIL_INFERIOR
        || event.detail == XCB_NOTIFY_DETAIL_POINTER)
        return;
    // Keys come here by the grab as it is, but input methods go by the focus.
    if (mayTakeFocusBack())
        setFocus(holder);
}

bool XcbKeyboardGrab::mayTakeFocusBack()
{
    constexpr std::chrono::milliseconds span { 10'000 };
    constexpr int most = 5;
    if (!sinceTakenBack.isValid() || sinceTakenBack.hasExpired(span.count())) {
        sinceTakenBack.start();
        timesTakenBack = 0;
    }
    return ++timesTakenBack <= most;
}

void XcbKeyboardGrab::setFocus(xcb_window_t window)
{
    const auto request
        = xcb_set_input_focus_checked(connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    xcb_discard_reply(connection, request.sequence);
    xcb_flush(connection);
}

bool XcbKeyboardGrab::isClick(const xcb_ge_generic_event_t& event) const
{
    if (event.extension != inputExtension)
        return false;
    const auto& press = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
    return event.event_type == XCB_INPUT_RAW_TOUCH_BEGIN
        || (event.event_type == XCB_INPUT_RAW_BUTTON_PRESS && !scrolls(press.detail));
}

void XcbKeyboardGrab::clicked()
{
    const auto pointerQuestion = xcb_query_pointer(connection, x.root());
    const auto activeQuestion = askProperty(connection, x.root(), x.atom("_NET_ACTIVE_WINDOW"));
    const auto pointer = xcbReply(xcb_query_pointer_reply, connection, pointerQuestion);
    const XcbProperty active(connection, activeQuestion);
    if (!pointer || ownWindow(pointer->child) != nullptr)
        return;
    release();
    // A window manager that takes a window for active already does nothing when it is clicked.
    const xcb_window_t window = active.firstValue().value_or(XCB_WINDOW_NONE);
    if (pointer->child != XCB_WINDOW_NONE && topOf(window) == pointer->child)
        setFocus(window);
}

xcb_window_t XcbKeyboardGrab::topOf(xcb_window_t window) const
{
    while (window != XCB_WINDOW_NONE) {
        const auto tree
            = xcbReply(xcb_query_tree_reply, connection, xcb_query_tree(connection, window));
        if (!tree || tree->parent == x.root())
            return tree ? window : xcb_window_t { XCB_WINDOW_NONE };
        window = tree->parent;
    }
    return window;
}

} // namespace quibel
