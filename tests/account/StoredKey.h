#pragma once

#include "account/KeychainService.h"

#include <QObject>

#include <optional>

namespace quibel {

/// The key in what was read; none for any error.
[[nodiscard]] inline std::optional<QString> keyIn(const KeyResult& result)
{
    const auto* key = std::get_if<SecretText>(&result);
    return key != nullptr ? std::optional<QString>(*key) : std::nullopt;
}

/// What is read of a store that answers at once.
[[nodiscard]] inline KeyResult storedResult(const KeychainService& keychain)
{
    QObject owner;
    KeyResult stored = KeyError::noAnswer;
    keychain.read(owner, [&stored](const KeyResult& result) { stored = result; });
    return stored;
}

[[nodiscard]] inline std::optional<QString> storedKey(const KeychainService& keychain)
{
    return keyIn(storedResult(keychain));
}

/// Whether a store that answers at once takes the key.
[[nodiscard]] inline bool saved(KeychainService& keychain, const QString& key)
{
    QObject owner;
    bool isSaved = false;
    keychain.save(key, owner, [&isSaved](bool taken) { isSaved = taken; });
    return isSaved;
}

} // namespace quibel
