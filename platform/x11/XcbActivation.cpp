#include "platform/x11/XcbActivation.h"

namespace quibel {

namespace {

constexpr std::uint32_t sourcePager = 2;

} // namespace

void askForActivation(xcb_connection_t* connection, XcbConnection& atoms, xcb_window_t window)
{
    xcb_client_message_event_t message {};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atoms.atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = sourcePager;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(connection,
                   0,
                   atoms.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
}

} // namespace quibel
