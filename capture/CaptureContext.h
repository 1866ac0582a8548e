#pragma once

#include <QString>

#include <optional>

namespace quibel {

/// What the user was looking at when the capture began.
struct CaptureContext
{
    QString appName;  ///< Empty when unknown.
    QString bundleID; ///< Empty when unknown.
    std::optional<QString> windowTitle;

    bool operator==(const CaptureContext&) const = default;
};

} // namespace quibel
