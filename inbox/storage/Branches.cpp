#include "inbox/storage/Branches.h"

#include "inbox/storage/BranchContent.h"
#include "inbox/storage/Database.h"
#include "inbox/storage/Dialect.h"
#include "inbox/storage/SearchText.h"
#include "inbox/storage/StoredValues.h"
#include "inbox/storage/WriteTransaction.h"

#include <QDateTime>
#include <QHash>
#include <QStringList>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// A statement that is put together, and its values in the order of their marks.
struct Statement
{
    QString text;
    Row values;

    void add(const QString& part, const Row& more = {})
    {
        text += u' ' + part;
        values += more;
    }
};

StoredBranch readBranch(const Row& row)
{
    StoredBranch branch;
    branch.id = row.at(0).toString();
    branch.number = row.at(1).toLongLong();
    branch.projectName = optionalText(row.at(3));
    branch.receivedAt = row.at(4).toString();
    branch.done = row.at(5).toBool();
    branch.deleted = !row.at(6).isNull();
    branch.likelyDouble = row.at(7).toBool();
    branch.document = readContent(row, 8);
    branch.document.projectID = optionalText(row.at(2));
    return branch;
}

/// Fits in the rest of a statement that finds numbers of branches.
void addFilter(Statement& statement, const BranchQuery& query)
{
    statement.add(u"SELECT number FROM branches WHERE deleted_at IS NULL AND account_id = ?"_s,
                  { presentText(query.accountID) });
    if (query.state != BranchQuery::State::any)
        statement.add(u"AND done = ?"_s, { query.state == BranchQuery::State::done ? 1 : 0 });
    if (std::holds_alternative<BranchQuery::NoProject>(query.project))
        statement.add(u"AND project_id IS NULL"_s);
    else if (const auto* project = std::get_if<QString>(&query.project))
        statement.add(u"AND project_id = ?"_s, { presentText(*project) });
    if (query.before)
        statement.add(u"AND number < ?"_s, { *query.before });
}

/// Finds the numbers of the wanted branches without a look at any that is not among them.
Statement numbersOf(const BranchQuery& query, const Dialect& dialect)
{
    Statement statement;
    const auto words = typedWords(query.search);
    if (!words.isEmpty()) {
        statement.add(dialect.searchStatement(), { dialect.searchTerm(words) });
        if (query.before)
            statement.add(u"AND %1 < ?"_s.arg(dialect.searchNumber()), { *query.before });
        statement.add(u"INTERSECT"_s);
    }
    addFilter(statement, query);
    statement.add(u"ORDER BY number DESC LIMIT ?"_s, { query.limit });
    return statement;
}

std::optional<StorageError> attachScreenshots(Database& database, QList<StoredBranch>& list)
{
    if (list.isEmpty())
        return {};
    QHash<QString, qsizetype> positions;
    Row ids;
    for (qsizetype i = 0; i < list.size(); ++i) {
        positions.insert(list.at(i).id, i);
        ids.append(list.at(i).id);
    }
    const auto marks = QStringList(ids.size(), u"?"_s).join(u", "_s);
    const auto found = database.rows(uR"(SELECT branch_id, id, picture, width, height, byte_size,
            capture_type, captured_at FROM screenshots WHERE branch_id IN (%1)
            ORDER BY number)"_s.arg(marks),
                                     ids);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    for (const auto& row : std::get<QList<Row>>(found))
        list[positions.value(row.at(0).toString())].screenshots.append(
            { .id = row.at(1).toString(),
              .sha256 = row.at(2).toString(),
              .width = row.at(3).toInt(),
              .height = row.at(4).toInt(),
              .byteSize = row.at(5).toLongLong(),
              .captureType = row.at(6).toString(),
              .capturedAt = row.at(7).toString() });
    return {};
}

StorageResult<QList<StoredBranch>>
read(Database& database, const QString& condition, const Row& values)
{
    const auto found = database.rows(uR"(SELECT branch.id, branch.number, project_id,
            projects.name, received_at, done, deleted_at,
            EXISTS (SELECT 1 FROM branches AS other WHERE other.account_id = branch.account_id
                AND other.captured_at = branch.captured_at
                AND other.content_sha256 = branch.content_sha256
                AND other.deleted_at IS NULL AND other.number <> branch.number), %1
            FROM branches AS branch LEFT JOIN projects ON projects.id = project_id
            WHERE %2 ORDER BY branch.number DESC)"_s.arg(contentColumns(), condition),
                                     values);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    QList<StoredBranch> list;
    for (const auto& row : std::get<QList<Row>>(found))
        list.append(readBranch(row));
    if (auto error = attachScreenshots(database, list))
        return *error;
    return list;
}

