#pragma once

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
    itemNotFound,
    unavailable, ///< No store, a locked one, one that went away, or no answer in time.
};

struct SecretAnswer
{
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

    virtual SecretStatus remove(const SecretIdentity& identity) = 0;
};

} // namespace quibel
