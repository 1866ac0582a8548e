#include "inbox/storage/Sessions.h"

#include "inbox/storage/Database.h"
#include "inbox/storage/StoredValues.h"

#include <QDateTime>

#include <utility>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

QString ago(std::chrono::seconds age)
{
    return storedTime(QDateTime::currentDateTimeUtc().addSecs(-age.count()));
}

std::optional<StorageError> failure(const StorageResult<qint64>& done)
{
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return {};
}

} // namespace

Sessions::Sessions(Database& openDatabase)
    : database(openDatabase)
{
}

std::optional<StorageError> Sessions::begin(const QString& accountID, const QByteArray& hash)
{
    if (auto error
        = failure(database.change(u"DELETE FROM sessions WHERE used_at < ?"_s, { ago(lifetime) })))
        return error;
    return failure(
        database.change(u"INSERT INTO sessions (sha256, account_id, used_at) VALUES (?, ?, ?)"_s,
                        { QString::fromLatin1(hash), presentText(accountID), storedNow() }));
}

StorageResult<std::optional<Account>> Sessions::use(const QByteArray& hash)
{
    const auto sha256 = QString::fromLatin1(hash);
    const auto found = database.rows(uR"(SELECT id, name, password_hash, used_at FROM sessions
            JOIN accounts ON accounts.id = account_id WHERE sha256 = ? AND used_at >= ?)"_s,
                                     { sha256, ago(lifetime) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& rows = std::get<QList<Row>>(found);
    if (rows.isEmpty())
        return std::optional<Account>();

    const auto& row = rows.first();
    if (row.at(3).toString() < ago(1h))
        usedHashes.insert(sha256);
    return std::optional(Account { .id = row.at(0).toString(),
                                   .name = row.at(1).toString(),
                                   .hasPassword = !row.at(2).isNull() });
}

std::optional<StorageError> Sessions::noteUses()
{
    for (const auto& sha256 : std::exchange(usedHashes, {}))
        if (auto error = failure(database.change(
                u"UPDATE sessions SET used_at = ? WHERE sha256 = ?"_s, { storedNow(), sha256 })))
            return error;
    return {};
}

std::optional<StorageError> Sessions::end(const QByteArray& hash)
{
    return failure(
        database.change(u"DELETE FROM sessions WHERE sha256 = ?"_s, { QString::fromLatin1(hash) }));
}

std::optional<StorageError> Sessions::endAll(const QString& accountID)
{
    return failure(database.change(u"DELETE FROM sessions WHERE account_id = ?"_s,
                                   { presentText(accountID) }));
}

std::optional<StorageError> Sessions::addLink(const QString& accountID, const QByteArray& hash)
{
    if (auto error = failure(database.change(u"DELETE FROM sign_in_links WHERE created_at < ?"_s,
                                             { ago(linkLifetime) })))
        return error;
    return failure(database.change(
        u"INSERT INTO sign_in_links (sha256, account_id, created_at) VALUES (?, ?, ?)"_s,
        { QString::fromLatin1(hash), presentText(accountID), storedNow() }));
}

StorageResult<std::optional<QString>> Sessions::takeLink(const QByteArray& hash)
{
    const auto sha256 = QString::fromLatin1(hash);
    const auto found = database.rows(
        u"SELECT account_id FROM sign_in_links WHERE sha256 = ? AND created_at >= ?"_s,
        { sha256, ago(linkLifetime) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& rows = std::get<QList<Row>>(found);
    if (rows.isEmpty())
        return std::optional<QString>();
    // Of two that take it at once only one removes it.
    const auto removed
        = database.change(u"DELETE FROM sign_in_links WHERE sha256 = ?"_s, { sha256 });
    if (const auto* error = std::get_if<StorageError>(&removed))
        return *error;
    return std::get<qint64>(removed) == 1 ? optionalText(rows.first().first()) : std::nullopt;
}

} // namespace quibel::inbox
