#include "inbox/agent/AgentApi.h"
#include "inbox/agent/AgentDocuments.h"
#include "inbox/http/HttpServer.h"
#include "inbox/storage/Database.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/storage/StorageSamples.h"

#include <QJsonArray>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

namespace {

constexpr QSize size(40, 30);
constexpr qsizetype mebibyte = 1024LL * 1024;
const auto fromAgent = "/api/branches/from-agent"_ba;

} // namespace

/// The agent's requests over real connections to a real database.
class AgentApiTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        database = openDatabase({ .directory = directory->path(), .patience = 50ms });
        storage = std::make_unique<Storage>(*database);
        owner = value(storage->accounts.named(u"owner"_s))->id;
        key = addKey(owner);
        changes.clear();
        api = std::make_unique<AgentApi>(*storage,
                                         [this](const QString& accountID, const QString& branchID) {
                                             changes.append(accountID + u' ' + branchID);
                                         });
        server = std::make_unique<HttpServer>(
            [this](const QList<HttpRequest>& requests) {
                QList<HttpResponse> responses;
                for (const auto& request : requests)
                    responses.append(api->answer(request));
                return responses;
            },
            HttpServerOptions {});
        auto opened = openListenSocket({ .host = u"127.0.0.1"_s, .port = 0 });
        port = std::get<ListenSocket>(opened).address.port;
        QVERIFY(server->start(std::move(std::get<ListenSocket>(opened))));
    }
    void cleanup()
    {
        server.reset();
        storage.reset();
        database.reset();
    }

    void listsTheProjects()
    {
        const auto empty = send("GET /api/projects");
        QCOMPARE(empty.status, 200);
        QCOMPARE(empty.body, "[]");
        const auto id = value(storage->projects.add(owner, u"Gärten"_s));
        const auto one = send("GET /api/projects");
        const QJsonArray expected { QJsonObject { { u"id"_s, id }, { u"name"_s, u"Gärten"_s } } };
        QCOMPARE(QJsonDocument::fromJson(one.body), QJsonDocument(expected));
        QVERIFY(one.head.contains("content-type: application/json"));
    }

    void takesABranchOfAProjectAndOfNone()
    {
        const auto project = value(storage->projects.add(owner, u"Garden"_s));
        const auto one = post(fromAgent, sampleBranch(project));
        QCOMPARE(one.status, 201);
        const auto two = post(fromAgent, sampleBranch());
        QCOMPARE(two.status, 201);
        const auto list = branches();
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.first().id, two.id(u"branch"_s));
        QCOMPARE(list.last().id, one.id(u"branch"_s));
        QCOMPARE(list.last().projectName, u"Garden"_s);
    }

    void offersNoArchivedProject()
    {
        const auto kept = value(storage->projects.add(owner, u"kept"_s));
        const auto archived = value(storage->projects.add(owner, u"archived"_s));
        QVERIFY(value(storage->projects.setArchived(owner, archived, true)));
        const auto list = QJsonDocument::fromJson(send("GET /api/projects").body);
        QCOMPARE(list.array().size(), 1);
        QCOMPARE(list[0][u"id"_s], kept);
    }

    void takesABranchOfAProjectThatWasArchivedMeanwhile()
    {
        const auto project = value(storage->projects.add(owner, u"Garden"_s));
        QVERIFY(value(storage->projects.setArchived(owner, project, true)));
        QCOMPARE(post(fromAgent, sampleBranch(project)).status, 201);
        QCOMPARE(branches().first().projectName, u"Garden"_s);
    }

    void keepsTheAccountsApart()
    {
        const auto stranger = *value(storage->accounts.add(u"stranger"_s));
        const auto foreignProject = value(storage->projects.add(stranger, u"Garden"_s));
        const auto foreignBranch = value(storage->branches.add(
            stranger, std::get<BranchDocument>(decodeBranch(toBytes(sampleBranch())))));
        QCOMPARE(send("GET /api/projects").body, "[]");
        const auto answer = post(fromAgent, sampleBranch(foreignProject));
        QCOMPARE(answer.status, 422);
        QCOMPARE(answer.code(), u"unknown_project"_s);
        const auto document = sampleScreenshot(foreignBranch, samplePng(size), size);
        QCOMPARE(postScreenshot(foreignBranch, document).status, 404);
        QVERIFY(branches().isEmpty());
        QVERIFY(branches(stranger).first().screenshots.isEmpty());
        QVERIFY(changes.isEmpty());

        key = addKey(stranger);
        QCOMPARE(post(fromAgent, sampleBranch(foreignProject)).status, 201);
        QCOMPARE(postScreenshot(foreignBranch, document).status, 201);
        QVERIFY(branches().isEmpty());
        QCOMPARE(branches(stranger).size(), 2);
        QVERIFY(std::all_of(changes.begin(), changes.end(), [&](const QString& change) {
            return change.startsWith(stranger);
        }));
    }

    void tellsWhatWasStored()
    {
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        QCOMPARE(changes, QStringList(owner + u' ' + branch));
        QCOMPARE(post(fromAgent, sampleBranch(u"nowhere"_s)).status, 422);
        QCOMPARE(send("POST " + fromAgent, "{}").status, 400);
        const auto bad = sampleScreenshot(branch, samplePng(size).chopped(1), size);
        QCOMPARE(postScreenshot(branch, bad).status, 422);
        QCOMPARE(changes.size(), 1);
        const auto good = sampleScreenshot(branch, samplePng(size), size);
        QCOMPARE(postScreenshot(branch, good).status, 201);
        QCOMPARE(changes, QStringList({ changes.first(), changes.first() }));
    }

    void takesTheSameBranchTwice()
    {
        const auto first = post(fromAgent, sampleBranch());
        const auto second = post(fromAgent, sampleBranch());
        QCOMPARE(first.status, 201);
        QCOMPARE(second.status, 201);
        QVERIFY(first.id(u"branch"_s) != second.id(u"branch"_s));
        const auto stored = branches();
        QCOMPARE(stored.size(), 2);
        QVERIFY(stored.first().likelyDouble && stored.last().likelyDouble);
    }

    void knowsNoKeyThatWasRevoked()
    {
        QCOMPARE(send("GET /api/projects").status, 200);
        const auto keyID = value(storage->keys.ofAccount(owner)).first().id;
        QVERIFY(value(storage->keys.revoke(owner, keyID)));
        QCOMPARE(send("GET /api/projects").status, 401);
    }

    void namesTheRouteWithoutWhatIsSecretInIt_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("route");
        const auto row = [](const char* path, const char* route) {
            QTest::newRow(path) << QByteArray(path) << QByteArray(route);
        };
        row("/api/projects", "/api/projects");
        row("/api/branches/from-agent", "/api/branches/from-agent");
        row("/api/branches/secret/screenshots", "/api/branches/{id}/screenshots");
        row("/api/branches/secret/secret", "/{unknown}");
        row("/api/branches/secret/x/screenshots", "/{unknown}");
        row("/api/secret", "/{unknown}");
        row("/secret", "/{unknown}");
    }
    void namesTheRouteWithoutWhatIsSecretInIt()
    {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, route);
        HttpRequest request;
        request.method = "POST";
        request.path = path;
        QCOMPARE(api->answer(request).route, route);
        request.headers.insert("authorization", "Bearer " + key);
        QCOMPARE(api->answer(request).route, route);
    }

    void takesABranchInChunks()
    {
        const auto body = toBytes(sampleBranch());
        RawHttp http(port);
        http.send(RawHttp::request("POST " + fromAgent,
                                   { authorization(),
                                     "Content-Type: application/json; charset=utf-8",
                                     "Transfer-Encoding: chunked" }));
        for (const auto& part : { body.left(10), body.mid(10) })
            http.send(QByteArray::number(part.size(), 16) + "\r\n" + part + "\r\n");
        http.send("0\r\n\r\n");
        QCOMPARE(http.receive().status, 201);
    }

    void storesAScreenshotWithItsBranch()
    {
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        const auto picture = samplePng(size, 300'000);
        const auto answer = postScreenshot(branch, sampleScreenshot(branch, picture, size));
        QCOMPARE(answer.status, 201);
        const auto screenshots = branches().first().screenshots;
        QCOMPARE(screenshots.size(), 1);
        QCOMPARE(screenshots.first().id, answer.id(u"screenshot"_s));
        QCOMPARE(screenshots.first().width, 40);
        QCOMPARE(value(storage->screenshots.picture(owner, screenshots.first().sha256)), picture);
    }

    void takesAScreenshotThatSaysNothingOfItsPicture()
    {
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        auto document = sampleScreenshot(branch, samplePng(size), size);
        for (const auto& field : { u"format"_s, u"width"_s, u"height"_s, u"byte_size"_s })
            document = changed(document, u"metadata.image."_s + field, QJsonValue::Null);
        QCOMPARE(postScreenshot(branch, document).status, 201);
        QCOMPARE(branches().first().screenshots.first().height, 30);
    }

    void tellsNothingToACallerWithoutAKnownKey_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::newRow("no header") << QByteArray("X-Other: 1");
        QTest::newRow("empty") << QByteArray("Authorization:");
        QTest::newRow("no scheme") << QByteArray("Authorization: KEY");
        QTest::newRow("scheme alone") << QByteArray("Authorization: Bearer");
        QTest::newRow("no key") << QByteArray("Authorization: Bearer ");
        QTest::newRow("another scheme") << QByteArray("Authorization: Basic KEY");
        QTest::newRow("another key") << "Authorization: Bearer " + generateApiKey();
        QTest::newRow("shortened") << QByteArray("Authorization: Bearer KEY").chopped(1);
        QTest::newRow("longer") << QByteArray("Authorization: Bearer KEYx");
        QTest::newRow("two keys") << QByteArray("Authorization: Bearer KEY KEY");
        QTest::newRow("its hash") << QByteArray("Authorization: Bearer HASH");
        QTest::newRow("in capitals") << QByteArray("Authorization: Bearer CAPITALS");
        QTest::newRow("statement") << QByteArray("Authorization: Bearer ' OR 1=1 --");
        QTest::newRow("not UTF-8") << QByteArray("Authorization: Bearer \xff\xfe");
    }
    void tellsNothingToACallerWithoutAKnownKey()
    {
        QFETCH(QByteArray, header);
        header.replace("KEY", key)
            .replace("HASH", hashSecret(key))
            .replace("CAPITALS", key.toUpper());
        if (QByteArray(QTest::currentDataTag()) == "shortened")
            header = "Authorization: Bearer " + key.chopped(1);
        for (const auto* line : { "GET /api/projects",
                                  "POST /api/branches/from-agent",
                                  "POST /api/branches/x/screenshots",
                                  "DELETE /api/projects",
                                  "GET /api/nothing" }) {
            RawHttp http(port);
            http.send(RawHttp::request(line, { header }, "not even JSON"));
            const auto answer = http.receive();
            QCOMPARE(answer.status, 401);
            QCOMPARE(answer.code(), u"unauthorized"_s);
            QVERIFY(answer.head.contains("www-authenticate: bearer"));
        }
        QVERIFY(branches().isEmpty());
    }

    void takesTheSchemeInAnyCase()
    {
        RawHttp http(port);
        http.send(RawHttp::request("GET /api/projects", { "authorization: bearer " + key }));
        QCOMPARE(http.receive().status, 200);
    }

    void knowsNoOtherPath_data()
    {
        QTest::addColumn<QByteArray>("path");
        for (const auto* path : { "/",
                                  "/api",
                                  "/api/",
                                  "/api/projects/",
                                  "//api/projects",
                                  "/API/projects",
                                  "/other/api/projects",
                                  "/api/branches",
                                  "/api/branches/x",
                                  "/api/branches/x/screenshots/y",
                                  "/api/branches/../projects",
                                  "/api/branches/from-agent%2F",
                                  "/api%2Fprojects",
                                  "/api/branches/..%2F..%2Fetc/screenshots",
                                  "/api/branches//screenshots",
                                  "/api/branches/%00/screenshots",
                                  "/api/branches/' OR 1=1 --/screenshots" })
            QTest::newRow(path) << QByteArray(path);
    }
    void knowsNoOtherPath()
    {
        QFETCH(QByteArray, path);
        // A blank ends the path on the wire.
        path.replace(' ', "%20");
        QCOMPARE(post(path, sampleBranch()).status, 404);
        QVERIFY(branches().isEmpty());
    }

    void namesTheMethodThatAPathTakes()
    {
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s).toLatin1();
        const auto projects = send("POST /api/projects");
        QCOMPARE(projects.status, 405);
        QVERIFY(projects.head.contains("allow: get, head"));
        for (const auto& line : { "GET " + fromAgent,
                                  "PUT " + fromAgent,
                                  "GET /api/branches/" + branch + "/screenshots" }) {
            const auto answer = send(line);
            QCOMPARE(answer.status, 405);
            QVERIFY(answer.head.contains("allow: post"));
        }
    }

    void takesNothingButJson_data()
    {
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<bool>("taken");
        QTest::newRow("plain") << QByteArray("Content-Type: application/json") << true;
        QTest::newRow("capitals") << QByteArray("Content-Type: Application/JSON;x=y") << true;
        QTest::newRow("none") << QByteArray("X-Other: 1") << false;
        QTest::newRow("text") << QByteArray("Content-Type: text/plain") << false;
        QTest::newRow("form") << QByteArray("Content-Type: multipart/form-data; boundary=x")
                              << false;
        QTest::newRow("nearly") << QByteArray("Content-Type: application/jsonx") << false;
    }
    void takesNothingButJson()
    {
        QFETCH(QByteArray, type);
        QFETCH(bool, taken);
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        const auto path = "/api/branches/" + branch.toLatin1() + "/screenshots";
        const auto picture = toBytes(sampleScreenshot(branch, samplePng(size), size));
        QCOMPARE(send("POST " + fromAgent, toBytes(sampleBranch()), type).status,
                 taken ? 201 : 415);
        QCOMPARE(send("POST " + path, picture, type).status, taken ? 201 : 415);
    }

    void refusesAWrongBodyAndNamesTheField_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("named");
        const auto good = sampleBranch();
        QTest::newRow("empty") << QByteArray() << u"the body"_s;
        QTest::newRow("list") << QByteArray("[]") << u"the body"_s;
        QTest::newRow("cut off") << toBytes(good).chopped(5) << u"the body"_s;
        QTest::newRow("nested") << QByteArray(500'000, '[') << u"the body"_s;
        QTest::newRow("not UTF-8") << toBytes(good).replace("cache", "\xc3\x28") << u"the body"_s;
        QTest::newRow("NUL") << toBytes(good).replace("{", QByteArray("\0{", 2)) << u"the body"_s;
        QTest::newRow("raw NUL in a text")
            << toBytes(good).replace("cache", QByteArray("a\0b", 3)) << u"title"_s;
        QTest::newRow("escaped NUL in a text")
            << toBytes(good).replace("cache", "a\\u0000b") << u"title"_s;
        QTest::newRow("missing") << toBytes(
            changed(good, u"context_snapshot.active_app.name"_s, QJsonValue(QJsonValue::Undefined)))
                                 << u"context_snapshot.active_app.name"_s;
        QTest::newRow("unknown") << toBytes(changed(good, u"colour"_s, u"red"_s)) << u"colour"_s;
    }
    void refusesAWrongBodyAndNamesTheField()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, named);
        const auto answer = send("POST " + fromAgent, body);
        QCOMPARE(answer.status, 400);
        QCOMPARE(answer.code(), u"invalid_body"_s);
        QVERIFY2(answer.message().contains(named), answer.body.constData());
        QVERIFY(branches().isEmpty());
    }

    void refusesAnUnknownProject()
    {
        const auto answer = post(fromAgent, sampleBranch(u"nowhere"_s));
        QCOMPARE(answer.status, 422);
        QVERIFY(answer.message().contains(u"project_id"));
        QVERIFY(branches().isEmpty());
    }

    void refusesAScreenshotOfAnUnknownBranch()
    {
        const auto answer
            = postScreenshot(u"nothere"_s, sampleScreenshot(u"nothere"_s, samplePng(size), size));
        QCOMPARE(answer.status, 404);
        QCOMPARE(answer.code(), u"unknown_branch"_s);
    }

    void refusesAScreenshotThatContradictsItself_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<int>("status");
        const auto jpeg = QString::fromLatin1(QByteArray("\xff\xd8\xff\xe0 jpeg").toBase64());
        QTest::newRow("no PNG") << u"image_base64"_s << QJsonValue(jpeg) << 422;
        QTest::newRow("nothing") << u"image_base64"_s << QJsonValue(u""_s) << 422;
        QTest::newRow("cut off") << u"image_base64"_s
                                 << QJsonValue(QString::fromLatin1(
                                        samplePng(size, 9000).left(3000).toBase64()))
                                 << 422;
        QTest::newRow("no Base64") << u"image_base64"_s << QJsonValue(u"%%%%"_s) << 400;
        QTest::newRow("width") << u"metadata.image.width"_s << QJsonValue(41) << 422;
        QTest::newRow("height") << u"metadata.image.height"_s << QJsonValue(29) << 422;
        QTest::newRow("length") << u"metadata.image.byte_size"_s << QJsonValue(1) << 422;
        QTest::newRow("branch") << u"metadata.branch.branch_id"_s << QJsonValue(u"b"_s) << 400;
        QTest::newRow("format") << u"metadata.image.format"_s << QJsonValue(u"gif"_s) << 400;
    }
    void refusesAScreenshotThatContradictsItself()
    {
        QFETCH(QString, path);
        QFETCH(QJsonValue, value);
        QFETCH(int, status);
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        const auto document = sampleScreenshot(branch, samplePng(size), size);
        const auto answer = postScreenshot(branch, changed(document, path, value));
        QCOMPARE(answer.status, status);
        QVERIFY2(answer.message().contains(path), answer.body.constData());
        QVERIFY(branches().first().screenshots.isEmpty());
    }

    void takesABranchUpToItsLimit()
    {
        auto body = toBytes(sampleBranch());
        body.append(QByteArray(mebibyte - body.size(), ' '));
        QCOMPARE(send("POST " + fromAgent, body).status, 201);
        const auto answer = send("POST " + fromAgent, body + ' ');
        QCOMPARE(answer.status, 413);
        QVERIFY(answer.message().contains(u"context_snapshot.captured_text"));
        QCOMPARE(send("POST " + fromAgent, QByteArray(20 * mebibyte, ' ')).status, 413);
        QCOMPARE(branches().size(), 1);
    }

    void takesAPictureUpToItsLimit()
    {
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        const auto header = samplePng(size, 0).size();
        const auto largest = samplePng(size, 8 * mebibyte - header);
        QCOMPARE(postScreenshot(branch, sampleScreenshot(branch, largest, size)).status, 201);
        const auto over = samplePng(size, 8 * mebibyte - header + 1);
        const auto answer = postScreenshot(branch, sampleScreenshot(branch, over, size));
        QCOMPARE(answer.status, 413);
        QVERIFY(answer.message().contains(u"image_base64"));
        const auto farOver = samplePng(size, 14 * mebibyte);
        QCOMPARE(postScreenshot(branch, sampleScreenshot(branch, farOver, size)).status, 413);
        QCOMPARE(branches().first().screenshots.size(), 1);
    }

    void takesAPictureOfAsManyPixelsAsABrowserCanShow()
    {
        const auto branch = post(fromAgent, sampleBranch()).id(u"branch"_s);
        const QSize most(10'000, 10'000);
        QCOMPARE(postScreenshot(branch, sampleScreenshot(branch, samplePng(most), most)).status,
                 201);
        for (const auto bomb :
             { QSize(10'000, 10'001), QSize(2147483647, 1), QSize(2147483647, 2147483647) }) {
            const auto answer
                = postScreenshot(branch, sampleScreenshot(branch, samplePng(bomb), bomb));
            QCOMPARE(answer.status, 422);
            QCOMPARE(answer.code(), u"too_many_pixels"_s);
        }
        QCOMPARE(branches().first().screenshots.size(), 1);
    }

    void storesNothingOfABodyThatIsCutOff()
    {
        RawHttp http(port);
        const auto whole = RawHttp::request("POST " + fromAgent,
                                            { authorization(), "Content-Type: application/json" },
                                            toBytes(sampleBranch()));
        http.send(whole.chopped(1));
        QVERIFY(http.flush());
        http.abort();
        QCOMPARE(send("GET /api/projects").status, 200);
        QVERIFY(branches().isEmpty());
    }

    void asksToComeAgainWhenTheDatabaseIsBusy()
    {
        {
            auto other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
            other.setDatabaseName(directory->filePath(u"inbox.sqlite"_s));
            QVERIFY(other.open());
            QSqlQuery(other).exec(u"BEGIN IMMEDIATE"_s);
            const auto answer = post(fromAgent, sampleBranch());
            QCOMPARE(answer.status, 503);
            QVERIFY(answer.head.contains("retry-after: 1"));
        }
        QSqlDatabase::removeDatabase(u"other"_s);
        QCOMPARE(post(fromAgent, sampleBranch()).status, 201);
    }

