#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace quibel::inbox {

/// What the agent sends for one screenshot, checked field by field but not against its picture.
struct ScreenshotDocument
{
    QByteArray picture;
    QString captureType; ///< "active_window" or "display_fallback".
    QString capturedAt;  ///< UTC, as in 2026-11-15T22:24:38Z.
    QString branchID;
    std::optional<qint64> width {};  ///< In pixels.
    std::optional<qint64> height {}; ///< In pixels.
    std::optional<qint64> byteSize {};

    bool operator==(const ScreenshotDocument&) const = default;
};

} // namespace quibel::inbox
