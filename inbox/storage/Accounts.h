#pragma once

#include "inbox/storage/Account.h"
#include "inbox/storage/StorageError.h"

#include <QList>
#include <QString>

#include <optional>

namespace quibel::inbox {

class Database;

/// Who may use the service. A new database has one account, "owner", without a password.
class Accounts
{
public:
    explicit Accounts(Database& openDatabase);

    /// Returns the identifier of the new account; none when the name is taken.
    [[nodiscard]] StorageResult<std::optional<QString>> add(const QString& name);
    /// In the order in which they were made.
    [[nodiscard]] StorageResult<QList<Account>> all();
    [[nodiscard]] StorageResult<std::optional<Account>> named(const QString& name);
    [[nodiscard]] StorageResult<std::optional<Account>> withID(const QString& id);

    /// Keeps what a password is checked against; the password itself must not come here.
    [[nodiscard]] std::optional<StorageError> setPasswordHash(const QString& id,
                                                              const QString& hash);
    [[nodiscard]] StorageResult<std::optional<QString>> passwordHash(const QString& id);

private:
    Database& database;
};

} // namespace quibel::inbox
