#pragma once

#include "inbox/storage/StorageError.h"

#include <QSqlDatabase>
#include <QSqlError>

#include <optional>

namespace quibel::inbox {

/// Brings the tables of an open database to the present version, all steps or none.
///
/// Errors: a database of a later version is left alone and reported.
[[nodiscard]] std::optional<StorageError> migrateSchema(QSqlDatabase& database);

/// What a database's own error means for the caller.
[[nodiscard]] StorageError toStorageError(const QSqlError& error);

} // namespace quibel::inbox
