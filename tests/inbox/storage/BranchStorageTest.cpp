#include "inbox/storage/BranchStorage.h"
#include "tests/inbox/agent/SampleDocuments.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

namespace {

using StoragePointer = std::unique_ptr<BranchStorage>;

constexpr QSize size(40, 30);

BranchDocument document(const QString& text)
{
    return { .title = text,
             .summary = u"s"_s,
             .whyForked = u"w"_s,
             .capturedText = text,
             .appName = u""_s,
             .bundleID = {},
             .capturedAt = u"2026-11-15T22:24:38Z"_s };
}

ScreenshotDocument screenshot(const QString& branchID, const QByteArray& picture)
{
    return { .picture = picture,
             .captureType = u"active_window"_s,
             .capturedAt = u"2026-11-15T22:24:39Z"_s,
             .branchID = branchID };
}

/// The value of a result that must be there; an empty one, and a failed test, otherwise.
template <typename Value>
Value value(const StorageResult<Value>& result)
{
    if (const auto* error = std::get_if<StorageError>(&result)) {
        QTest::qFail(qPrintable(error->reason), __FILE__, __LINE__);
        return {};
    }
    return std::get<Value>(result);
}

StoragePointer open(const QString& directory, std::chrono::milliseconds patience = 10s)
{
    auto result = BranchStorage::open({ .directory = directory, .patience = patience });
    if (auto* error = std::get_if<StorageError>(&result)) {
        QTest::qFail(qPrintable(error->reason), __FILE__, __LINE__);
        return {};
    }
    return std::move(std::get<StoragePointer>(result));
}

/// Another program's hand on the database file.
class Intruder
{
public:
    explicit Intruder(const QString& directory)
    {
        auto database = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
        database.setDatabaseName(directory + u"/inbox.sqlite"_s);
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

} // namespace

class BranchStorageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
    }

    void keepsEverythingForItsOwnerOnly()
    {
        const auto path = directory->filePath(u"a/b/data"_s);
        const auto storage = open(path);
        const auto open700 = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
            | QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
        const auto open600 = open700 & ~(QFile::ExeOwner | QFile::ExeUser);
        QCOMPARE(QFileInfo(path).permissions(), open700);
        const auto files = QDir(path).entryInfoList(QDir::Files);
        QVERIFY(!files.isEmpty());
        for (const auto& file : files)
            QCOMPARE(file.permissions(), open600);
    }

    void knowsOnlyTheKeysThatWereAdded()
    {
        const auto storage = open(directory->path());
        QVERIFY(!value(storage->hasAnyKey()));
        QVERIFY(!storage->addKey(u"desk"_s, "h1"));
        QVERIFY(value(storage->hasAnyKey()));
        QVERIFY(value(storage->hasKey("h1")));
        QVERIFY(!value(storage->hasKey("h2")));
        QVERIFY(!value(storage->hasKey("")));
        QVERIFY(storage->addKey(u"again"_s, "h1").has_value());
    }

    void listsProjectsInTheOrderOfTheirMaking()
    {
        const auto storage = open(directory->path());
        const auto zoo = value(storage->addProject(u"Zoo"_s));
        const auto attic = value(storage->addProject(u"Attic"_s));
        const QList<StoredProject> expected { { zoo, u"Zoo"_s }, { attic, u"Attic"_s } };
        QCOMPARE(value(storage->projects()), expected);
        QVERIFY(zoo != attic);
        QVERIFY(value(storage->hasProject(zoo)));
        QVERIFY(!value(storage->hasProject(u"zoo"_s)));
    }

