#include "inbox/storage/Projects.h"

#include "inbox/storage/Database.h"
#include "inbox/storage/StoredValues.h"
#include "inbox/storage/WriteTransaction.h"

#include <algorithm>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

StorageResult<bool> touched(const StorageResult<qint64>& done)
{
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return std::get<qint64>(done) == 1;
}

} // namespace

Projects::Projects(Database& openDatabase)
    : database(openDatabase)
{
}

StorageResult<QString> Projects::add(const QString& accountID, const QString& name)
{
    const auto id = newIdentifier();
    const auto done = database.change(
        uR"(INSERT INTO projects (id, account_id, name, place, created_at)
            VALUES (?, ?, ?, (SELECT coalesce(max(place), 0) + 1 FROM projects
                WHERE account_id = ?), ?))"_s,
        { id, presentText(accountID), presentText(name), presentText(accountID), storedNow() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return id;
}

StorageResult<bool> Projects::has(const QString& accountID, const QString& projectID)
{
    const auto found = database.rows(u"SELECT 1 FROM projects WHERE id = ? AND account_id = ?"_s,
                                     { presentText(projectID), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    return !std::get<QList<Row>>(found).isEmpty();
}

StorageResult<QList<StoredProject>> Projects::ofAccount(const QString& accountID)
{
    const auto found = database.rows(uR"(SELECT id, name, archived FROM projects
            WHERE account_id = ? ORDER BY place, number)"_s,
                                     { presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    QList<StoredProject> list;
    for (const auto& row : std::get<QList<Row>>(found))
        list.append({ .id = row.at(0).toString(),
                      .name = row.at(1).toString(),
                      .archived = row.at(2).toBool() });
    return list;
}

StorageResult<bool>
Projects::rename(const QString& accountID, const QString& projectID, const QString& name)
{
    return touched(
        database.change(u"UPDATE projects SET name = ? WHERE id = ? AND account_id = ?"_s,
                        { presentText(name), presentText(projectID), presentText(accountID) }));
}

StorageResult<bool>
Projects::setArchived(const QString& accountID, const QString& projectID, bool archived)
{
    return touched(
        database.change(u"UPDATE projects SET archived = ? WHERE id = ? AND account_id = ?"_s,
                        { archived ? 1 : 0, presentText(projectID), presentText(accountID) }));
}

StorageResult<bool>
Projects::moveTo(const QString& accountID, const QString& projectID, qsizetype place)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return *error;
    const auto found = ofAccount(accountID);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    auto list = std::get<QList<StoredProject>>(found);
    const auto from = std::ranges::find(list, projectID, &StoredProject::id) - list.begin();
    if (from == list.size())
        return false;
    list.move(from, std::clamp<qsizetype>(place, 0, list.size() - 1));
    for (qsizetype i = 0; i < list.size(); ++i) {
        const auto done = database.change(u"UPDATE projects SET place = ? WHERE id = ?"_s,
                                          { i + 1, list.at(i).id });
        if (const auto* error = std::get_if<StorageError>(&done))
            return *error;
    }
    if (auto error = transaction.commit())
        return *error;
    return true;
}

} // namespace quibel::inbox
