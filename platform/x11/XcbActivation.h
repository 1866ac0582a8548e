#pragma once

#include "platform/x11/XcbConnection.h"

namespace quibel {

/// Asks the window manager to give a window the keyboard, as a pager asks: window managers follow
/// that whatever they do against focus stealing.
///
/// Sent on `connection`, in order with what else is sent there; `atoms` knows the atoms.
///
/// Source: Extended Window Manager Hints, _NET_ACTIVE_WINDOW.
void askForActivation(xcb_connection_t* connection, XcbConnection& atoms, xcb_window_t window);

/// Asks the window manager to show a desktop, as a pager asks.
///
/// Source: Extended Window Manager Hints, _NET_CURRENT_DESKTOP.
void askForDesktop(XcbConnection& connection, std::uint32_t desktop);

} // namespace quibel
