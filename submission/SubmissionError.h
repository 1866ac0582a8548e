#pragma once

#include <QString>

#include <optional>
#include <variant>

namespace quibel {

/// How sending a branch can fail.
enum class SubmissionError {
    noAPIKey,     ///< Nothing was sent: no account is connected.
    unauthorized, ///< The service rejected the key.
    offline,      ///< This machine cannot reach the service.
    network,      ///< Any other failure on the way, no address to send to, or no word on the key.
    server,       ///< The service answered something else than success.
};

/// A branch that the service has stored.
struct CreatedBranch
{
    std::optional<QString> id; ///< None when the answer carried none.

    bool operator==(const CreatedBranch&) const = default;
};

using SubmissionResult = std::variant<CreatedBranch, SubmissionError>;

} // namespace quibel
