#pragma once

#include <QByteArray>

namespace quibel::inbox {

/// A secret that cannot be guessed: 32 random bytes in base64url.
[[nodiscard]] QByteArray generateSecretToken();

/// A new key for an agent: "sk_" and a secret token.
[[nodiscard]] QByteArray generateApiKey();

/// What is kept of a secret. A plain hash is enough: 256 random bits cannot be guessed.
[[nodiscard]] QByteArray hashSecret(const QByteArray& secret);

} // namespace quibel::inbox
