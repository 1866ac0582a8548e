#pragma once

#include "inbox/storage/SchemaMigrations.h"
#include "inbox/storage/StorageError.h"

#include <QSqlDatabase>
#include <QSqlQuery>

#include <optional>

namespace quibel::inbox {

/// Several statements as one change; undone at the end of the scope unless committed.
class WriteTransaction
{
public:
    explicit WriteTransaction(const QSqlDatabase& database)
        : query(database)
    {
    }
    Q_DISABLE_COPY_MOVE(WriteTransaction)
    ~WriteTransaction()
    {
        if (open)
            query.exec(QStringLiteral("ROLLBACK"));
    }

    [[nodiscard]] std::optional<StorageError> begin()
    {
        // A plain BEGIN takes the write lock at the first write only, and SQLite then refuses at
        // once, without waiting, when another process wrote since the first read.
        if (!query.exec(QStringLiteral("BEGIN IMMEDIATE")))
            return toStorageError(query.lastError());
        open = true;
        return {};
    }

    [[nodiscard]] std::optional<StorageError> commit()
    {
        if (!query.exec(QStringLiteral("COMMIT")))
            return toStorageError(query.lastError());
        open = false;
        return {};
    }

private:
    QSqlQuery query;
    bool open = false;
};

} // namespace quibel::inbox
