#pragma once

#include "inbox/storage/Accounts.h"
#include "inbox/storage/Branches.h"
#include "inbox/storage/Keys.h"
#include "inbox/storage/Projects.h"
#include "inbox/storage/Screenshots.h"
#include "inbox/storage/Sessions.h"
#include "inbox/storage/Settings.h"

namespace quibel::inbox {

class Database;

/// Everything that is kept, over one database.
struct Storage
{
    explicit Storage(Database& database)
        : accounts(database)
        , keys(database)
        , projects(database)
        , branches(database)
        , screenshots(database)
        , sessions(database)
        , settings(database)
    {
    }

    Accounts accounts;
    Keys keys;
    Projects projects;
    Branches branches;
    Screenshots screenshots;
    Sessions sessions;
    Settings settings;
};

} // namespace quibel::inbox
