#pragma once

#include <QByteArray>
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

/// An encoded screenshot and its description.
struct ScreenshotCapture
{
    QByteArray data; ///< A PNG file.
    ScreenshotMetadata metadata;

    bool operator==(const ScreenshotCapture&) const = default;
};

} // namespace quibel
