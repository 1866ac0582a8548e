#include "platform/x11/XcbSelectionOwner.h"

#include <utility>

#include <xcb/xfixes.h>

namespace quibel {

XcbSelectionOwner::XcbSelectionOwner(XcbConnection& connection, xcb_atom_t watched)
    : x(connection)
    , selection(watched)
{
    connect(&x, &XcbConnection::received, this, &XcbSelectionOwner::handleEvent);
    select();
    owner = currentOwner(); // NOLINT(cppcoreguidelines-prefer-member-initializer): after selecting
}

void XcbSelectionOwner::select()
{
    const auto* extension = xcb_get_extension_data(x.get(), &xcb_xfixes_id);
    if (extension == nullptr || extension->present == 0)
        return;
    selectionEvent = extension->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    const auto version
        = xcb_xfixes_query_version(x.get(), XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION);
    const auto agreed = xcbReply(xcb_xfixes_query_version_reply, x.get(), version);
    xcb_xfixes_select_selection_input(x.get(),
                                      x.root(),
                                      selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

void XcbSelectionOwner::handleEvent(const xcb_generic_event_t* event)
{
    if (selectionEvent == 0 || (event->response_type & 0x7FU) != selectionEvent
        || eventAs<xcb_xfixes_selection_notify_event_t>(event).selection != selection)
        return;
    const xcb_window_t now = currentOwner();
    if (std::exchange(owner, now) != now)
        Q_EMIT changed();
}

xcb_window_t XcbSelectionOwner::currentOwner()
{
    const auto question = xcb_get_selection_owner(x.get(), selection);
    const auto answer = xcbReply(xcb_get_selection_owner_reply, x.get(), question);
    return answer ? answer->owner : xcb_window_t { XCB_WINDOW_NONE };
}

} // namespace quibel
