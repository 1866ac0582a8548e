#include "inbox/storage/SchemaMigrations.h"

#include "inbox/storage/BranchContent.h"
#include "inbox/storage/Database.h"
#include "inbox/storage/Dialect.h"
#include "inbox/storage/SearchText.h"
#include "inbox/storage/StoredValues.h"
#include "inbox/storage/WriteTransaction.h"

#include <QStringList>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

using Failure = std::optional<StorageError>;

/// What leads from one version to the next.
struct Step
{
    QStringList statements;
    Failure (*fill)(Database&) = nullptr; ///< What the statements cannot work out.
};

QStringList tablesOfOneOwner()
{
    return {
        uR"(CREATE TABLE keys (
            number {identity},
            name TEXT NOT NULL,
            sha256 TEXT NOT NULL UNIQUE,
            created_at TEXT NOT NULL))"_s,
        uR"(CREATE TABLE projects (
            number {identity},
            id TEXT NOT NULL UNIQUE,
            name TEXT NOT NULL,
            created_at TEXT NOT NULL))"_s,
        uR"(CREATE TABLE branches (
            number {identity},
            id TEXT NOT NULL UNIQUE,
            project_id TEXT REFERENCES projects (id),
            title TEXT NOT NULL,
            summary TEXT NOT NULL,
            why_forked TEXT NOT NULL,
            captured_text TEXT NOT NULL,
            app_name TEXT NOT NULL,
            bundle_id TEXT NOT NULL,
            window_title TEXT,
            captured_at TEXT NOT NULL,
            received_at TEXT NOT NULL))"_s,
        uR"(CREATE TABLE pictures (
            sha256 TEXT PRIMARY KEY,
            bytes {bytes} NOT NULL))"_s,
        uR"(CREATE TABLE screenshots (
            number {identity},
            id TEXT NOT NULL UNIQUE,
            branch_id TEXT NOT NULL REFERENCES branches (id) ON DELETE CASCADE,
            picture TEXT NOT NULL REFERENCES pictures (sha256),
            width INTEGER NOT NULL,
            height INTEGER NOT NULL,
            byte_size INTEGER NOT NULL,
            capture_type TEXT NOT NULL,
            captured_at TEXT NOT NULL,
            received_at TEXT NOT NULL))"_s,
        u"CREATE INDEX screenshots_of_branch ON screenshots (branch_id)"_s,
    };
}

QStringList tablesOfAccounts()
{
    return {
        uR"(CREATE TABLE accounts (
            number {identity},
            id TEXT NOT NULL UNIQUE,
            name TEXT NOT NULL UNIQUE,
            password_hash TEXT,
            created_at TEXT NOT NULL))"_s,
        u"CREATE TABLE settings (name TEXT PRIMARY KEY, value TEXT NOT NULL)"_s,
        uR"(CREATE TABLE sessions (
            sha256 TEXT PRIMARY KEY,
            account_id TEXT NOT NULL REFERENCES accounts (id),
            used_at TEXT NOT NULL))"_s,
        uR"(CREATE TABLE sign_in_links (
            sha256 TEXT PRIMARY KEY,
            account_id TEXT NOT NULL REFERENCES accounts (id),
            created_at TEXT NOT NULL))"_s,

        u"ALTER TABLE keys ADD COLUMN id TEXT"_s,
        u"ALTER TABLE keys ADD COLUMN account_id TEXT REFERENCES accounts (id)"_s,
        u"ALTER TABLE keys ADD COLUMN last_used_at TEXT"_s,
        u"CREATE UNIQUE INDEX keys_by_id ON keys (id)"_s,

        u"ALTER TABLE projects ADD COLUMN account_id TEXT REFERENCES accounts (id)"_s,
        u"ALTER TABLE projects ADD COLUMN place INTEGER NOT NULL DEFAULT 0"_s,
        u"ALTER TABLE projects ADD COLUMN archived INTEGER NOT NULL DEFAULT 0"_s,

        u"ALTER TABLE branches ADD COLUMN account_id TEXT REFERENCES accounts (id)"_s,
        u"ALTER TABLE branches ADD COLUMN done INTEGER NOT NULL DEFAULT 0"_s,
        u"ALTER TABLE branches ADD COLUMN deleted_at TEXT"_s,
        u"ALTER TABLE branches ADD COLUMN content_sha256 TEXT NOT NULL DEFAULT ''"_s,
        u"ALTER TABLE branches ADD COLUMN words TEXT NOT NULL DEFAULT ''"_s,
        // One for each way to ask for a list, so that a page reads only the rows it shows; with the
        // column of the condition, or SQLite looks it up in every row.
        uR"(CREATE INDEX branches_in_order ON branches (account_id, number, deleted_at)
            WHERE deleted_at IS NULL)"_s,
        uR"(CREATE INDEX branches_by_state ON branches (account_id, done, number,
            deleted_at) WHERE deleted_at IS NULL)"_s,
        uR"(CREATE INDEX branches_by_project ON branches (account_id, project_id, number,
            deleted_at) WHERE deleted_at IS NULL)"_s,
        uR"(CREATE INDEX branches_by_project_and_state ON branches
            (account_id, project_id, done, number, deleted_at) WHERE deleted_at IS NULL)"_s,
        uR"(CREATE INDEX branches_by_content ON branches (account_id, captured_at, content_sha256)
            WHERE deleted_at IS NULL)"_s,
        uR"(CREATE INDEX branches_deleted ON branches (deleted_at)
            WHERE deleted_at IS NOT NULL)"_s,
        u"CREATE INDEX screenshots_of_picture ON screenshots (picture)"_s,
    };
}

