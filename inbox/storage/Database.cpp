#include "inbox/storage/Database.h"

#include "inbox/storage/BackupFile.h"
#include "inbox/storage/Dialect.h"
#include "inbox/storage/SchemaMigrations.h"

#include <QSqlRecord>
#include <QUuid>

#include <utility>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

StorageResult<std::unique_ptr<Database>> Database::open(const DatabaseLocation& location)
{
    std::unique_ptr<Database> database(new Database(Dialect::of(location), location.patience));
    if (auto error = database->kind->prepare(database->connection))
        return *error;
    if (auto error = database->connect())
        return *error;
    if (auto error = migrateSchema(*database))
        return *error;
    return database;
}

Database::Database(std::unique_ptr<Dialect> databaseKind, std::chrono::milliseconds patience)
    : kind(std::move(databaseKind))
    , usualPatience(patience)
    , connection(
          QSqlDatabase::addDatabase(kind->driver(), QUuid::createUuid().toString(QUuid::Id128)))
{
}

Database::~Database()
{
    const auto name = connection.connectionName();
    connection = {};
    QSqlDatabase::removeDatabase(name);
}

StorageResult<QList<Row>> Database::rows(const QString& statement, const Row& values)
{
    auto done = run(statement, values, Again::may);
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    auto& query = std::get<QSqlQuery>(done);
    QList<Row> list;
    const auto columns = query.record().count();
    while (query.next()) {
        Row row;
        row.reserve(columns);
        for (int i = 0; i < columns; ++i)
            row.append(query.value(i));
        list.append(row);
    }
    if (query.lastError().isValid())
        return noteFailure(query.lastError());
    return list;
}

StorageResult<qint64> Database::change(const QString& statement, const Row& values)
{
    auto done = grouped ? runInGroup(statement, values) : run(statement, values, Again::mustNot);
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return std::get<QSqlQuery>(done).numRowsAffected();
}

std::optional<StorageError> Database::backupTo(const QString& path, ExistingFile existing)
{
    const auto statement = kind->backupStatement();
    if (statement.isEmpty())
        return StorageError { .reason = u"a PostgreSQL database is backed up with pg_dump, which "
                                        u"does so while the service runs"_s };
    auto file = BackupFile::create(path, existing);
    if (const auto* error = std::get_if<StorageError>(&file))
        return *error;
    auto& backup = std::get<std::unique_ptr<BackupFile>>(file);
    const auto done = run(statement, { backup->temporaryPath() }, Again::may);
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return backup->keep();
}

std::optional<StorageError> Database::connect()
{
    if (connection.isOpen())
        return {};
    // An attempt that took long is not repeated for as long, or all who wait would wait in turn.
    if (sinceRefusal.isValid() && sinceRefusal.elapsed() < refusalTook)
        return refusal;

    QElapsedTimer attempt;
    attempt.start();
    auto error = connection.open() ? std::optional<StorageError>()
                                   : std::optional(kind->toStorageError(connection.lastError()));
    const auto greeting = error ? QStringList() : kind->greeting();
    for (const auto& statement : greeting)
        if (QSqlQuery query(connection); !error && !query.exec(statement))
            error = kind->toStorageError(query.lastError());
    if (!error)
        return {};
    connection.close();
    refusalTook = attempt.elapsed();
    sinceRefusal.start();
    refusal = *error;
    return error;
}

StorageResult<QSqlQuery> Database::run(const QString& statement, const Row& values, Again again)
{
    const bool kept = connection.isOpen() && !begun;
    auto done = runOnce(statement, values);
    if (kept && again == Again::may && !connection.isOpen())
        return runOnce(statement, values);
    return done;
}

StorageResult<QSqlQuery> Database::runOnce(const QString& statement, const Row& values)
{
    if (auto error = connect())
        return *error;
    QSqlQuery query(connection);
    if (!kind->execute(query, statement, values))
        return noteFailure(query.lastError());
    return query;
}

/// A failed statement undoes only itself, also where it would undo the whole transaction: it is one
/// request's, and the group is that of many.
StorageResult<QSqlQuery> Database::runInGroup(const QString& statement, const Row& values)
{
    if (auto error = beginInGroup())
        return *error;
    if (inPart || !kind->failureEndsTransaction())
        return run(statement, values, Again::mustNot);

    if (auto error = command(u"SAVEPOINT statement"_s))
        return *error;
    inPart = true;
    auto done = run(statement, values, Again::mustNot);
    inPart = false;
    if (doomed)
        return done;
    if (std::holds_alternative<StorageError>(done))
        if (auto error = command(u"ROLLBACK TO SAVEPOINT statement"_s))
            return *error;
    if (auto error = command(u"RELEASE SAVEPOINT statement"_s))
        return *error;
    return done;
}

std::optional<StorageError> Database::command(const QString& statement)
{
    const auto done = run(statement, {}, Again::mustNot);
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return {};
}

StorageError Database::noteFailure(const QSqlError& failure)
{
    auto error = kind->toStorageError(failure);
    const bool lost = !connection.isOpen();
    if (lost)
        error.kind = StorageError::Kind::unavailable;
    const bool guarded = inPart && kind->failureEndsTransaction();
    if (begun && (lost || !(guarded || kind->goesOnAfter(failure))))
        doom(error);
    return error;
}

void Database::setPatience(std::chrono::milliseconds patience)
{
    // Where there is no connection, a new one begins with the usual patience.
    QSqlQuery query(connection);
    query.exec(kind->patienceStatement(patience));
}

std::optional<StorageError> Database::begin()
{
    const auto done = run(kind->beginStatement(), {}, Again::may);
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    begun = true;
    return {};
}

std::optional<StorageError> Database::beginInGroup()
{
    if (doomed || begun)
        return doomed;
    if (auto error = begin())
        doom(*error);
    return doomed;
}

std::optional<StorageError> Database::commit()
{
    if (doomed || !begun)
        return doomed;
    auto error = kind->commit(connection);
    if (!error) {
        begun = false;
        return {};
    }
    if (!connection.isOpen())
        error->kind = StorageError::Kind::unavailable;
    doom(*error);
    return error;
}

void Database::rollBack()
{
    if (!begun)
        return;
    begun = false;
    // Fails when SQLite rolled back by itself already; a server does so when it loses its client.
    if (QSqlQuery query(connection); connection.isOpen())
        query.exec(u"ROLLBACK"_s);
}

void Database::doom(const StorageError& error)
{
    doomed = error;
    rollBack();
}

} // namespace quibel::inbox
