#pragma once

#include "account/Project.h"
#include "capture/CaptureContext.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace quibel {

/// Describes a screenshot. Texts are as sent to the service.
struct ScreenshotMetadata
{
    QString source;
    QString captureType; ///< "active_window" or "display_fallback".
    QString capturedAt;  ///< ISO 8601, UTC, whole seconds.
    std::optional<QString> appName;
    std::optional<QString> bundleID;
    std::optional<QString> windowTitle;
    std::optional<QString> imageFormat;
    std::optional<int> imageWidth;  ///< Pixels.
    std::optional<int> imageHeight; ///< Pixels.
    std::optional<qint64> byteSize;
    std::optional<QString> branchID;
    std::optional<QString> projectName;

    bool operator==(const ScreenshotMetadata&) const = default;
};

/// What is known of a screenshot before there is a picture. The frontmost window is tried first.
[[nodiscard]] ScreenshotMetadata
describeAttempt(const CaptureContext& context, const Project& project, const QDateTime& when);

/// An encoded screenshot and its description.
struct ScreenshotCapture
{
    QByteArray data; ///< A PNG file.
    ScreenshotMetadata metadata;

    bool operator==(const ScreenshotCapture&) const = default;
};

} // namespace quibel
