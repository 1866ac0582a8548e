#include "inbox/storage/Settings.h"

#include "inbox/storage/Database.h"
#include "inbox/storage/StoredValues.h"

namespace quibel::inbox {

using namespace Qt::StringLiterals;

Settings::Settings(Database& openDatabase)
    : database(openDatabase)
{
}

StorageResult<std::optional<QString>> Settings::value(const QString& name)
{
    const auto found = database.rows(u"SELECT value FROM settings WHERE name = ?"_s, { name });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& rows = std::get<QList<Row>>(found);
    return rows.isEmpty() ? std::nullopt : optionalText(rows.first().first());
}

std::optional<StorageError> Settings::setValue(const QString& name, const QString& value)
{
    const auto done = database.change(uR"(INSERT INTO settings (name, value) VALUES (?, ?)
            ON CONFLICT (name) DO UPDATE SET value = excluded.value)"_s,
                                      { name, presentText(value) });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return {};
}

} // namespace quibel::inbox
