#pragma once

#include "capture/ScreenshotCapture.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quibel {

/// The JSON document that uploads a screenshot to the branch `branchID`, compact.
///
/// Errors: none when a text is not valid Unicode.
[[nodiscard]] std::optional<QByteArray> buildScreenshotDocument(const ScreenshotCapture& screenshot,
                                                                const QString& branchID);

} // namespace quibel
