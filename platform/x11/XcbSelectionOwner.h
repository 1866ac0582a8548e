#pragma once

#include "platform/x11/XcbConnection.h"

namespace quibel {

/// Follows who owns a selection by which a part of the desktop makes itself known, such as the tray
/// or the compositor.
///
/// Thread: that of the connection.
class XcbSelectionOwner : public QObject
{
    Q_OBJECT

public:
    XcbSelectionOwner(XcbConnection& connection, xcb_atom_t watched);

    /// The owner's window; XCB_WINDOW_NONE if there is no owner.
    [[nodiscard]] xcb_window_t window() const { return owner; }

Q_SIGNALS:
    void changed();

private:
    void select();
    void handleEvent(const xcb_generic_event_t* event);
    [[nodiscard]] xcb_window_t currentOwner();

    XcbConnection& x;
    xcb_atom_t selection;
    std::uint8_t selectionEvent = 0; ///< The number of the event that tells of selections.
    xcb_window_t owner = XCB_WINDOW_NONE;
};

} // namespace quibel
