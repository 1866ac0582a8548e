#pragma once

#include "inbox/storage/StorageError.h"

#include <QtGlobal>

#include <optional>

namespace quibel::inbox {

class Database;

/// Several statements as one change, by itself or as a part of the open group; undone at the end
/// of the scope unless committed.
class WriteTransaction
{
public:
    explicit WriteTransaction(Database& openDatabase);
    Q_DISABLE_COPY_MOVE(WriteTransaction)
    ~WriteTransaction();

    [[nodiscard]] std::optional<StorageError> begin();
    [[nodiscard]] std::optional<StorageError> commit();

private:
    Database& database;
    bool open = false;
};

} // namespace quibel::inbox
