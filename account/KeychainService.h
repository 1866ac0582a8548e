#pragma once

#include "platform/SecretItems.h"
#include "platform/SecretText.h"

#include <QString>

#include <chrono>
#include <functional>
#include <variant>

namespace quibel {

/// Why there is no key.
enum class KeyError {
    noKey,    ///< The store has none, or none that can be read as UTF-8 text.
    noAnswer, ///< The store is locked, gone or silent, and has not said whether it has one.
};

using KeyResult = std::variant<SecretText, KeyError>;

/// Keeps the user's API key as one item of the secret store. Knows nothing about the service.
///
/// Holds no cache: every read goes to the store, so several instances with the same identity behave
/// as one.
///
/// What is read or saved for an `owner` is told once, unless the owner is gone by then.
///
/// Thread: main; `save` and `remove` wait for the store.
class KeychainService
{
public:
    using Receive = std::function<void(const KeyResult&)>;

    KeychainService(SecretItems& items, QString service, QString account);

    /// Stores the key as it is, replacing any previous one. A locked store asks the user first.
    /// `done` gets whether the store took the key: before this returns, if the user is not asked.
    void save(const QString& key, QObject& owner, std::function<void(bool)> done);

    /// Reads the stored key: before this returns, if the store answers within `hold`; else in a
    /// later turn of the event loop.
    void read(QObject& owner, Receive receive, std::chrono::milliseconds hold = {}) const;

    /// The same, but a locked store asks the user first.
    void readAsking(QObject& owner, Receive receive) const;

    /// The same, but never prompts the user: it waits, for as long as it takes, until the store
    /// answers.
    void readWhenAnswered(QObject& owner, Receive receive) const;

    /// Removes the item, silently also when there is none.
    void remove();

    const QString service;
    const QString account;

private:
    [[nodiscard]] SecretIdentity identity() const;
    [[nodiscard]] SecretStatus replace(const QByteArray& data) const;
    void readAfterChange(QObject& owner, Receive receive) const;

    SecretItems& items;
};

/// The agent's own item.
[[nodiscard]] KeychainService makeAgentKeychain(SecretItems& items);

} // namespace quibel
