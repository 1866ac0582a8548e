#pragma once

#include "inbox/http/ListenAddress.h"

#include <QString>

#include <optional>

namespace quibel::inbox {

class Database;
struct Storage;

struct ServiceOptions
{
    ListenAddress listen;
    QString certificateFile; ///< With the key file: serve over TLS.
    QString privateKeyFile;
    bool behindProxy = false;
};

/// Serves the agent and the page until the program is told to end; returns none then.
///
/// Prints one line with the address once it answers.
/// Errors: why it cannot serve, for a person.
[[nodiscard]] std::optional<QString>
serve(Database& database, Storage& storage, const ServiceOptions& options);

} // namespace quibel::inbox
