#pragma once

#include "platform/DesktopFacts.h"

namespace quibel {

class XcbConnection;

/// Asks the X server what there is.
///
/// Source: Extended Window Manager Hints, _NET_SUPPORTING_WM_CHECK and the selection _NET_WM_CM_Sn.
[[nodiscard]] DisplayFacts describeDisplay(XcbConnection& connection);

} // namespace quibel
