#pragma once

#include "inbox/storage/Account.h"
#include "inbox/storage/StorageError.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <chrono>
#include <optional>

namespace quibel::inbox {

class Database;

/// Who is signed in to the page, and links that sign somebody in once; both by hashes of their
/// secrets.
class Sessions
{
public:
    /// A session ends when it was not used for this long.
    static constexpr std::chrono::hours lifetime { 30 * 24 };
    static constexpr std::chrono::minutes linkLifetime { 5 };

    explicit Sessions(Database& openDatabase);

    [[nodiscard]] std::optional<StorageError> begin(const QString& accountID,
                                                    const QByteArray& hash);
    /// Whose session this is; none when it has ended.
    [[nodiscard]] StorageResult<std::optional<Account>> use(const QByteArray& hash);
    [[nodiscard]] bool hasUses() const { return !usedHashes.isEmpty(); }
    /// Writes down, to the hour, which sessions were used since the last call. Apart from `use`, so
    /// that a database that cannot be written to keeps nobody from reading.
    [[nodiscard]] std::optional<StorageError> noteUses();
    [[nodiscard]] std::optional<StorageError> end(const QByteArray& hash);
    [[nodiscard]] std::optional<StorageError> endAll(const QString& accountID);

    [[nodiscard]] std::optional<StorageError> addLink(const QString& accountID,
                                                      const QByteArray& hash);
    /// Whom this link signs in; it works once.
    [[nodiscard]] StorageResult<std::optional<QString>> takeLink(const QByteArray& hash);

private:
    Database& database;
    QSet<QString> usedHashes; ///< Of sessions whose last use is out of date in the database.
};

} // namespace quibel::inbox
