#include "inbox/storage/Accounts.h"

#include "inbox/storage/Database.h"
#include "inbox/storage/StoredValues.h"

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

Account toAccount(const Row& row)
{
    return { .id = row.at(0).toString(),
             .name = row.at(1).toString(),
             .hasPassword = !row.at(2).isNull() };
}

StorageResult<QList<Account>>
find(Database& database, const QString& condition, const Row& values = {})
{
    const auto found = database.rows(
        u"SELECT id, name, password_hash FROM accounts %1 ORDER BY number"_s.arg(condition),
        values);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    QList<Account> list;
    for (const auto& row : std::get<QList<Row>>(found))
        list.append(toAccount(row));
    return list;
}

StorageResult<std::optional<Account>> only(const StorageResult<QList<Account>>& found)
{
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& list = std::get<QList<Account>>(found);
    return list.isEmpty() ? std::nullopt : std::optional(list.first());
}

} // namespace

Accounts::Accounts(Database& openDatabase)
    : database(openDatabase)
{
}

StorageResult<std::optional<QString>> Accounts::add(const QString& name)
{
    const auto id = newIdentifier();
    const auto done = database.change(uR"(INSERT INTO accounts (id, name, created_at)
            VALUES (?, ?, ?) ON CONFLICT (name) DO NOTHING)"_s,
                                      { id, presentText(name), storedNow() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return std::get<qint64>(done) == 1 ? std::optional(id) : std::nullopt;
}

StorageResult<QList<Account>> Accounts::all()
{
    return find(database, {});
}

StorageResult<std::optional<Account>> Accounts::named(const QString& name)
{
    return only(find(database, u"WHERE name = ?"_s, { presentText(name) }));
}

StorageResult<std::optional<Account>> Accounts::withID(const QString& id)
{
    return only(find(database, u"WHERE id = ?"_s, { presentText(id) }));
}

std::optional<StorageError> Accounts::setPasswordHash(const QString& id, const QString& hash)
{
    const auto done
        = database.change(u"UPDATE accounts SET password_hash = ? WHERE id = ?"_s, { hash, id });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    if (std::get<qint64>(done) == 1)
        return {};
    return StorageError { .reason = u"there is no such account"_s };
}

StorageResult<std::optional<QString>> Accounts::passwordHash(const QString& id)
{
    const auto found
        = database.rows(u"SELECT password_hash FROM accounts WHERE id = ?"_s, { presentText(id) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& rows = std::get<QList<Row>>(found);
    return rows.isEmpty() ? std::nullopt : optionalText(rows.first().first());
}

} // namespace quibel::inbox
