#pragma once

#include "capture/ScreenshotCapture.h"

#include <QString>

#include <optional>

namespace quibel {

/// The two halves of an upload, which come in either order.
struct PendingScreenshot
{
    std::optional<ScreenshotCapture> pendingScreenshot; ///< Waits for its branch id.
    std::optional<QString> pendingScreenshotBranchID;   ///< Waits for its screenshot.

    void clear() { *this = {}; }
};

} // namespace quibel
