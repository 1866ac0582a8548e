#pragma once

#include "capture/ScreenshotCapture.h"

#include <QString>

#include <memory>
#include <optional>

namespace quibel {

/// One submission's screenshot on the way to its branch: the two halves of an upload, which come in
/// either order.
struct PendingScreenshot
{
    enum class Branch { awaited, created, failed };

    Branch branch = Branch::awaited;
    std::optional<QString> pendingScreenshotBranchID;   ///< Waits for its screenshot.
    std::optional<ScreenshotCapture> pendingScreenshot; ///< Waits for its branch id.
};

using PendingScreenshotRef = std::shared_ptr<PendingScreenshot>;

} // namespace quibel
