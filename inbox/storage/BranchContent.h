#pragma once

#include "inbox/storage/BranchDocument.h"
#include "inbox/storage/Database.h"

#include <QString>

namespace quibel::inbox {

/// The columns of a branch that hold what the agent sent, without its project.
[[nodiscard]] QString contentColumns();
/// Their values, in the same order.
[[nodiscard]] Row contentValues(const BranchDocument& document);
/// What these columns hold, from the column `first` of a row on.
[[nodiscard]] BranchDocument readContent(const Row& row, qsizetype first);

/// Equal for documents whose content and capture time are equal, whatever their projects.
[[nodiscard]] QString contentHash(const BranchDocument& document);

} // namespace quibel::inbox
