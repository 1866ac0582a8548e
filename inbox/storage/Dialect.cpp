#include "inbox/storage/Dialect.h"

#include "inbox/storage/PostgresDialect.h"
#include "inbox/storage/SqliteDialect.h"

namespace quibel::inbox {

std::unique_ptr<Dialect> Dialect::of(const DatabaseLocation& location)
{
    if (location.server.isEmpty())
        return std::make_unique<SqliteDialect>(location);
    return std::make_unique<PostgresDialect>(location);
}

} // namespace quibel::inbox
