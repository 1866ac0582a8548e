#pragma once

#include "inbox/storage/DatabaseLocation.h"
#include "tests/inbox/storage/PostgresServer.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace quibel::inbox::testing {

/// A new database for each test function, once of either kind.
///
/// `addKinds` belongs into `initTestCase_data`, `fresh` into `init`.
class BothDatabases
{
public:
    enum class Kind { sqlite, postgres };

    static void addKinds()
    {
        QTest::addColumn<Kind>("kind");
        QTest::newRow("SQLite") << Kind::sqlite;
        QTest::newRow("PostgreSQL") << Kind::postgres;
    }

    /// Where the database of the function that runs now is to be.
    [[nodiscard]] DatabaseLocation fresh(Kind kind)
    {
        if (kind == Kind::sqlite) {
            directory = std::make_unique<QTemporaryDir>();
            return { .directory = directory->path() };
        }
        if (!postgres) {
            postgres = std::make_unique<PostgresServer>();
            if (!postgres->start())
                QTest::qFail(qPrintable(postgres->problem()), __FILE__, __LINE__);
        }
        const auto url = postgres->newDatabase();
        if (url.isEmpty())
            QTest::qFail(qPrintable(postgres->problem()), __FILE__, __LINE__);
        return { .server = url };
    }

    [[nodiscard]] PostgresServer& server() { return *postgres; }

private:
    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<PostgresServer> postgres;
};

} // namespace quibel::inbox::testing

Q_DECLARE_METATYPE(quibel::inbox::testing::BothDatabases::Kind)
