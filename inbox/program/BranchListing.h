#pragma once

#include "inbox/storage/StoredBranch.h"

#include <QByteArray>
#include <QList>

namespace quibel::inbox {

/// The branches as a table for a terminal, one line each; control characters are made visible.
[[nodiscard]] QByteArray toTable(const QList<StoredBranch>& branches);

/// The branches with everything that is known of them, as a JSON array.
[[nodiscard]] QByteArray toJson(const QList<StoredBranch>& branches);

} // namespace quibel::inbox
