#pragma once

#include "inbox/storage/StorageError.h"

#include <QtGlobal>

#include <optional>

namespace quibel::inbox {

class Database;

/// Writes of several requests as one change of the database, so that they share one wait for the
/// disk. Nothing is begun before the first write. Undone at the end of the scope unless committed.
///
/// A request that fails by itself undoes only its own writes; when the whole can no longer be
/// kept, every further write and the commit report it.
class WriteGroup
{
public:
    enum class Waiting { usual, none }; ///< For another process that writes.

    explicit WriteGroup(Database& openDatabase, Waiting groupWaiting = Waiting::usual);
    Q_DISABLE_COPY_MOVE(WriteGroup)
    ~WriteGroup();

    /// Errors: nothing of the group was kept.
    [[nodiscard]] std::optional<StorageError> commit();

private:
    Database& database;
    Waiting waiting;
};

} // namespace quibel::inbox
