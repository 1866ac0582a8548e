#pragma once

#include "platform/SecretText.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>

class QObject;

namespace quibel {

/// What identifies an item of the secret store.
struct SecretIdentity
{
    QString service;
    QString account;

    bool operator==(const SecretIdentity&) const = default;
};

enum class SecretStatus {
    success,
    duplicateItem, ///< `add`: an item with this identity exists.
    itemNotFound,  ///< The store says so.
    locked,        ///< Some of it is locked: not told, not changed.
    unavailable,   ///< No store, one that went away, or no answer in time.
};

// NOLINTNEXTLINE(cppcoreguidelines-special-member-functions): a copy is wiped in its turn.
struct SecretAnswer
{
    ~SecretAnswer()
    {
        if (data)
            wipe(*data);
    }

    SecretStatus status = SecretStatus::unavailable;
    std::optional<QByteArray> data; ///< Set on success, unless the store gave no data.

    bool operator==(const SecretAnswer&) const = default;
};

/// In what state the store is as a whole.
enum class SecretStoreState {
    absent, ///< No store, or none that answers in time.
    unmade, ///< There is no key ring yet in which an item could be added.
    locked,
    unlocked,
};

/// The user's secret store (key ring), one item at a time.
///
/// Only `unlock` prompts the user; every other call leaves what is locked as it is.
///
/// Thread: main. Calls are synchronous and return within two seconds; to read holds nobody up.
class SecretItems
{
public:
    SecretItems() = default;
    SecretItems(const SecretItems&) = delete;
    SecretItems& operator=(const SecretItems&) = delete;
    virtual ~SecretItems() = default;

    [[nodiscard]] virtual SecretStoreState state() = 0;
    [[nodiscard]] virtual SecretStatus add(const SecretIdentity& identity, const QByteArray& data)
        = 0;
    [[nodiscard]] virtual SecretStatus update(const SecretIdentity& identity,
                                              const QByteArray& data)
        = 0;

    /// Reads the item. `receive` gets the answer once: before this returns, when the store answers
    /// within `hold`; else in a later turn of the event loop, unless `owner` is gone by then. Other
    /// calls may be made meanwhile.
    virtual void copyMatching(const SecretIdentity& identity,
                              std::chrono::milliseconds hold,
                              QObject& owner,
                              std::function<void(const SecretAnswer&)> receive)
        = 0;

    /// Removes the item, as far as it is not locked.
    virtual SecretStatus remove(const SecretIdentity& identity) = 0;

    /// Has the store ask the user, by a prompt of its own, to unlock what keeps the item from being
    /// read or stored. `done` is called once, in a later turn of the event loop, when the user has
    /// answered, however late and whatever, or is not asked, or the store is gone or silent; not
    /// when `owner` is gone by then.
    virtual void unlock(const SecretIdentity& identity, QObject& owner, std::function<void()> done)
        = 0;

    /// Calls `changed` once, when the store has come or something in it has changed, such as its
    /// lock, and it has not gone since; not when `owner` is gone by then. That is in a later turn
    /// of the event loop, some seconds after this call at the earliest, so that a store which
    /// reports a change at every read is not read in a busy loop.
    virtual void awaitChange(QObject& owner, std::function<void()> changed) = 0;
};

} // namespace quibel
