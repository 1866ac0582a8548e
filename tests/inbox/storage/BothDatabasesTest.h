#pragma once

#include "tests/inbox/storage/BothDatabases.h"
#include "tests/inbox/storage/StorageSamples.h"

#include <QObject>
#include <QTest>

#include <memory>

namespace quibel::inbox::testing {

/// A test class of which every function runs over a new database of either kind.
class BothDatabasesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data() { BothDatabases::addKinds(); }

    void init()
    {
        QFETCH_GLOBAL(BothDatabases::Kind, kind);
        location = databases.fresh(kind);
        database = openDatabase(location);
        QVERIFY(database);
        storage = std::make_unique<Storage>(*database);
        owner = value(storage->accounts.all()).first().id;
    }

    void cleanup()
    {
        storage.reset();
        database.reset();
    }

protected:
    BothDatabases databases;
    DatabaseLocation location;
    std::unique_ptr<Database> database;
    std::unique_ptr<Storage> storage;
    QString owner;
};

} // namespace quibel::inbox::testing
