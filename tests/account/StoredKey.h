#pragma once

#include "account/KeychainService.h"

#include <QObject>

namespace quibel {

/// What is read of a store that answers at once.
[[nodiscard]] inline std::optional<QString> storedKey(const KeychainService& keychain)
{
    QObject owner;
    std::optional<QString> stored;
    keychain.read(owner, [&stored](const std::optional<QString>& key) { stored = key; });
    return stored;
}

} // namespace quibel
