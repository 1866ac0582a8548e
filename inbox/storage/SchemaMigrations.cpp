#include "inbox/storage/SchemaMigrations.h"

#include "inbox/storage/WriteTransaction.h"

#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// One entry leads from one version to the next; entries are only ever added.
const QList<QStringList>& migrations()
{
    static const QList<QStringList> steps {
        {
            uR"(CREATE TABLE keys (
                number INTEGER PRIMARY KEY,
                name TEXT NOT NULL,
                sha256 TEXT NOT NULL UNIQUE,
                created_at TEXT NOT NULL))"_s,
            uR"(CREATE TABLE projects (
                number INTEGER PRIMARY KEY,
                id TEXT NOT NULL UNIQUE,
                name TEXT NOT NULL,
                created_at TEXT NOT NULL))"_s,
            uR"(CREATE TABLE branches (
                number INTEGER PRIMARY KEY,
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
                bytes BLOB NOT NULL))"_s,
            uR"(CREATE TABLE screenshots (
                number INTEGER PRIMARY KEY,
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
        },
    };
    return steps;
}

StorageResult<qsizetype> schemaVersion(QSqlQuery& query)
{
    if (!query.exec(u"CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)"_s)
        || !query.exec(u"SELECT max(version) FROM schema_version"_s) || !query.next())
        return toStorageError(query.lastError());
    return query.value(0).toLongLong();
}

std::optional<StorageError> applyStep(QSqlQuery& query, qsizetype step)
{
    for (const auto& statement : migrations().at(step))
        if (!query.exec(statement))
            return toStorageError(query.lastError());
    if (!query.exec(u"INSERT INTO schema_version (version) VALUES (%1)"_s.arg(step + 1)))
        return toStorageError(query.lastError());
    return {};
}

} // namespace

std::optional<StorageError> migrateSchema(QSqlDatabase& database)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return error;

    QSqlQuery query(database);
    const auto found = schemaVersion(query);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto version = std::get<qsizetype>(found);
    if (version > migrations().size())
        return StorageError { .kind = StorageError::Kind::failed,
                              .reason
                              = u"the database was made by a later version of this program"_s };
    for (auto step = version; step < migrations().size(); ++step)
        if (auto error = applyStep(query, step))
            return error;
    query.finish();
    return transaction.commit();
}

StorageError toStorageError(const QSqlError& error)
{
    // The low byte of SQLite's extended result code is the primary one: 5 busy, 6 locked, 13 full.
    const auto code = error.nativeErrorCode().toInt() & 0xff;
    const auto kind = code == 5 || code == 6 ? StorageError::Kind::busy
        : code == 13                         ? StorageError::Kind::full
                                             : StorageError::Kind::failed;
    return { .kind = kind, .reason = error.text() };
}

} // namespace quibel::inbox
