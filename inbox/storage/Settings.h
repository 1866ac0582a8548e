#pragma once

#include "inbox/storage/StorageError.h"

#include <QString>

#include <optional>

namespace quibel::inbox {

class Database;

/// What the service itself remembers, by name.
class Settings
{
public:
    explicit Settings(Database& openDatabase);

    [[nodiscard]] StorageResult<std::optional<QString>> value(const QString& name);
    [[nodiscard]] std::optional<StorageError> setValue(const QString& name, const QString& value);

private:
    Database& database;
};

} // namespace quibel::inbox
