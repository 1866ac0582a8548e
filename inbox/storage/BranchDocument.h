#pragma once

#include <QString>

#include <optional>

namespace quibel::inbox {

/// What the agent sends for one branch, checked.
struct BranchDocument
{
    QString title;
    QString summary;
    QString whyForked;
    std::optional<QString> projectID {};
    QString capturedText;
    QString appName;  ///< Empty when the agent did not know it.
    QString bundleID; ///< Empty when the agent did not know it.
    std::optional<QString> windowTitle {};
    QString capturedAt; ///< UTC, as in 2026-11-15T22:24:38Z.

    bool operator==(const BranchDocument&) const = default;
};

} // namespace quibel::inbox
