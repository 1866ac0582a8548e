#pragma once

#include "inbox/storage/DatabaseLocation.h"
#include "inbox/storage/StorageError.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <chrono>
#include <memory>
#include <optional>

namespace quibel::inbox {

/// What one kind of database wants otherwise than another.
class Dialect
{
public:
    /// The kind that a location asks for.
    [[nodiscard]] static std::unique_ptr<Dialect> of(const DatabaseLocation& location);

    Dialect() = default;
    Q_DISABLE_COPY_MOVE(Dialect)
    virtual ~Dialect() = default;

    /// The name of Qt's driver.
    [[nodiscard]] virtual QString driver() const = 0;
    /// Tells a connection where to go, and sees to it that there is something to open.
    [[nodiscard]] virtual std::optional<StorageError> prepare(QSqlDatabase& connection) const = 0;
    /// Has a connection wait this long for another process that writes.
    [[nodiscard]] virtual QString patienceStatement(std::chrono::milliseconds patience) const = 0;
    /// What every new connection begins with.
    [[nodiscard]] virtual QStringList greeting() const = 0;

    [[nodiscard]] virtual bool
    execute(QSqlQuery& query, const QString& statement, const QVariantList& values) const = 0;
    [[nodiscard]] virtual StorageError toStorageError(const QSqlError& error) const = 0;

    [[nodiscard]] virtual QString beginStatement() const = 0;
    /// Errors: nothing was kept, also where the database itself does not call that an error.
    [[nodiscard]] virtual std::optional<StorageError> commit(QSqlDatabase& connection) const = 0;
    /// Whether any failed statement undoes the whole transaction, back to a savepoint.
    [[nodiscard]] virtual bool failureEndsTransaction() const = 0;
    /// Whether a transaction goes on after this error as if the statement had not been.
    [[nodiscard]] virtual bool goesOnAfter(const QSqlError& error) const = 0;

    /// Finds one row with the number of tables of this name.
    [[nodiscard]] virtual QString tableCountStatement() const = 0;
    /// Lets only one process at a time change the schema; empty when a transaction does.
    [[nodiscard]] virtual QString schemaLockStatement() const = 0;
    /// A statement of the schema with `{identity}` and `{bytes}` replaced by this kind's types.
    [[nodiscard]] virtual QString toSchema(const QString& statement) const = 0;
    /// Makes the index over the column `words` of the table `branches`.
    [[nodiscard]] virtual QStringList searchSchema() const = 0;
    /// Finds the numbers of the branches that fit `searchTerm`.
    [[nodiscard]] virtual QString searchStatement() const = 0;
    /// What that statement calls the number in its condition.
    [[nodiscard]] virtual QString searchNumber() const = 0;
    /// All of these words, each as the beginning of one; they are letters and digits only.
    [[nodiscard]] virtual QString searchTerm(const QStringList& words) const = 0;

    /// Copies the database to the file that is its value; empty when that cannot be done.
    [[nodiscard]] virtual QString backupStatement() const = 0;
};

} // namespace quibel::inbox
