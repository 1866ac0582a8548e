#include "inbox/program/RequestRouter.h"
#include "inbox/storage/Database.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/storage/StorageSamples.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

namespace quibel::inbox {

using namespace testing;

namespace {

HttpRequest request(const QByteArray& method, const QByteArray& path)
{
    HttpRequest result;
    result.method = method;
    result.path = path;
    result.headers = { { "host", "localhost:8787" } };
    result.clientIsLocal = true;
    return result;
}

} // namespace

class RequestRouterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        database = openDatabase({ .directory = directory->path() });
        storage = std::make_unique<Storage>(*database);
        router = std::make_unique<RequestRouter>(
            *database, *storage, RequestRouter::Options { .metrics = [] { return "m 1\n"_ba; } });
        const auto owner = value(storage->accounts.named(u"owner"_s))->id;
        key = generateApiKey();
        QVERIFY(!value(storage->keys.add(owner, u"agent"_s, hashSecret(key))).isEmpty());
    }
    void cleanup()
    {
        router.reset();
        storage.reset();
        database.reset();
    }

    void givesEachRequestToThePartThatAnswersIt()
    {
        const auto answers = router->answer({ request("GET", "/healthz"),
                                              request("GET", "/metrics"),
                                              request("GET", "/api/projects"),
                                              request("GET", "/sign-in"),
                                              request("POST", "/healthz"),
                                              request("POST", "/metrics") });
        QCOMPARE(answers.size(), 6);
        QCOMPARE(answers.at(0).status, 200);
        QCOMPARE(answers.at(1).body, "m 1\n"_ba);
        QCOMPARE(answers.at(2).status, 401);
        QVERIFY(answers.at(3).headers.value("Content-Type").startsWith("text/html"));
        QCOMPARE(answers.at(4).status, 405);
        QCOMPARE(answers.at(5).status, 405);
        QList<QByteArray> routes;
        for (const auto& answer : answers)
            routes.append(answer.route);
        QCOMPARE(
            routes,
            (QList<QByteArray> {
                "/healthz", "/metrics", "/api/projects", "/sign-in", "/healthz", "/metrics" }));
    }

    void tellsItsMetricsToThisMachineOnly()
    {
        auto fromElsewhere = request("GET", "/metrics");
        fromElsewhere.clientIsLocal = false;
        const auto answers = router->answer({ fromElsewhere });
        QCOMPARE(answers.first().status, 403);
        QVERIFY(!answers.first().body.contains("m 1"));
    }

    void answersOnlyToNamesOfThisMachine_data()
    {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<bool>("local");
        const auto row = [](const char* host, bool local) {
            QTest::newRow(host) << QByteArray(host) << local;
        };
        row("localhost:8787", true);
        row("LOCALHOST", true);
        row("127.0.0.1:8787", true);
        row("[::1]:8787", true);
        row("evil.example:8787", false);
        row("localhost.evil.example", false);
        row("127.0.0.1.evil.example", false);
        row("", false);
    }
    void answersOnlyToNamesOfThisMachine()
    {
        QFETCH(QByteArray, host);
        QFETCH(bool, local);
        for (const auto& path :
             { "/sign-in"_ba, "/api/projects"_ba, "/web/session"_ba, "/metrics"_ba }) {
            auto named = request("GET", path);
            named.headers.insert("host", host);
            QCOMPARE(router->answer({ named }).first().status != 421, local);
        }
    }

    void answersToAnyNameWhenItIsToBeReachedFromElsewhere()
    {
        RequestRouter open(*database, *storage, { .localNamesOnly = false, .metrics = [] {
                                                     return QByteArray();
                                                 } });
        auto named = request("GET", "/sign-in");
        named.headers.insert("host", "inbox.example");
        QCOMPARE(open.answer({ named }).first().status, 200);
    }

    void keepsWhatCameTogether()
    {
        const auto answers = router->answer({ post(u"one"_s), post(u"two"_s), projects() });
        QCOMPARE(answers.at(0).status, 201);
        QCOMPARE(answers.at(1).status, 201);
        QCOMPARE(answers.at(2).status, 200);
        QCOMPARE(titles(), (QStringList { u"two"_s, u"one"_s }));
    }

    void refusesAllThatCameTogetherWhenItCannotBeKept()
    {
        const auto pages = value(database->rows(u"PRAGMA page_count"_s)).first().first().toInt();
        const auto limit = u"PRAGMA max_page_count = %1"_s;
        QVERIFY(!value(database->rows(limit.arg(pages + 4))).isEmpty());
        const auto answers
            = router->answer({ post(u"small"_s), post(QString(200'000, u'x')), projects() });
        for (const auto& answer : answers)
            QCOMPARE(answer.status, 507);
        QCOMPARE(answers.at(0).route, "/api/branches/from-agent"_ba);
        QCOMPARE(titles(), QStringList());

        QVERIFY(!value(database->rows(limit.arg(1'000'000))).isEmpty());
        QCOMPARE(router->answer({ post(u"small"_s) }).first().status, 201);
        QCOMPARE(titles(), QStringList { u"small"_s });
    }

    void keepsNoReaderWaitingForAnotherProcessThatWrites()
    {
        const auto other = openDatabase({ .directory = directory->path() });
        (void)value(other->rows(u"BEGIN IMMEDIATE"_s));
        QElapsedTimer time;
        time.start();
        QCOMPARE(router->answer({ projects() }).first().status, 200);
        QVERIFY(time.elapsed() < 5000);
        (void)value(other->rows(u"ROLLBACK"_s));
        QVERIFY(!lastUse().has_value());
        QCOMPARE(router->answer({ projects() }).first().status, 200);
        QVERIFY(lastUse().has_value());
    }

    void answersReadersAlsoWhenNothingCanBeWritten()
    {
        (void)value(database->rows(u"PRAGMA query_only = ON"_s));
        QCOMPARE(router->answer({ projects() }).first().status, 200);
        QVERIFY(!lastUse().has_value());
        (void)value(database->rows(u"PRAGMA query_only = OFF"_s));
        QCOMPARE(router->answer({ projects() }).first().status, 200);
        QVERIFY(lastUse().has_value());
    }

private:
    [[nodiscard]] std::optional<QString> lastUse() const
    {
        const auto owner = value(storage->accounts.named(u"owner"_s))->id;
        return value(storage->keys.ofAccount(owner)).first().lastUsedAt;
    }

    [[nodiscard]] HttpRequest projects() const
    {
        auto result = request("GET", "/api/projects");
        result.headers.insert("authorization", "Bearer " + key);
        return result;
    }

    [[nodiscard]] HttpRequest post(const QString& title) const
    {
        auto document = sampleBranch();
        document[u"title"_s] = title;
        auto result = request("POST", "/api/branches/from-agent");
        result.headers.insert("authorization", "Bearer " + key);
        result.headers.insert("content-type", "application/json");
        result.body = toBytes(document);
        return result;
    }

    [[nodiscard]] QStringList titles() const
    {
        const auto owner = value(storage->accounts.named(u"owner"_s))->id;
        QStringList list;
        for (const auto& branch : value(storage->branches.find({ .accountID = owner })))
            list.append(branch.document.title);
        return list;
    }

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<Database> database;
    std::unique_ptr<Storage> storage;
    std::unique_ptr<RequestRouter> router;
    QByteArray key;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::RequestRouterTest)
#include "RequestRouterTest.moc"
