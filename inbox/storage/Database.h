#pragma once

#include "inbox/storage/DatabaseLocation.h"
#include "inbox/storage/StorageError.h"

#include <QElapsedTimer>
#include <QList>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>

namespace quibel::inbox {

class Dialect;

using Row = QVariantList;

/// One connection to the database, at the present version of its schema.
///
/// What a call reported as done is on the disk, or with an open group: once that is committed.
/// Several processes may have the same database open. A database server may go away and come
/// back: calls fail at once while it is gone, and succeed again afterwards.
/// Thread: the one that opened it.
class Database
{
public:
    enum class ExistingFile { refuse, replace };

    /// Opens the database, making it or bringing it to the present schema as needed.
    [[nodiscard]] static StorageResult<std::unique_ptr<Database>>
    open(const DatabaseLocation& location);

    Q_DISABLE_COPY_MOVE(Database)
    ~Database();

    /// What a statement finds; the same text for every kind of database, with `?` for each value.
    [[nodiscard]] StorageResult<QList<Row>> rows(const QString& statement, const Row& values = {});
    /// Runs a statement that writes; returns the number of rows that it touched.
    [[nodiscard]] StorageResult<qint64> change(const QString& statement, const Row& values = {});

    [[nodiscard]] const Dialect& dialect() const { return *kind; }

    /// Writes the whole database as of one moment into a file for its owner only, while others
    /// read and write. The file is there whole or not at all.
    ///
    /// Errors: a PostgreSQL database is not for this; the reason tells what is.
    [[nodiscard]] std::optional<StorageError>
    backupTo(const QString& path, ExistingFile existing = ExistingFile::refuse);

private:
    friend class WriteGroup;
    friend class WriteTransaction;

    /// Whether a statement can be sent again when the server was found to be gone.
    enum class Again { may, mustNot };

    Database(std::unique_ptr<Dialect> databaseKind, std::chrono::milliseconds patience);

    [[nodiscard]] std::optional<StorageError> connect();
    [[nodiscard]] StorageResult<QSqlQuery>
    run(const QString& statement, const Row& values, Again again);
    [[nodiscard]] StorageResult<QSqlQuery> runOnce(const QString& statement, const Row& values);
    [[nodiscard]] StorageResult<QSqlQuery> runInGroup(const QString& statement, const Row& values);
    [[nodiscard]] std::optional<StorageError> command(const QString& statement);
    [[nodiscard]] StorageError noteFailure(const QSqlError& failure);

    void setPatience(std::chrono::milliseconds patience);
    [[nodiscard]] std::optional<StorageError> begin();
    [[nodiscard]] std::optional<StorageError> beginInGroup();
    [[nodiscard]] std::optional<StorageError> commit();
    void rollBack();
    void doom(const StorageError& error);

    std::unique_ptr<Dialect> kind;
    const std::chrono::milliseconds usualPatience;
    QSqlDatabase connection;
    QElapsedTimer sinceRefusal; ///< Since the last attempt to connect failed.
    qint64 refusalTook = 0;     ///< How long that attempt took, in milliseconds.
    StorageError refusal;

    bool grouped = false; ///< A group is open; its transaction is once something was written.
    bool begun = false;   ///< A transaction is open.
    bool inPart = false;  ///< A savepoint guards what is written now.
    std::optional<StorageError> doomed; ///< Why the group or transaction can only be undone.
};

} // namespace quibel::inbox
