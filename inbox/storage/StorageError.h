#pragma once

#include <QString>

#include <variant>

namespace quibel::inbox {

/// Why the storage could not do what it was asked for.
struct StorageError
{
    enum class Kind {
        busy,        ///< Another process holds the database; the same call may succeed soon.
        full,        ///< No room on the disk.
        unavailable, ///< The database server cannot be reached now.
        failed,      ///< Anything else; `reason` is all that is known.
    };

    Kind kind = Kind::failed;
    QString reason;
};

template <typename Value>
using StorageResult = std::variant<Value, StorageError>;

} // namespace quibel::inbox
