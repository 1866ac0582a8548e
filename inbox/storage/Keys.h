#pragma once

#include "inbox/storage/StorageError.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>

namespace quibel::inbox {

class Database;

/// What is known of a key: never the key itself.
struct StoredKey
{
    QString id;
    QString name;
    QString createdAt;                 ///< UTC with milliseconds.
    std::optional<QString> lastUsedAt; ///< To the minute.

    bool operator==(const StoredKey&) const = default;
};

/// The keys of the agents, by their hashes.
class Keys
{
public:
    explicit Keys(Database& openDatabase);

    /// Remembers a key of an account by its hash; returns the identifier of the entry.
    [[nodiscard]] StorageResult<QString>
    add(const QString& accountID, const QString& name, const QByteArray& hash);

    /// Whose key this is; none when it is unknown or revoked.
    [[nodiscard]] StorageResult<std::optional<QString>> use(const QByteArray& hash);
    [[nodiscard]] bool hasUses() const { return !usedIDs.isEmpty(); }
    /// Writes down which keys were used since the last call. Apart from `use`, so that a database
    /// that cannot be written to keeps nobody from reading.
    [[nodiscard]] std::optional<StorageError> noteUses();

    [[nodiscard]] StorageResult<bool> any();
    /// In the order in which they were made.
    [[nodiscard]] StorageResult<QList<StoredKey>> ofAccount(const QString& accountID);
    /// False when the account has no such key.
    [[nodiscard]] StorageResult<bool> revoke(const QString& accountID, const QString& keyID);

private:
    Database& database;
    QSet<QString> usedIDs; ///< Of keys whose last use is out of date in the database.
};

} // namespace quibel::inbox
