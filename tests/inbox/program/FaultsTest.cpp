#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/program/InboxProcess.h"
#include "tests/inbox/program/PostingClients.h"
#include "tests/inbox/storage/PostgresServer.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <sys/mount.h>

namespace quibel::inbox {

using namespace testing;

namespace {

/// A file system of its own that is soon full, for as long as it lives.
class SmallDisk
{
public:
    explicit SmallDisk(const QByteArray& size)
        : mounted(::mount("tmpfs",
                          path().constData(),
                          "tmpfs",
                          MS_NOSUID | MS_NODEV,
                          ("size=" + size).constData())
                  == 0)
    {
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk()
    {
        if (mounted)
            ::umount2(path().constData(), MNT_DETACH);
    }

    [[nodiscard]] bool isMounted() const { return mounted; }
    [[nodiscard]] QString filePath(const QString& name) const { return directory.filePath(name); }

    /// Takes all the room that is left.
    [[nodiscard]] bool fill() const
    {
        QFile file(filePath(u"filling"_s));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return false;
        const QByteArray block(4096, 'x');
        while (file.write(block) == block.size()) { }
        return true;
    }
    [[nodiscard]] bool makeRoom() const { return QFile::remove(filePath(u"filling"_s)); }

private:
    [[nodiscard]] QByteArray path() const { return directory.path().toLocal8Bit(); }

    QTemporaryDir directory;
    bool mounted;
};

/// The texts of all branches that are kept, by their ids.
QHash<QString, QString> kept(const InboxProcess& inbox)
{
    QHash<QString, QString> branches;
    const auto listed = inbox.run({ u"branches"_s, u"--json"_s });
    for (const auto& branch : QJsonDocument::fromJson(listed.output).array())
        branches.insert(branch[u"id"_s].toString(), branch[u"title"_s].toString());
    return branches;
}

bool holdsAll(const QHash<QString, QString>& all, const QHash<QString, QString>& some)
{
    return std::all_of(some.keyValueBegin(), some.keyValueEnd(), [&all](const auto& branch) {
        return all.value(branch.first) == branch.second;
    });
}

} // namespace

/// What remains when the machine, the disk or the database fails in the middle of the work.
class FaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsEveryBranchThatItAnsweredWith201WhenItIsKilled()
    {
        const QTemporaryDir directory;
        InboxProcess inbox({ u"--data"_s, directory.filePath(u"data"_s) });
        const auto key = inbox.createKey();
        const auto url = inbox.serve();
        PostingClients clients(url, key, 32);
        QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= 1000, 60'000);
        inbox.kill();
        clients.stop();

        const auto created = clients.created();
        QVERIFY(created.size() >= 1000);
        QCOMPARE(clients.count(201), int(created.size()));
        const auto found = kept(inbox);
        QVERIFY(holdsAll(found, created));
        // At most one more for each client: stored, and its answer lost.
        QVERIFY(found.size() <= created.size() + 32);
        const auto texts = QSet<QString>(found.cbegin(), found.cend());
        QCOMPARE(texts.size(), found.size());

        QVERIFY(!inbox.serve().isEmpty());
        QVERIFY(inbox.stop());
    }

    void refusesWhileTheDiskIsFullAndGoesOnAfterwards()
    {
        const SmallDisk disk("4m");
        QVERIFY2(disk.isMounted(), "this test mounts a small file system: it has to run as root");
        InboxProcess inbox({ u"--data"_s, disk.filePath(u"data"_s) });
        const auto key = inbox.createKey();
        const auto url = inbox.serve();
        PostingClients clients(url, key, 8);
        QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= 20, 30'000);
        QVERIFY(disk.fill());
        const auto refusals = [&clients] { return clients.count(507) + clients.count(503); };
        QTRY_VERIFY_WITH_TIMEOUT(refusals() >= 20, 30'000);
        const auto before = clients.createdCount();
        QVERIFY(disk.makeRoom());
        QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= before + 20, 30'000);
        clients.stop();

        QCOMPARE(clients.count(0), 0);
        QCOMPARE(clients.count(201) + refusals(), int(clients.createdCount()) + refusals());
        QCOMPARE(kept(inbox), clients.created());
        QVERIFY(inbox.stop());
    }

    void servesAgainWhenPostgreSqlIsBack()
    {
        PostgresServer server;
        QVERIFY2(server.start(), qPrintable(server.problem()));
        InboxProcess inbox({ u"--database"_s, server.newDatabase().toString(QUrl::FullyEncoded) });
        const auto key = inbox.createKey();
        const auto url = inbox.serve();
        PostingClients clients(url, key, 8);
        for (int round = 0; round < 2; ++round) {
            const auto before = clients.createdCount();
            QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= before + 50, 30'000);
            server.stop();
            const auto refused = clients.count(503);
            QTRY_VERIFY_WITH_TIMEOUT(clients.count(503) >= refused + 20, 30'000);
            QVERIFY(server.start());
        }
        const auto before = clients.createdCount();
        QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= before + 50, 30'000);
        clients.stop();

        QCOMPARE(clients.count(0), 0);
        QVERIFY(holdsAll(kept(inbox), clients.created()));
        QVERIFY(inbox.stop());
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::FaultsTest)
#include "FaultsTest.moc"