    void givesABranchBackAsItWasSent()
    {
        const auto storage = open(directory->path());
        const auto garden = value(storage->addProject(u"Garden"_s));
        auto full = document(u"'; DROP TABLE branches; -- 𝄞\n"_s);
        full.projectID = garden;
        full.windowTitle = u"notes"_s;
        full.appName = u"Éditeur"_s;
        const auto id = value(storage->addBranch(full));
        const auto list = value(storage->branches());
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.first().id, id);
        QVERIFY(list.first().document == full);
        QCOMPARE(list.first().projectName, u"Garden"_s);
        QVERIFY(QDateTime::fromString(list.first().receivedAt, Qt::ISODateWithMs).isValid());
        QVERIFY(list.first().receivedAt.endsWith(u'Z'));
        QVERIFY(value(storage->hasBranch(id)));
        QVERIFY(!value(storage->hasBranch(u"none"_s)));
    }

    void keepsWhatIsAbsentApartFromWhatIsEmpty()
    {
        const auto storage = open(directory->path());
        auto empty = document(u"x"_s);
        empty.windowTitle = u""_s;
        (void)value(storage->addBranch(empty));
        (void)value(storage->addBranch(document(u"y"_s)));
        const auto list = value(storage->branches());
        QVERIFY(!list.first().document.windowTitle.has_value());
        QVERIFY(!list.first().document.projectID.has_value());
        QVERIFY(list.last().document.windowTitle.has_value());
    }

    void listsBranchesNewestFirstAlsoWithinAMillisecond()
    {
        const auto storage = open(directory->path());
        QStringList ids;
        for (int i = 0; i < 20; ++i)
            ids.prepend(value(storage->addBranch(document(QString::number(i)))));
        QStringList found;
        const auto list = value(storage->branches());
        for (const auto& branch : list)
            found.append(branch.id);
        QCOMPARE(found, ids);
    }

    void makesTwoBranchesOfADocumentThatCameTwice()
    {
        const auto storage = open(directory->path());
        const auto first = value(storage->addBranch(document(u"x"_s)));
        QVERIFY(value(storage->addBranch(document(u"x"_s))) != first);
        QCOMPARE(value(storage->branches()).size(), 2);
    }

    void refusesABranchOfAProjectThatIsNotThere()
    {
        const auto storage = open(directory->path());
        auto lost = document(u"x"_s);
        lost.projectID = u"none"_s;
        QVERIFY(std::holds_alternative<StorageError>(storage->addBranch(lost)));
        QVERIFY(value(storage->branches()).isEmpty());
    }

    void keepsEqualPicturesOnce()
    {
        const auto storage = open(directory->path());
        const auto one = value(storage->addBranch(document(u"one"_s)));
        const auto two = value(storage->addBranch(document(u"two"_s)));
        const auto picture = samplePng(size);
        const auto other = samplePng(size, 11);
        (void)value(storage->addScreenshot(screenshot(one, picture), size));
        const auto id = value(storage->addScreenshot(screenshot(two, picture), size));
        (void)value(storage->addScreenshot(screenshot(two, other), size));

        QCOMPARE(value(storage->latestPicture(one)), picture);
        QCOMPARE(value(storage->latestPicture(two)), other);
        const auto branches = value(storage->branches());
        const auto& ofTwo = branches.first().screenshots;
        QCOMPARE(ofTwo.size(), 2);
        QCOMPARE(ofTwo.first().id, id);
        QCOMPARE(ofTwo.first().sha256, branches.last().screenshots.first().sha256);
        QCOMPARE(QSize(ofTwo.first().width, ofTwo.first().height), size);
        QCOMPARE(ofTwo.last().byteSize, other.size());
        QCOMPARE(Intruder(directory->path()).ask(u"SELECT count(*) FROM pictures"_s).toInt(), 2);
    }

    void keepsNothingOfAScreenshotWithoutItsBranch()
    {
        const auto storage = open(directory->path());
        QVERIFY(std::holds_alternative<StorageError>(
            storage->addScreenshot(screenshot(u"none"_s, samplePng(size)), size)));
        QCOMPARE(Intruder(directory->path()).ask(u"SELECT count(*) FROM pictures"_s).toInt(), 0);
        const auto branch = value(storage->addBranch(document(u"goes on"_s)));
        (void)value(storage->addScreenshot(screenshot(branch, samplePng(size, 99)), size));
        QCOMPARE(Intruder(directory->path()).ask(u"SELECT count(*) FROM pictures"_s).toInt(), 1);
        QVERIFY(!value(storage->latestPicture(u"none"_s)).has_value());
    }

    void hasEverythingAfterARestart()
    {
        auto storage = open(directory->path());
        QVERIFY(!storage->addKey(u"desk"_s, "h1"));
        const auto branch = value(storage->addBranch(document(u"x"_s)));
        (void)value(storage->addScreenshot(screenshot(branch, samplePng(size)), size));
        storage.reset();
        storage = open(directory->path());
        QVERIFY(value(storage->hasKey("h1")));
        QCOMPARE(value(storage->branches()).first().id, branch);
        QCOMPARE(value(storage->latestPicture(branch)), samplePng(size));
    }

    void hasEverythingWhenTheFilesAreTakenAsTheyAre()
    {
        const auto storage = open(directory->path());
        const auto branch = value(storage->addBranch(document(u"x"_s)));
        // What a crash leaves: the files of this moment, without a close that tidies up.
        const QTemporaryDir copy;
        const auto files = QDir(directory->path()).entryList(QDir::Files);
        for (const auto& file : files)
            QVERIFY(QFile::copy(directory->filePath(file), copy.filePath(file)));
        QCOMPARE(value(open(copy.path())->branches()).first().id, branch);
    }

    void writesAheadInALog()
    {
        const auto storage = open(directory->path());
        QCOMPARE(Intruder(directory->path()).ask(u"PRAGMA journal_mode"_s), u"wal"_s);
    }

    void saysThatItIsBusyAfterItsPatienceWithAnotherWriter()
    {
        const auto storage = open(directory->path(), 50ms);
        {
            const Intruder intruder(directory->path());
            intruder.tell(u"BEGIN IMMEDIATE"_s);
            const auto result = storage->addBranch(document(u"x"_s));
            QVERIFY(std::holds_alternative<StorageError>(result));
            QCOMPARE(std::get<StorageError>(result).kind, StorageError::Kind::busy);
            QVERIFY(value(storage->branches()).isEmpty());
        }
        QVERIFY(!value(storage->addBranch(document(u"x"_s))).isEmpty());
    }

    void losesNothingWhenManyOpenAndWriteAtOnce()
    {
        constexpr int writers = 8;
        constexpr int each = 25;
        std::atomic<int> stored = 0;
        std::vector<std::jthread> threads;
        threads.reserve(writers);
        for (int i = 0; i < writers; ++i)
            threads.emplace_back([&] {
                const auto result = BranchStorage::open({ .directory = directory->path() });
                const auto* storage = std::get_if<StoragePointer>(&result);
                for (int n = 0; storage && n < each; ++n)
                    if (std::holds_alternative<QString>((*storage)->addBranch(document(u"x"_s))))
                        ++stored;
            });
        threads.clear();
        QCOMPARE(stored.load(), writers * each);
        QCOMPARE(value(open(directory->path())->branches()).size(), writers * each);
    }

    void leavesADatabaseOfALaterVersionAlone()
    {
        (void)open(directory->path());
        Intruder(directory->path()).tell(u"INSERT INTO schema_version (version) VALUES (1000)"_s);
        const auto result = BranchStorage::open({ .directory = directory->path() });
        QVERIFY(std::holds_alternative<StorageError>(result));
        QVERIFY(std::get<StorageError>(result).reason.contains(u"later version"));
    }

    void reportsAFileThatIsNotADatabase()
    {
        QFile file(directory->filePath(u"inbox.sqlite"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(5000, 'x'));
        file.close();
        const auto result = BranchStorage::open({ .directory = directory->path() });
        QVERIFY(std::holds_alternative<StorageError>(result));
        QCOMPARE(QFileInfo(file).size(), 5000);
    }

    void reportsADirectoryThatCannotBeMade()
    {
        QFile file(directory->filePath(u"in-the-way"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const auto result = BranchStorage::open({ .directory = file.fileName() + u"/data"_s });
        QVERIFY(std::holds_alternative<StorageError>(result));
        QVERIFY(std::get<StorageError>(result).reason.contains(u"in-the-way/data"));
    }

private:
    std::unique_ptr<QTemporaryDir> directory;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::BranchStorageTest)
#include "BranchStorageTest.moc"
