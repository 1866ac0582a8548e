#include "tests/platform/ClientWindow.h"

#include "platform/x11/XcbProperty.h"

#include <QTest>

#include <algorithm>

namespace quibel::testing {

ClientWindow::ClientWindow(const Options& options)
    : window(xcb_generate_id(x->get()))
{
    QObject::connect(x.get(), &XcbConnection::received, x.get(), [this](const auto* event) {
        handleEvent(event);
    });
    const std::vector<std::uint32_t> values { x->screen()->white_pixel,
                                              options.overrideRedirect ? 1U : 0U,
                                              XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_FOCUS_CHANGE
                                                  | XCB_EVENT_MASK_STRUCTURE_NOTIFY };
    const QRect& area = options.geometry;
    xcb_create_window(x->get(),
                      XCB_COPY_FROM_PARENT,
                      window,
                      x->root(),
                      static_cast<std::int16_t>(area.x()),
                      static_cast<std::int16_t>(area.y()),
                      static_cast<std::uint16_t>(area.width()),
                      static_cast<std::uint16_t>(area.height()),
                      0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                      values.data());
    if (!options.title.isEmpty())
        setText("_NET_WM_NAME", "UTF8_STRING", options.title);
    if (!options.type.isEmpty())
        setNumbers(
            "_NET_WM_WINDOW_TYPE", "ATOM", { x->atom("_NET_WM_WINDOW_TYPE_" + options.type) });
    std::vector<std::uint32_t> states;
    for (const QByteArray& state : options.states)
        states.push_back(x->atom("_NET_WM_STATE_" + state));
    if (!states.empty())
        setNumbers("_NET_WM_STATE", "ATOM", states);
    // Position as asked for by the user, so that the window manager does not place it elsewhere.
    constexpr std::uint32_t userPosition = 1;
    std::vector<std::uint32_t> hints(18);
    hints.front() = userPosition;
    setNumbers("WM_NORMAL_HINTS", "WM_SIZE_HINTS", hints);
}

void ClientWindow::map()
{
    xcb_map_window(x->get(), window);
    sync();
}

void ClientWindow::unmap()
{
    xcb_unmap_window(x->get(), window);
    sync();
}

void ClientWindow::destroy()
{
    xcb_destroy_window(x->get(), window);
    sync();
}

void ClientWindow::iconify()
{
    constexpr std::uint32_t iconicState = 3;
    requestFromRoot("WM_CHANGE_STATE", { iconicState });
}

void ClientWindow::raise()
{
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(x->get(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    sync();
}

void ClientWindow::setText(const QByteArray& property,
                           const QByteArray& type,
                           const QByteArray& text)
{
    xcb_change_property(x->get(),
                        XCB_PROP_MODE_REPLACE,
                        window,
                        x->atom(property),
                        x->atom(type),
                        8,
                        static_cast<std::uint32_t>(text.size()),
                        text.constData());
    sync();
}

void ClientWindow::setNumbers(const QByteArray& property,
                              const QByteArray& type,
                              const std::vector<std::uint32_t>& numbers)
{
    xcb_change_property(x->get(),
                        XCB_PROP_MODE_REPLACE,
                        window,
                        x->atom(property),
                        x->atom(type),
                        32,
                        static_cast<std::uint32_t>(numbers.size()),
                        numbers.data());
    sync();
}

void ClientWindow::requestFromRoot(const QByteArray& message,
                                   const std::vector<std::uint32_t>& data)
{
    xcb_client_message_event_t event {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = x->atom(message);
    std::ranges::copy(data, event.data.data32);
    xcb_send_event(x->get(),
                   0,
                   x->root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    sync();
}

bool ClientWindow::hasFocus() const
{
    const auto focus = xcbReply(xcb_get_input_focus_reply, x->get(), xcb_get_input_focus(x->get()));
    return focus && focus->focus == window;
}

bool ClientWindow::isViewable() const
{
    const auto attributes = xcbReply(
        xcb_get_window_attributes_reply, x->get(), xcb_get_window_attributes(x->get(), window));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

void ClientWindow::sync()
{
    const auto reply = xcbReply(xcb_get_input_focus_reply, x->get(), xcb_get_input_focus(x->get()));
}

void ClientWindow::handleEvent(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7FU) == XCB_KEY_PRESS)
        keys.push_back(reinterpret_cast<const xcb_key_press_event_t*>(event)->detail);
}

bool isAbove(XcbConnection& connection, xcb_window_t upper, xcb_window_t lower)
{
    const auto treeOf = [&](xcb_window_t window) {
        return xcbReply(
            xcb_query_tree_reply, connection.get(), xcb_query_tree(connection.get(), window));
    };
    const auto root = treeOf(connection.root());
    const auto* first = xcb_query_tree_children(root.get());
    const auto* end = first + xcb_query_tree_children_length(root.get());
    // A window manager's frame may lie around the window.
    const auto placeOf = [&](xcb_window_t window) {
        auto tree = treeOf(window);
        while (tree && tree->parent != connection.root()) {
            window = tree->parent;
            tree = treeOf(window);
        }
        return std::find(first, end, window);
    };
    return placeOf(upper) != end && placeOf(lower) < placeOf(upper);
}

xcb_window_t activeWindow(XcbConnection& connection)
{
    const XcbProperty active(
        connection.get(),
        askProperty(connection.get(), connection.root(), connection.atom("_NET_ACTIVE_WINDOW")));
    return active.firstValue().value_or(XCB_WINDOW_NONE);
}

bool settleWindowManager()
{
    ClientWindow probe({});
    XcbConnection& x = probe.connection();
    const XcbProperty supported(x.get(), askProperty(x.get(), x.root(), x.atom("_NET_SUPPORTED")));
    if (!supported.contains(x.atom("_NET_REQUEST_FRAME_EXTENTS")))
        return true;
    probe.requestFromRoot("_NET_REQUEST_FRAME_EXTENTS", {});
    return QTest::qWaitFor([&] {
        const auto extents = askProperty(x.get(), probe.id(), x.atom("_NET_FRAME_EXTENTS"));
        return XcbProperty(x.get(), extents).exists();
    });
}

} // namespace quibel::testing
