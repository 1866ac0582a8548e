#include "inbox/storage/Keys.h"

#include "inbox/storage/Database.h"
#include "inbox/storage/StoredValues.h"

#include <QDateTime>

#include <utility>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

QString thisMinute()
{
    return QDateTime::currentDateTimeUtc().toString(u"yyyy-MM-ddTHH:mm:'00Z'"_s);
}

} // namespace

Keys::Keys(Database& openDatabase)
    : database(openDatabase)
{
}

StorageResult<QString>
Keys::add(const QString& accountID, const QString& name, const QByteArray& hash)
{
    const auto id = newIdentifier();
    const auto done = database.change(
        u"INSERT INTO keys (id, account_id, name, sha256, created_at) VALUES (?, ?, ?, ?, ?)"_s,
        { id, presentText(accountID), presentText(name), QString::fromLatin1(hash), storedNow() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return id;
}

StorageResult<std::optional<QString>> Keys::use(const QByteArray& hash)
{
    const auto found
        = database.rows(u"SELECT id, account_id, last_used_at FROM keys WHERE sha256 = ?"_s,
                        { QString::fromLatin1(hash) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& rows = std::get<QList<Row>>(found);
    if (rows.isEmpty())
        return std::optional<QString>();

    const auto& key = rows.first();
    if (key.at(2).toString() != thisMinute())
        usedIDs.insert(key.at(0).toString());
    return std::optional(key.at(1).toString());
}

std::optional<StorageError> Keys::noteUses()
{
    for (const auto& id : std::exchange(usedIDs, {})) {
        const auto done = database.change(u"UPDATE keys SET last_used_at = ? WHERE id = ?"_s,
                                          { thisMinute(), id });
        if (const auto* error = std::get_if<StorageError>(&done))
            return *error;
    }
    return {};
}

StorageResult<bool> Keys::any()
{
    const auto found = database.rows(u"SELECT 1 FROM keys LIMIT 1"_s);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    return !std::get<QList<Row>>(found).isEmpty();
}

StorageResult<QList<StoredKey>> Keys::ofAccount(const QString& accountID)
{
    const auto found = database.rows(uR"(SELECT id, name, created_at, last_used_at FROM keys
            WHERE account_id = ? ORDER BY number)"_s,
                                     { presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    QList<StoredKey> list;
    for (const auto& row : std::get<QList<Row>>(found))
        list.append({ .id = row.at(0).toString(),
                      .name = row.at(1).toString(),
                      .createdAt = row.at(2).toString(),
                      .lastUsedAt = optionalText(row.at(3)) });
    return list;
}

StorageResult<bool> Keys::revoke(const QString& accountID, const QString& keyID)
{
    const auto done = database.change(u"DELETE FROM keys WHERE id = ? AND account_id = ?"_s,
                                      { presentText(keyID), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return std::get<qint64>(done) == 1;
}

} // namespace quibel::inbox
