#pragma once

#include <QByteArray>

namespace quibel::inbox {

/// A new key for an agent: "sk_" and 32 random bytes in base64url.
[[nodiscard]] QByteArray generateApiKey();

/// What is kept of a key. A plain hash is enough: a key of 256 random bits cannot be guessed.
[[nodiscard]] QByteArray hashApiKey(const QByteArray& key);

} // namespace quibel::inbox
