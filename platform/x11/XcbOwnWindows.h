#pragma once

#include "platform/x11/Xcb.h"

class QWindow;

namespace quibel {

/// The top-level window of this program that has this number; null when it is another's.
///
/// Thread: main.
[[nodiscard]] const QWindow* ownWindow(xcb_window_t window);

} // namespace quibel
