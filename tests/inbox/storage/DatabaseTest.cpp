#include "inbox/storage/WriteGroup.h"
#include "inbox/storage/WriteTransaction.h"
#include "tests/inbox/storage/BothDatabasesTest.h"

#include <QElapsedTimer>

#include <atomic>
#include <thread>
#include <vector>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

class DatabaseTest : public BothDatabasesTest
{
    Q_OBJECT

private Q_SLOTS:
    void keepsAWholeGroupOnceItIsCommitted()
    {
        {
            WriteGroup group(*database);
            (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
            const auto id = value(storage->branches.add(owner, sampleDocument(u"b"_s)));
            (void)value(storage->screenshots.add(sampleShot(id, "p"), { 1, 1 }));
            QCOMPARE(seenByOthers(), 0);
            QCOMPARE(titles(), (QStringList { u"b"_s, u"a"_s }));
            QVERIFY(!group.commit());
            QCOMPARE(seenByOthers(), 2);
        }
        QCOMPARE(seenByOthers(), 2);
    }

    void keepsNothingOfAGroupThatIsNotCommitted()
    {
        {
            WriteGroup group(*database);
            (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
            (void)value(storage->branches.add(owner, sampleDocument(u"b"_s)));
        }
        QCOMPARE(titles(), QStringList());
        (void)value(storage->branches.add(owner, sampleDocument(u"c"_s)));
        QCOMPARE(seenByOthers(), 1);
    }

    void beginsNothingBeforeTheFirstWriteOfAGroup()
    {
        const auto other = openDatabase(location);
        WriteGroup group(*database);
        QCOMPARE(titles(), QStringList());
        (void)value(Storage(*other).branches.add(owner, sampleDocument(u"theirs"_s)));
        QCOMPARE(titles(), QStringList { u"theirs"_s });
        (void)value(storage->branches.add(owner, sampleDocument(u"ours"_s)));
        QVERIFY(!group.commit());
        QCOMPARE(seenByOthers(), 2);
    }

    void undoesOnlyWhatFailedInAGroup()
    {
        (void)value(storage->keys.add(owner, u"k"_s, "h"));
        WriteGroup group(*database);
        (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
        (void)failure(storage->keys.add(owner, u"again"_s, "h"));
        (void)failure(storage->screenshots.add(sampleShot(u"none"_s, "picture"), { 1, 1 }));
        (void)value(storage->branches.add(owner, sampleDocument(u"b"_s)));
        QCOMPARE(titles(), (QStringList { u"b"_s, u"a"_s }));
        QVERIFY(!group.commit());
        QCOMPARE(seenByOthers(), 2);
        QCOMPARE(count(u"pictures"_s), 0);
        QCOMPARE(count(u"keys"_s), 1);
    }

    void reportsAGroupThatCannotBeKept()
    {
        {
            WriteGroup group(*database);
            (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
            // A read that fails: nothing guards it, and PostgreSQL gives the transaction up.
            (void)failure(database->rows(u"SELECT nothing FROM nowhere"_s));
            (void)failure(storage->branches.add(owner, sampleDocument(u"b"_s)));
            QVERIFY(group.commit().has_value());
        }
        QCOMPARE(seenByOthers(), 0);
        QCOMPARE(titles(), QStringList());
        (void)value(storage->branches.add(owner, sampleDocument(u"c"_s)));
        QCOMPARE(seenByOthers(), 1);
    }

    void undoesATransactionThatIsNotCommitted()
    {
        {
            WriteTransaction transaction(*database);
            QVERIFY(!transaction.begin());
            (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
        }
        QCOMPARE(titles(), QStringList());
        WriteTransaction transaction(*database);
        QVERIFY(!transaction.begin());
        (void)value(storage->branches.add(owner, sampleDocument(u"b"_s)));
        QVERIFY(!transaction.commit());
        QCOMPARE(seenByOthers(), 1);
    }

    void neverReportsATransactionAsKeptThatWasGivenUp()
    {
        {
            WriteTransaction transaction(*database);
            QVERIFY(!transaction.begin());
            (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
            (void)failure(database->rows(u"SELECT nothing FROM nowhere"_s));
            QVERIFY(transaction.commit().has_value());
        }
        QCOMPARE(seenByOthers(), 0);
        (void)value(storage->branches.add(owner, sampleDocument(u"b"_s)));
        QCOMPARE(seenByOthers(), 1);
    }

    void hasEverythingAfterARestart()
    {
        const auto id = value(storage->branches.add(owner, sampleDocument(u"x"_s)));
        (void)value(storage->screenshots.add(sampleShot(id, "picture"), { 1, 1 }));
        database.reset();
        database = openDatabase(location);
        storage = std::make_unique<Storage>(*database);
        QCOMPARE(value(storage->accounts.all()).first().id, owner);
        const auto list = value(storage->branches.find({ .accountID = owner }));
        QCOMPARE(list.first().id, id);
        QCOMPARE(
            value(storage->screenshots.picture(owner, list.first().screenshots.first().sha256)),
            "picture");
    }

    void losesNothingWhenManyOpenAndWriteAtOnce()
    {
        QFETCH_GLOBAL(BothDatabases::Kind, kind);
        const auto fresh = databases.fresh(kind);
        constexpr int writers = 6;
        constexpr int each = 20;
        std::atomic<int> stored = 0;
        std::vector<std::jthread> threads;
        threads.reserve(writers);
        for (int i = 0; i < writers; ++i)
            threads.emplace_back([&] {
                const auto opened = Database::open(fresh);
                const auto* own = std::get_if<std::unique_ptr<Database>>(&opened);
                if (!own)
                    return;
                Storage mine(**own);
                const auto accounts = mine.accounts.all();
                const auto* list = std::get_if<QList<Account>>(&accounts);
                for (int n = 0; list && n < each; ++n)
                    if (std::holds_alternative<QString>(
                            mine.branches.add(list->first().id, sampleDocument(u"x"_s))))
                        ++stored;
            });
        threads.clear();
        QCOMPARE(stored.load(), writers * each);
        database = openDatabase(fresh);
        QCOMPARE(count(u"branches"_s), writers * each);
        QCOMPARE(count(u"accounts"_s), 1);
    }

    void leavesADatabaseOfALaterVersionAlone()
    {
        (void)value(database->change(u"INSERT INTO schema_version (version) VALUES (1000)"_s));
        const auto error = failure(Database::open(location));
        QVERIFY(error.reason.contains(u"later version"));
    }

    void onlyLooksAtASchemaThatIsCurrent()
    {
        auto impatient = location;
        impatient.patience = 50ms;
        WriteTransaction transaction(*database);
        QVERIFY(!transaction.begin());
        (void)value(storage->branches.add(owner, sampleDocument(u"a"_s)));
        const auto reader = openDatabase(impatient);
        QVERIFY(reader);
        QCOMPARE(value(Storage(*reader).branches.find({ .accountID = owner })).size(), 0);
    }

    void saysThatItIsBusyAfterItsPatienceWithAnotherWriter()
    {
        QVERIFY(!storage->settings.setValue(u"a"_s, u"1"_s));
        auto impatient = location;
        impatient.patience = 50ms;
        const auto other = openDatabase(impatient);
        Storage theirs(*other);
        {
            WriteTransaction transaction(*database);
            QVERIFY(!transaction.begin());
            QVERIFY(!storage->settings.setValue(u"a"_s, u"2"_s));
            WriteGroup group(*other);
            QElapsedTimer timer;
            timer.start();
            const auto error = theirs.settings.setValue(u"a"_s, u"3"_s);
            QVERIFY(error.has_value());
            QCOMPARE(error->kind, StorageError::Kind::busy);
            QVERIFY(timer.elapsed() >= 40);
            QVERIFY(timer.elapsed() < 5000);
        }
        QVERIFY(!theirs.settings.setValue(u"a"_s, u"3"_s));
        QCOMPARE(value(storage->settings.value(u"a"_s)), u"3"_s);
    }

    void tellsNothingOfWhatWasStoredInAnError()
    {
        (void)value(storage->keys.add(owner, u"k"_s, "secret-hash"));
        const auto first = failure(storage->keys.add(owner, u"k"_s, "secret-hash"));
        QVERIFY(!first.reason.isEmpty());
        QVERIFY2(!first.reason.contains(u"secret"), qPrintable(first.reason));
        const auto second = failure(
            database->change(u"INSERT INTO nowhere (a) VALUES (?)"_s, { u"secret text"_s }));
        QVERIFY2(!second.reason.contains(u"secret"), qPrintable(second.reason));
    }

private:
    QStringList titles()
    {
        QStringList list;
        const auto branches = value(storage->branches.find({ .accountID = owner }));
        for (const auto& branch : branches)
            list.append(branch.document.title);
        return list;
    }

    int count(const QString& table)
    {
        return value(database->rows(u"SELECT count(*) FROM "_s + table)).first().first().toInt();
    }

    qsizetype seenByOthers()
    {
        const auto other = openDatabase(location);
        return value(other->rows(u"SELECT 1 FROM branches"_s)).size();
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::DatabaseTest)
#include "DatabaseTest.moc"
