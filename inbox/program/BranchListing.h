#pragma once

#include "inbox/storage/StorageError.h"
#include "inbox/storage/StoredBranch.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>

#include <functional>
#include <optional>

namespace quibel::inbox {

class Branches;

/// Calls for every branch of an account that is not deleted, newest first, a few in memory at once.
[[nodiscard]] std::optional<StorageError>
visitBranches(Branches& branches,
              const QString& accountID,
              const std::function<void(const StoredBranch&)>& visitor);

/// The branches as a table for a terminal, one line each; control characters are made visible.
[[nodiscard]] QByteArray toTable(const QList<StoredBranch>& branches);

/// Everything that is known of a branch.
[[nodiscard]] QJsonObject toFullJson(const StoredBranch& branch);

/// The branches with everything that is known of them, as a JSON array.
[[nodiscard]] QByteArray toJson(const QList<StoredBranch>& branches);

} // namespace quibel::inbox
