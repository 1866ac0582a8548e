#pragma once

#include "inbox/http/ListenAddress.h"

#include <QString>

#include <optional>

namespace quibel::inbox {

class BranchStorage;

/// Serves the agent's requests until the program is told to end; returns none then.
///
/// Prints one line with the address once it answers.
/// Errors: why it cannot serve, for a person.
[[nodiscard]] std::optional<QString> serve(BranchStorage& storage, const ListenAddress& address);

} // namespace quibel::inbox
