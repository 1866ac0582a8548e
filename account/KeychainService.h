#pragma once

#include "platform/SecretItems.h"

#include <QString>

#include <optional>

namespace quibel {

/// Keeps the user's API key as one item of the secret store. Knows nothing about the service.
///
/// Holds no cache: every read goes to the store, so several instances with the same identity behave
/// as one.
///
/// Thread: main; each call waits for the store.
class KeychainService
{
public:
    KeychainService(SecretItems& items, QString service, QString account);

    /// Stores the key as it is, replacing any previous one. False when the store did not take it.
    [[nodiscard]] bool save(const QString& key);

    /// The stored key; none when there is no item, or it cannot be read as UTF-8 text.
    [[nodiscard]] std::optional<QString> read() const;

    /// Removes the item, silently also when there is none.
    void remove();

    const QString service;
    const QString account;

private:
    SecretItems& items;
};

/// The agent's own item.
[[nodiscard]] KeychainService makeAgentKeychain(SecretItems& items);

} // namespace quibel
