#include "inbox/storage/WriteTransaction.h"

#include "inbox/storage/Database.h"

namespace quibel::inbox {

using namespace Qt::StringLiterals;

WriteTransaction::WriteTransaction(Database& openDatabase)
    : database(openDatabase)
{
}

WriteTransaction::~WriteTransaction()
{
    if (!open)
        return;
    if (!database.grouped) {
        database.rollBack();
        database.doomed.reset();
        return;
    }
    database.inPart = false;
    if (database.begun)
        (void)(database.command(u"ROLLBACK TO SAVEPOINT part"_s)
               || database.command(u"RELEASE SAVEPOINT part"_s));
}

std::optional<StorageError> WriteTransaction::begin()
{
    if (!database.grouped) {
        auto error = database.begin();
        open = !error;
        return error;
    }
    if (auto error = database.beginInGroup())
        return error;
    if (auto error = database.command(u"SAVEPOINT part"_s))
        return error;
    open = true;
    database.inPart = true;
    return {};
}

std::optional<StorageError> WriteTransaction::commit()
{
    if (!database.grouped)
        return database.commit();
    if (database.doomed)
        return database.doomed;
    if (auto error = database.command(u"RELEASE SAVEPOINT part"_s))
        return error;
    database.inPart = false;
    open = false;
    return {};
}

} // namespace quibel::inbox