std::optional<StorageError> refuseForeignProject(Database& database,
                                                 const QString& accountID,
                                                 const std::optional<QString>& projectID)
{
    if (!projectID)
        return {};
    const auto found = database.rows(u"SELECT 1 FROM projects WHERE id = ? AND account_id = ?"_s,
                                     { presentText(*projectID), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    if (!std::get<QList<Row>>(found).isEmpty())
        return {};
    return StorageError { .reason = u"the account has no such project"_s };
}

StorageResult<bool> set(Database& database,
                        const QString& column,
                        const QVariant& value,
                        const QString& accountID,
                        const QString& branchID)
{
    const auto done = database.change(
        u"UPDATE branches SET %1 = ? WHERE id = ? AND account_id = ?"_s.arg(column),
        { value, presentText(branchID), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return std::get<qint64>(done) == 1;
}

} // namespace

Branches::Branches(Database& openDatabase)
    : database(openDatabase)
{
}

StorageResult<QString> Branches::add(const QString& accountID, const BranchDocument& document)
{
    if (auto error = refuseForeignProject(database, accountID, document.projectID))
        return *error;
    const auto id = newIdentifier();
    const Row own { id,          presentText(accountID), nullableText(document.projectID),
                    storedNow(), contentHash(document),  presentText(searchWords(document)) };
    const auto done = database.change(uR"(INSERT INTO branches (id, account_id, project_id,
            received_at, content_sha256, words, %1)
            VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?))"_s.arg(contentColumns()),
                                      own + contentValues(document));
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return id;
}

StorageResult<bool> Branches::has(const QString& accountID, const QString& branchID)
{
    const auto found = database.rows(u"SELECT 1 FROM branches WHERE id = ? AND account_id = ?"_s,
                                     { presentText(branchID), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    return !std::get<QList<Row>>(found).isEmpty();
}

StorageResult<QList<StoredBranch>> Branches::find(const BranchQuery& query)
{
    const auto numbers = numbersOf(query, database.dialect());
    return read(database, u"branch.number IN (%1)"_s.arg(numbers.text), numbers.values);
}

StorageResult<std::optional<StoredBranch>> Branches::one(const QString& accountID,
                                                         const QString& branchID)
{
    const auto found = read(database,
                            u"branch.id = ? AND branch.account_id = ?"_s,
                            { presentText(branchID), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& list = std::get<QList<StoredBranch>>(found);
    return list.isEmpty() ? std::nullopt : std::optional(list.first());
}

StorageResult<bool> Branches::setDone(const QString& accountID, const QString& branchID, bool done)
{
    return set(database, u"done"_s, done ? 1 : 0, accountID, branchID);
}

StorageResult<bool>
Branches::setDeleted(const QString& accountID, const QString& branchID, bool deleted)
{
    return set(database,
               u"deleted_at"_s,
               nullableText(deleted ? std::optional(storedNow()) : std::nullopt),
               accountID,
               branchID);
}

StorageResult<bool> Branches::setProject(const QString& accountID,
                                         const QString& branchID,
                                         const std::optional<QString>& projectID)
{
    if (auto error = refuseForeignProject(database, accountID, projectID))
        return *error;
    return set(database, u"project_id"_s, nullableText(projectID), accountID, branchID);
}

StorageResult<qint64> Branches::purge(std::chrono::seconds age)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return *error;
    const auto limit = storedTime(QDateTime::currentDateTimeUtc().addSecs(-age.count()));
    auto branches = database.change(u"DELETE FROM branches WHERE deleted_at < ?"_s, { limit });
    if (const auto* error = std::get_if<StorageError>(&branches))
        return *error;
    const auto pictures = database.change(uR"(DELETE FROM pictures WHERE NOT EXISTS (
            SELECT 1 FROM screenshots WHERE picture = pictures.sha256))"_s);
    if (const auto* error = std::get_if<StorageError>(&pictures))
        return *error;
    if (auto error = transaction.commit())
        return *error;
    return branches;
}

} // namespace quibel::inbox
