#pragma once

#include <QString>

#include <optional>

namespace quibel::inbox {

/// What is kept of a password: argon2id with its own salt and limits, 64 MiB and some tenths of
/// a second for each guess.
///
/// A password counts as the same however its letters were composed when it was typed.
/// Errors: none when the machine has not enough memory.
/// Source: RFC 9106, in the string form of libsodium.
[[nodiscard]] std::optional<QString> hashPassword(const QString& password);

[[nodiscard]] bool verifyPassword(const QString& hash, const QString& password);

/// Whether the hash was made with other limits than those of today.
[[nodiscard]] bool needsRehash(const QString& hash);

} // namespace quibel::inbox
