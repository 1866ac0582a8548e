#include "inbox/storage/WriteGroup.h"

#include "inbox/storage/Database.h"

namespace quibel::inbox {

WriteGroup::WriteGroup(Database& openDatabase)
    : database(openDatabase)
{
    database.grouped = true;
}

WriteGroup::~WriteGroup()
{
    database.rollBack();
    database.grouped = false;
    database.doomed.reset();
}

std::optional<StorageError> WriteGroup::commit()
{
    return database.commit();
}

} // namespace quibel::inbox
