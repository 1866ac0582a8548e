#include "platform/x11/XcbActivation.h"

namespace quibel {

namespace {

constexpr std::uint32_t sourcePager = 2;

xcb_client_message_event_t message(xcb_atom_t type, xcb_window_t window)
{
    xcb_client_message_event_t event {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.type = type;
    event.window = window;
    return event;
}

void sendToWindowManager(xcb_connection_t* connection,
                         xcb_window_t root,
                         const xcb_client_message_event_t& message)
{
    xcb_send_event(connection,
                   0,
                   root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
}

} // namespace

void askForActivation(xcb_connection_t* connection, XcbConnection& atoms, xcb_window_t window)
{
    xcb_client_message_event_t request = message(atoms.atom("_NET_ACTIVE_WINDOW"), window);
    request.data.data32[0] = sourcePager;
    request.data.data32[1] = XCB_CURRENT_TIME;
    sendToWindowManager(connection, atoms.root(), request);
}

void askForDesktop(XcbConnection& connection, std::uint32_t desktop)
{
    xcb_client_message_event_t request
        = message(connection.atom("_NET_CURRENT_DESKTOP"), connection.root());
    request.data.data32[0] = desktop;
    request.data.data32[1] = XCB_CURRENT_TIME;
    sendToWindowManager(connection.get(), connection.root(), request);
}

} // namespace quibel