private:
    [[nodiscard]] QByteArray addKey(const QString& accountID)
    {
        auto fresh = generateApiKey();
        (void)value(storage->keys.add(accountID, u"test"_s, hashSecret(fresh)));
        return fresh;
    }

    [[nodiscard]] QList<StoredBranch> branches(const QString& accountID)
    {
        return value(storage->branches.find({ .accountID = accountID }));
    }
    [[nodiscard]] QList<StoredBranch> branches() { return branches(owner); }

    [[nodiscard]] QByteArray authorization() const { return "Authorization: Bearer " + key; }

    [[nodiscard]] RawAnswer send(const QByteArray& line,
                                 const QByteArray& body = {},
                                 const QByteArray& type = "Content-Type: application/json") const
    {
        RawHttp http(port);
        http.send(RawHttp::request(line, { authorization(), type }, body));
        return http.receive();
    }

    [[nodiscard]] RawAnswer post(const QByteArray& path, const QJsonObject& document) const
    {
        return send("POST " + path, toBytes(document));
    }

    [[nodiscard]] RawAnswer postScreenshot(const QString& branchID,
                                           const QJsonObject& document) const
    {
        return post("/api/branches/" + branchID.toUtf8() + "/screenshots", document);
    }

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<Database> database;
    std::unique_ptr<Storage> storage;
    std::unique_ptr<AgentApi> api;
    std::unique_ptr<HttpServer> server;
    QStringList changes; ///< Account and branch of every change that was told.
    QString owner;
    QByteArray key;
    quint16 port = 0;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::AgentApiTest)
#include "AgentApiTest.moc"
