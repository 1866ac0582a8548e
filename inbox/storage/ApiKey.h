#pragma once

#include "inbox/storage/SecretToken.h"

#include <QByteArray>

namespace quibel::inbox {

/// What is kept of a key. A plain hash is enough: a key of 256 random bits cannot be guessed.
[[nodiscard]] QByteArray hashApiKey(const QByteArray& key);

} // namespace quibel::inbox