Failure changeAll(Database& database, const QList<std::pair<QString, Row>>& changes)
{
    for (const auto& [statement, values] : changes) {
        const auto done = database.change(statement, values);
        if (const auto* error = std::get_if<StorageError>(&done))
            return *error;
    }
    return {};
}

Failure nameKeys(Database& database)
{
    const auto found = database.rows(u"SELECT number FROM keys"_s);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    QList<std::pair<QString, Row>> changes;
    for (const auto& row : std::get<QList<Row>>(found))
        changes.append(
            { u"UPDATE keys SET id = ? WHERE number = ?"_s, { newIdentifier(), row.first() } });
    return changeAll(database, changes);
}

Failure describeContents(Database& database)
{
    qint64 last = 0;
    for (;;) {
        const auto found = database.rows(
            u"SELECT number, %1 FROM branches WHERE number > ? ORDER BY number LIMIT 100"_s.arg(
                contentColumns()),
            { last });
        if (const auto* error = std::get_if<StorageError>(&found))
            return *error;
        const auto& rows = std::get<QList<Row>>(found);
        if (rows.isEmpty())
            return {};
        QList<std::pair<QString, Row>> changes;
        for (const auto& row : rows) {
            const auto document = readContent(row, 1);
            changes.append(
                { u"UPDATE branches SET words = ?, content_sha256 = ? WHERE number = ?"_s,
                  { searchWords(document), contentHash(document), row.first() } });
        }
        if (auto error = changeAll(database, changes))
            return error;
        last = rows.last().first().toLongLong();
    }
}

/// What there was without accounts becomes the owner's.
Failure addOwner(Database& database)
{
    const auto owner = newIdentifier();
    if (auto error
        = changeAll(database,
                    { { u"INSERT INTO accounts (id, name, created_at) VALUES (?, ?, ?)"_s,
                        { owner, u"owner"_s, storedNow() } },
                      { u"UPDATE keys SET account_id = ?"_s, { owner } },
                      { u"UPDATE projects SET account_id = ?, place = number"_s, { owner } },
                      { u"UPDATE branches SET account_id = ?"_s, { owner } } }))
        return error;
    if (auto error = nameKeys(database))
        return error;
    return describeContents(database);
}

/// Steps are only ever added.
QList<Step> steps(const Dialect& dialect)
{
    return { { .statements = tablesOfOneOwner() },
             { .statements = tablesOfAccounts(), .fill = addOwner },
             { .statements = dialect.searchSchema() } };
}

StorageResult<qsizetype> schemaVersion(Database& database)
{
    const auto tables
        = database.rows(database.dialect().tableCountStatement(), { u"schema_version"_s });
    if (const auto* error = std::get_if<StorageError>(&tables))
        return *error;
    if (std::get<QList<Row>>(tables).first().first().toLongLong() == 0)
        return 0;
    const auto versions = database.rows(u"SELECT max(version) FROM schema_version"_s);
    if (const auto* error = std::get_if<StorageError>(&versions))
        return *error;
    return std::get<QList<Row>>(versions).first().first().toLongLong();
}

Failure apply(Database& database, const Step& step, qsizetype version)
{
    QList<std::pair<QString, Row>> changes;
    for (const auto& statement : step.statements)
        changes.append({ database.dialect().toSchema(statement), {} });
    if (auto error = changeAll(database, changes))
        return error;
    if (step.fill)
        if (auto error = step.fill(database))
            return error;
    return changeAll(database,
                     { { u"INSERT INTO schema_version (version) VALUES (?)"_s, { version } } });
}

Failure applyAllFrom(Database& database, const QList<Step>& list)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return error;
    const auto lock = database.dialect().schemaLockStatement();
    if (!lock.isEmpty()) {
        const auto locked = database.rows(lock);
        if (const auto* error = std::get_if<StorageError>(&locked))
            return *error;
    }
    // Another process may have been faster.
    const auto found = schemaVersion(database);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    if (auto error = changeAll(
            database,
            { { u"CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)"_s, {} } }))
        return error;
    for (auto version = std::get<qsizetype>(found); version < list.size(); ++version)
        if (auto error = apply(database, list.at(version), version + 1))
            return error;
    return transaction.commit();
}

} // namespace

std::optional<StorageError> migrateSchema(Database& database)
{
    const auto list = steps(database.dialect());
    const auto found = schemaVersion(database);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto version = std::get<qsizetype>(found);
    if (version > list.size())
        return StorageError { .reason
                              = u"the database was made by a later version of this program"_s };
    if (version == list.size())
        return {};
    return applyAllFrom(database, list);
}

} // namespace quibel::inbox
