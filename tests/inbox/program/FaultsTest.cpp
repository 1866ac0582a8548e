#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/program/InboxProcess.h"
#include "tests/inbox/program/PostingClients.h"
#include "tests/inbox/storage/PostgresServer.h"

#include <QTemporaryDir>
#include <QTest>

namespace quibel::inbox {

using namespace testing;

namespace {

bool holdsAll(const QHash<QString, QString>& all, const QHash<QString, QString>& some)
{
    return std::all_of(some.keyValueBegin(), some.keyValueEnd(), [&all](const auto& branch) {
        return all.value(branch.first) == branch.second;
    });
}

} // namespace

/// What remains when the machine or the database fails in the middle of the work.
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
        const auto found = inbox.keptBranches();
        QVERIFY(holdsAll(found, created));
        // At most one more for each client: stored, and its answer lost.
        QVERIFY(found.size() <= created.size() + 32);
        const auto texts = QSet<QString>(found.cbegin(), found.cend());
        QCOMPARE(texts.size(), found.size());

        QVERIFY(!inbox.serve().isEmpty());
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
        QVERIFY(holdsAll(inbox.keptBranches(), clients.created()));
        QVERIFY(inbox.stop());
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::FaultsTest)
#include "FaultsTest.moc"
