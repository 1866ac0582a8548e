#pragma once

#include <QString>

#include <optional>

namespace quibel {

/// Whether a branch carries a screenshot.
enum class ScreenshotMode { on, off };

/// The text by which preferences remember `mode`.
[[nodiscard]] inline QString rawValue(ScreenshotMode mode)
{
    return mode == ScreenshotMode::on ? QStringLiteral("on") : QStringLiteral("off");
}

/// The mode that `rawValue` names.
///
/// Errors: none for any other text, also in another letter case.
[[nodiscard]] inline std::optional<ScreenshotMode>
screenshotModeFromRawValue(const QString& rawValue)
{
    for (const ScreenshotMode mode : { ScreenshotMode::on, ScreenshotMode::off })
        if (rawValue == quibel::rawValue(mode))
            return mode;
    return std::nullopt;
}

} // namespace quibel
