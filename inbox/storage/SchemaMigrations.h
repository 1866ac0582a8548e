#pragma once

#include "inbox/storage/StorageError.h"

#include <optional>

namespace quibel::inbox {

class Database;

/// Brings the tables of a database to the present version, all steps or none; only looks when they
/// are already.
///
/// Errors: a database of a later version is left alone and reported.
[[nodiscard]] std::optional<StorageError> migrateSchema(Database& database);

} // namespace quibel::inbox
