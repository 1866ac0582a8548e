#pragma once

#include <QString>
#include <QUrl>

#include <chrono>

namespace quibel::inbox {

/// Where branches are kept: in one SQLite file of a directory, or in a PostgreSQL database.
struct DatabaseLocation
{
    QString directory {}; ///< Of the SQLite file; made, for its owner only, if it is not there.
    QUrl server {};       ///< `postgresql://…`; when it is not empty, `directory` does not count.
    bool mustExist = false; ///< An SQLite file that is not there is an error instead of a new one.
    std::chrono::milliseconds patience { 10'000 }; ///< With another process that writes.
};

} // namespace quibel::inbox
