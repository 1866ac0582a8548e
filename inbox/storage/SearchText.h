#pragma once

#include "inbox/storage/BranchDocument.h"

#include <QString>
#include <QStringList>

namespace quibel::inbox {

/// The words by which a branch is found, each once, with a blank between them.
///
/// A word is letters and digits only, without case and marks; each character of a script that is
/// written without blanks is a word of its own. Of very long texts only the beginning counts.
[[nodiscard]] QString searchWords(const BranchDocument& document);

/// The words of a text that a person types to search for, in the same form; none when it has only
/// signs. Words beyond the first 32 do not count.
[[nodiscard]] QStringList typedWords(const QString& text);

} // namespace quibel::inbox
