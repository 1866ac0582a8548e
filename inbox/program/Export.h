#pragma once

#include <QString>

#include <optional>

namespace quibel::inbox {

struct Storage;

/// Writes everything that all accounts have into a new or empty directory, for its owner alone:
/// `inbox.json`, and each picture as `pictures/<sha256>.png`.
///
/// Keys, passwords and deleted branches are left out. Takes little memory, whatever there is.
/// Errors: why it could not be finished, for a person; the directory is then incomplete.
[[nodiscard]] std::optional<QString> exportAll(Storage& storage, const QString& directory);

} // namespace quibel::inbox
