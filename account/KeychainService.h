#pragma once

#include "platform/SecretItems.h"

#include <QString>

#include <chrono>
#include <functional>
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

    /// Reads as `read` does, but waits for at most `hold`. A store that does not answer by then
    /// seems to have no key; `late` gets what was read in a later turn of the event loop, unless
    /// `owner` is gone by then.
    [[nodiscard]] std::optional<QString>
    readWithin(std::chrono::milliseconds hold,
               QObject& owner,
               std::function<void(const std::optional<QString>&)> late) const;

    /// Removes the item, silently also when there is none.
    void remove();

    const QString service;
    const QString account;

private:
    [[nodiscard]] SecretIdentity identity() const;

    SecretItems& items;
};

/// The agent's own item.
[[nodiscard]] KeychainService makeAgentKeychain(SecretItems& items);

} // namespace quibel
