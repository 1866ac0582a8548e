#include "inbox/storage/WriteGroup.h"

#include "inbox/storage/Database.h"

#include <chrono>

namespace quibel::inbox {

WriteGroup::WriteGroup(Database& openDatabase, Waiting groupWaiting)
    : database(openDatabase)
    , waiting(groupWaiting)
{
    if (waiting == Waiting::none)
        database.setPatience(std::chrono::milliseconds(0));
    database.grouped = true;
}

WriteGroup::~WriteGroup()
{
    database.rollBack();
    database.grouped = false;
    database.doomed.reset();
    if (waiting == Waiting::none)
        database.setPatience(database.usualPatience);
}

std::optional<StorageError> WriteGroup::commit()
{
    return database.commit();
}

} // namespace quibel::inbox
