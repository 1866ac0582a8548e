#pragma once

#include "inbox/storage/StorageError.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <chrono>
#include <memory>
#include <optional>

namespace quibel::inbox {

/// Where branches are kept: in one SQLite file of a directory, or in a PostgreSQL database.
struct DatabaseLocation
{
    QString directory; ///< Of the SQLite file; made, for its owner only, if it is not there.
    QUrl server {};    ///< `postgresql://…`; when it is not empty, `directory` does not count.
    bool mustExist = false; ///< An SQLite file that is not there is an error instead of a new one.
    std::chrono::milliseconds patience { 10'000 }; ///< With another process that writes.
};

/// One connection to the database, at the present version of its schema.
///
/// What a call reported as done is on the disk, or with an open group: once that is committed.
/// Several processes may have the same database open.
/// Thread: the one that opened it.
class Database
{
public:
    /// Opens the database, making it or bringing it to the present schema as needed.
    [[nodiscard]] static StorageResult<std::unique_ptr<Database>>
    open(const DatabaseLocation& location);

    Q_DISABLE_COPY_MOVE(Database)
    ~Database();

    /// Runs one statement, the same text for every kind of database, with `?` for each value.
    [[nodiscard]] StorageResult<QSqlQuery> execute(const QString& statement,
                                                   const QVariantList& values = {});

    // … the owner of this folder completes this: transactions, groups, dialect, reconnecting,
    // backup
};

/// Writes of several requests as one change of the database, so that they share one wait for the
/// disk. Nothing is begun before the first write. Undone at the end of the scope unless committed.
class WriteGroup
{
public:
    explicit WriteGroup(Database& openDatabase);
    Q_DISABLE_COPY_MOVE(WriteGroup)
    ~WriteGroup();

    /// Errors: nothing of the group was kept.
    [[nodiscard]] std::optional<StorageError> commit();

private:
    Database& database;
};

} // namespace quibel::inbox
