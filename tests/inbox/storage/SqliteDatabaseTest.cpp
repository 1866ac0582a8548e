#include "inbox/storage/WriteGroup.h"
#include "tests/inbox/storage/StorageSamples.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

namespace {

/// Another program's hand on a database file.
class Intruder
{
public:
    explicit Intruder(const QString& path)
    {
        auto database = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
        database.setDatabaseName(path);
        database.open();
    }
    Q_DISABLE_COPY_MOVE(Intruder)
    ~Intruder() { QSqlDatabase::removeDatabase(name); }

    [[nodiscard]] QVariant ask(const QString& statement) const
    {
        QSqlQuery query(QSqlDatabase::database(name));
        if (!query.exec(statement))
            QTest::qFail(qPrintable(query.lastError().text()), __FILE__, __LINE__);
        return query.next() ? query.value(0) : QVariant();
    }
    void tell(const QString& statement) const { (void)ask(statement); }

private:
    QString name = u"intruder"_s;
};

/// The file as the first released version made and filled it.
void writeVersionOne(const QString& path)
{
    const Intruder maker(path);
    const QStringList statements {
        u"PRAGMA journal_mode = WAL"_s,
        u"CREATE TABLE schema_version (version INTEGER NOT NULL)"_s,
        uR"(CREATE TABLE keys (number INTEGER PRIMARY KEY, name TEXT NOT NULL,
            sha256 TEXT NOT NULL UNIQUE, created_at TEXT NOT NULL))"_s,
        uR"(CREATE TABLE projects (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
            name TEXT NOT NULL, created_at TEXT NOT NULL))"_s,
        uR"(CREATE TABLE branches (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
            project_id TEXT REFERENCES projects (id), title TEXT NOT NULL, summary TEXT NOT NULL,
            why_forked TEXT NOT NULL, captured_text TEXT NOT NULL, app_name TEXT NOT NULL,
            bundle_id TEXT NOT NULL, window_title TEXT, captured_at TEXT NOT NULL,
            received_at TEXT NOT NULL))"_s,
        u"CREATE TABLE pictures (sha256 TEXT PRIMARY KEY, bytes BLOB NOT NULL)"_s,
        uR"(CREATE TABLE screenshots (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE,
            branch_id TEXT NOT NULL REFERENCES branches (id) ON DELETE CASCADE,
            picture TEXT NOT NULL REFERENCES pictures (sha256), width INTEGER NOT NULL,
            height INTEGER NOT NULL, byte_size INTEGER NOT NULL, capture_type TEXT NOT NULL,
            captured_at TEXT NOT NULL, received_at TEXT NOT NULL))"_s,
        u"CREATE INDEX screenshots_of_branch ON screenshots (branch_id)"_s,
        u"INSERT INTO schema_version (version) VALUES (1)"_s,
        u"INSERT INTO keys VALUES (1, 'desk', 'h1', '2026-01-01T00:00:00.000Z')"_s,
        u"INSERT INTO keys VALUES (2, 'lap', 'h2', '2026-01-02T00:00:00.000Z')"_s,
        u"INSERT INTO projects VALUES (1, 'p1', 'Zoo', '2026-01-01T00:00:00.000Z')"_s,
        u"INSERT INTO projects VALUES (2, 'p2', 'Attic', '2026-01-01T00:00:00.000Z')"_s,
        uR"(INSERT INTO branches VALUES (1, 'b1', NULL, 'First', 's', 'w', 'Café first', 'Éditeur',
            'org.editor', NULL, '2026-01-01T00:00:00Z', '2026-01-01T00:00:00.120Z'))"_s,
        uR"(INSERT INTO branches VALUES (2, 'b2', 'p2', 'Second', 's', 'w', 'second', '', '', '',
            '2026-01-01T00:00:00Z', '2026-01-01T00:00:00.130Z'))"_s,
        uR"(WITH RECURSIVE n (i) AS (SELECT 3 UNION ALL SELECT i + 1 FROM n WHERE i < 333)
            INSERT INTO branches SELECT i, 'b' || i, 'p1', 'Same', 's', 'w', 'same', '', '', NULL,
            '2026-01-01T00:00:01Z', '2026-01-01T00:00:02.000Z' FROM n)"_s,
        u"INSERT INTO pictures VALUES ('f00', x'00ff89504e47')"_s,
        uR"(INSERT INTO screenshots VALUES (1, 's1', 'b1', 'f00', 4, 3, 6, 'active_window',
            '2026-01-01T00:00:00Z', '2026-01-01T00:00:01.000Z'))"_s,
    };
    for (const auto& statement : statements)
        maker.tell(statement);
}

} // namespace

class SqliteDatabaseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
        file = directory->filePath(u"inbox.sqlite"_s);
    }

    void keepsEverythingForItsOwnerOnly()
    {
        const auto path = directory->filePath(u"a/b/data"_s);
        const auto database = openDatabase({ .directory = path });
        const auto open700 = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
            | QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
        const auto open600 = open700 & ~(QFile::ExeOwner | QFile::ExeUser);
        QCOMPARE(QFileInfo(path).permissions(), open700);
        const auto files = QDir(path).entryInfoList(QDir::Files);
        QVERIFY(!files.isEmpty());
        for (const auto& entry : files)
            QCOMPARE(entry.permissions(), open600);
    }

    void givesTheOwnerWhatTheFirstVersionKept()
    {
        writeVersionOne(file);
        const auto database = open();
        Storage storage(*database);
        const auto accounts = value(storage.accounts.all());
        QCOMPARE(accounts.size(), 1);
        QCOMPARE(accounts.first().name, u"owner"_s);
        QVERIFY(!accounts.first().hasPassword);
        const auto owner = accounts.first().id;

        QCOMPARE(value(storage.keys.use("h1")), owner);
        const auto keys = value(storage.keys.ofAccount(owner));
        QCOMPARE(keys.size(), 2);
        QCOMPARE(keys.first().name, u"desk"_s);
        QCOMPARE(keys.first().createdAt, u"2026-01-01T00:00:00.000Z"_s);
        QVERIFY(keys.first().id != keys.last().id);
        QVERIFY(value(storage.keys.revoke(owner, keys.first().id)));
        QCOMPARE(value(storage.keys.ofAccount(owner)).size(), 1);

        const QList<StoredProject> projects { { u"p1"_s, u"Zoo"_s }, { u"p2"_s, u"Attic"_s } };
        QCOMPARE(value(storage.projects.ofAccount(owner)), projects);

        const auto first = *value(storage.branches.one(owner, u"b1"_s));
        const BranchDocument sent { .title = u"First"_s,
                                    .summary = u"s"_s,
                                    .whyForked = u"w"_s,
                                    .capturedText = u"Café first"_s,
                                    .appName = u"Éditeur"_s,
                                    .bundleID = u"org.editor"_s,
                                    .capturedAt = u"2026-01-01T00:00:00Z"_s };
        QVERIFY(first.document == sent);
        QCOMPARE(first.number, 1);
        QCOMPARE(first.receivedAt, u"2026-01-01T00:00:00.120Z"_s);
        QCOMPARE(first.screenshots.first().id, u"s1"_s);
        QCOMPARE(value(storage.screenshots.picture(owner, u"f00"_s)),
                 QByteArray::fromHex("00ff89504e47"));
        const auto second = *value(storage.branches.one(owner, u"b2"_s));
        QCOMPARE(second.projectName, u"Attic"_s);
        QCOMPARE(second.document.windowTitle, u""_s);

        QCOMPARE(value(storage.branches.find({ .accountID = owner, .limit = 1000 })).size(), 333);
        const auto hits = value(storage.branches.find({ .accountID = owner, .search = u"cafe"_s }));
        QCOMPARE(hits.size(), 1);
        QCOMPARE(hits.first().id, u"b1"_s);
        QVERIFY(!first.likelyDouble);
        QVERIFY(value(storage.branches.one(owner, u"b333"_s))->likelyDouble);
        QCOMPARE(Intruder(file).ask(u"PRAGMA foreign_key_check"_s), QVariant());
        QCOMPARE(Intruder(file).ask(u"PRAGMA integrity_check"_s), u"ok"_s);
    }

    void leavesAnOlderDatabaseAsItIsWhenAStepFails()
    {
        writeVersionOne(file);
        Intruder(file).tell(u"CREATE TABLE settings (in_the_way TEXT)"_s);
        (void)failure(Database::open({ .directory = directory->path() }));
        const Intruder intruder(file);
        QCOMPARE(intruder.ask(u"SELECT max(version) FROM schema_version"_s).toInt(), 1);
        QCOMPARE(intruder.ask(u"SELECT count(*) FROM branches"_s).toInt(), 333);
        QCOMPARE(
            intruder.ask(u"SELECT count(*) FROM sqlite_master WHERE name = 'accounts'"_s).toInt(),
            0);
    }

    void makesNothingWhereADatabaseMustExist()
    {
        const auto path = directory->filePath(u"not/there"_s);
        const auto error = failure(Database::open({ .directory = path, .mustExist = true }));
        QVERIFY(error.reason.contains(path + u"/inbox.sqlite"_s));
        QVERIFY(!QFileInfo::exists(directory->filePath(u"not"_s)));
        (void)open();
        QVERIFY(openDatabase({ .directory = directory->path(), .mustExist = true }) != nullptr);
    }

    void writesAheadInALog()
    {
        const auto database = open();
        QCOMPARE(Intruder(file).ask(u"PRAGMA journal_mode"_s), u"wal"_s);
        QCOMPARE(pragma(*database, u"synchronous"_s), 2);
        QCOMPARE(pragma(*database, u"foreign_keys"_s), 1);
    }

    void hasEverythingWhenTheFilesAreTakenAsTheyAre()
    {
        const auto database = open();
        Storage storage(*database);
        const auto owner = value(storage.accounts.all()).first().id;
        WriteGroup group(*database);
        const auto id = value(storage.branches.add(owner, sampleDocument(u"x"_s)));
        QVERIFY(!group.commit());
        // What a crash leaves: the files of this moment, without a close that tidies up.
        const QTemporaryDir copy;
        const auto files = QDir(directory->path()).entryList(QDir::Files);
        for (const auto& name : files)
            QVERIFY(QFile::copy(directory->filePath(name), copy.filePath(name)));
        const auto other = openDatabase({ .directory = copy.path() });
        QVERIFY(value(Storage(*other).branches.has(owner, id)));
    }

    void saysThatTheDiskIsFullAndGoesOnWhenThereIsRoom()
    {
        const auto database = open();
        Storage storage(*database);
        const auto owner = value(storage.accounts.all()).first().id;
        const auto first = value(storage.branches.add(owner, sampleDocument(u"first"_s)));
        const auto pages = pragma(*database, u"page_count"_s);
        (void)value(database->rows(u"PRAGMA max_page_count = %1"_s.arg(pages + 10)));
        const QByteArray large(1'000'000, 'x');

        QCOMPARE(failure(storage.screenshots.add(sampleShot(first, large), { 1, 1 })).kind,
                 StorageError::Kind::full);
        {
            WriteGroup group(*database);
            (void)value(storage.branches.add(owner, sampleDocument(u"lost"_s)));
            QCOMPARE(failure(storage.screenshots.add(sampleShot(first, large), { 1, 1 })).kind,
                     StorageError::Kind::full);
            QCOMPARE(failure(storage.branches.add(owner, sampleDocument(u"late"_s))).kind,
                     StorageError::Kind::full);
            const auto error = group.commit();
            QVERIFY(error.has_value());
            QCOMPARE(error->kind, StorageError::Kind::full);
        }
        QCOMPARE(titles(storage, owner), QStringList { u"first"_s });

        (void)value(database->rows(u"PRAGMA max_page_count = 1000000"_s));
        (void)value(storage.screenshots.add(sampleShot(first, large), { 1, 1 }));
        (void)value(storage.branches.add(owner, sampleDocument(u"second"_s)));
        QCOMPARE(titles(storage, owner), (QStringList { u"second"_s, u"first"_s }));
        QCOMPARE(Intruder(file).ask(u"PRAGMA integrity_check"_s), u"ok"_s);
    }

    void backsUpWhatIsThereWhileOthersWrite()
    {
        const auto database = open();
        Storage storage(*database);
        const auto owner = value(storage.accounts.all()).first().id;
        const auto id = value(storage.branches.add(owner, sampleDocument(u"kept"_s)));
        (void)value(storage.screenshots.add(sampleShot(id, "picture"), { 1, 1 }));
        const auto writer = open();
        WriteGroup group(*writer);
        (void)value(Storage(*writer).branches.add(owner, sampleDocument(u"later"_s)));

        const QTemporaryDir place;
        const auto copy = place.filePath(u"inbox.sqlite"_s);
        QVERIFY(!database->backupTo(copy));
        QVERIFY(!group.commit());
        QCOMPARE(QDir(place.path()).entryList(QDir::Files), QStringList { u"inbox.sqlite"_s });
        QCOMPARE(QFileInfo(copy).permissions() & ~(QFile::ReadUser | QFile::WriteUser),
                 QFile::ReadOwner | QFile::WriteOwner);
        const auto restored = openDatabase({ .directory = place.path() });
        Storage again(*restored);
        QCOMPARE(titles(again, owner), QStringList { u"kept"_s });
        const auto shots = value(again.branches.one(owner, id))->screenshots;
        QCOMPARE(value(again.screenshots.picture(owner, shots.first().sha256)), "picture");
        QCOMPARE(titles(storage, owner).size(), 2);
    }

    void replacesABackupOnlyWhenTold()
    {
        const auto database = open();
        const QTemporaryDir place;
        const auto path = place.filePath(u"copy"_s);
        QFile present(path);
        QVERIFY(present.open(QIODevice::WriteOnly));
        present.write("precious");
        present.close();
        const auto error = database->backupTo(path);
        QVERIFY(error.has_value());
        QVERIFY(error->reason.contains(path));
        QCOMPARE(QFileInfo(path).size(), 8);
        QVERIFY(!database->backupTo(path, Database::ExistingFile::replace));
        QVERIFY(QFileInfo(path).size() > 8);
        QCOMPARE(QDir(place.path()).entryList(QDir::Files).size(), 1);
    }

    void leavesNothingOfABackupThatFailed()
    {
        const auto database = open();
        const auto path = directory->filePath(u"no/such/directory/copy"_s);
        const auto error = database->backupTo(path);
        QVERIFY(error.has_value());
        QVERIFY(error->reason.contains(path));
        // A directory in the place that may be replaced: found out only at the very end.
        QVERIFY(QDir(directory->path()).mkpath(u"taken/x"_s));
        const auto before = QDir(directory->path()).entryList(QDir::Files);
        QVERIFY(database->backupTo(directory->filePath(u"taken"_s), Database::ExistingFile::replace)
                    .has_value());
        QCOMPARE(QDir(directory->path()).entryList(QDir::Files), before);
    }

    void reportsAFileThatIsNotADatabase()
    {
        QFile other(file);
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write(QByteArray(5000, 'x'));
        other.close();
        (void)failure(Database::open({ .directory = directory->path() }));
        QCOMPARE(QFileInfo(file).size(), 5000);
    }

    void reportsADirectoryThatCannotBeMade()
    {
        QFile other(directory->filePath(u"in-the-way"_s));
        QVERIFY(other.open(QIODevice::WriteOnly));
        const auto error = failure(Database::open({ .directory = other.fileName() + u"/data"_s }));
        QVERIFY(error.reason.contains(u"in-the-way/data"));
    }

    void readsOnlyTheRowsOfAPage_data()
    {
        QTest::addColumn<QString>("condition");
        QTest::addColumn<QString>("index");
        QTest::newRow("all") << u""_s << u"branches_in_order"_s;
        QTest::newRow("state") << u"AND done = 0"_s << u"branches_by_state"_s;
        QTest::newRow("project") << u"AND project_id = 'p'"_s << u"branches_by_project"_s;
        QTest::newRow("no project") << u"AND project_id IS NULL"_s << u"branches_by_project"_s;
        QTest::newRow("project and state")
            << u"AND done = 0 AND project_id = 'p'"_s << u"branches_by_project_and_state"_s;
    }

    void readsOnlyTheRowsOfAPage()
    {
        QFETCH(QString, condition);
        QFETCH(QString, index);
        const auto database = open();
        const auto plan = value(database->rows(
            uR"(EXPLAIN QUERY PLAN SELECT number FROM branches WHERE deleted_at IS NULL
                AND account_id = 'a' %1 AND number < 9 ORDER BY number DESC LIMIT 50)"_s.arg(
                condition)));
        QCOMPARE(plan.size(), 1);
        const auto text = plan.first().at(3).toString();
        QVERIFY2(text.contains(u"USING COVERING INDEX "_s + index + u" ("_s), qPrintable(text));
    }

private:
    std::unique_ptr<Database> open() { return openDatabase({ .directory = directory->path() }); }

    static int pragma(Database& database, const QString& name)
    {
        return value(database.rows(u"PRAGMA "_s + name)).first().first().toInt();
    }

    static QStringList titles(Storage& storage, const QString& owner)
    {
        QStringList list;
        const auto branches = value(storage.branches.find({ .accountID = owner }));
        for (const auto& branch : branches)
            list.append(branch.document.title);
        return list;
    }

    std::unique_ptr<QTemporaryDir> directory;
    QString file;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SqliteDatabaseTest)
#include "SqliteDatabaseTest.moc"
