#pragma once

#include "capture/ScreenshotCapture.h"
#include "platform/HttpBody.h"

#include <QString>

#include <optional>

namespace quibel {

/// The JSON document that uploads a screenshot to the branch `branchID`, compact.
///
/// Errors: none when a text is not valid Unicode.
[[nodiscard]] std::optional<HttpBody> buildScreenshotDocument(const ScreenshotCapture& screenshot,
                                                              const QString& branchID);

} // namespace quibel
