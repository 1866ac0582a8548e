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
/// Thread: main; `save` and `remove` wait for the store.
class KeychainService
{
public:
    using Receive = std::function<void(const std::optional<QString>& key)>;

    KeychainService(SecretItems& items, QString service, QString account);

    /// Stores the key as it is, replacing any previous one. False when the store did not take it.
    [[nodiscard]] bool save(const QString& key);

    /// Reads the stored key; none when there is no item, or it cannot be read as UTF-8 text.
    ///
    /// `receive` gets it once: before this returns, when the store answers within `hold`; else in a
    /// later turn of the event loop, unless `owner` is gone by then.
    void read(QObject& owner, Receive receive, std::chrono::milliseconds hold = {}) const;

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
