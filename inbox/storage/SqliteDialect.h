#pragma once

#include "inbox/storage/Dialect.h"

namespace quibel::inbox {

class SqliteDialect : public Dialect
{
public:
    explicit SqliteDialect(DatabaseLocation databaseLocation);

    [[nodiscard]] QString driver() const override;
    [[nodiscard]] std::optional<StorageError> prepare(QSqlDatabase& connection) const override;
    [[nodiscard]] QString patienceStatement(std::chrono::milliseconds patience) const override;
    [[nodiscard]] QStringList greeting() const override;

    [[nodiscard]] bool
    execute(QSqlQuery& query, const QString& statement, const QVariantList& values) const override;
    [[nodiscard]] StorageError toStorageError(const QSqlError& error) const override;

    [[nodiscard]] QString beginStatement() const override;
    [[nodiscard]] std::optional<StorageError> commit(QSqlDatabase& connection) const override;
    [[nodiscard]] bool failureEndsTransaction() const override;
    [[nodiscard]] bool goesOnAfter(const QSqlError& error) const override;

    [[nodiscard]] QString tableCountStatement() const override;
    [[nodiscard]] QString schemaLockStatement() const override;
    [[nodiscard]] QString toSchema(const QString& statement) const override;
    [[nodiscard]] QStringList searchSchema() const override;
    [[nodiscard]] QString searchStatement() const override;
    [[nodiscard]] QString searchNumber() const override;
    [[nodiscard]] QString searchTerm(const QStringList& words) const override;

    [[nodiscard]] QString backupStatement() const override;

private:
    DatabaseLocation location;
};

} // namespace quibel::inbox
