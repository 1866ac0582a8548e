#include "inbox/http/HttpServer.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/web/WebSiteFixture.h"

#include <QRegularExpression>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>

namespace quibel::inbox {

using namespace testing;

namespace {

const QList<QByteArray> pages { "/", "/settings" };

/// Every request that changes something.
const QList<QPair<QByteArray, QByteArray>> changes {
    { "PATCH", "/web/branches/x" }, { "POST", "/web/projects" }, { "PATCH", "/web/projects/x" },
    { "POST", "/web/keys" },        { "DELETE", "/web/keys/x" }, { "POST", "/sign-out" },
};

const QList<QByteArray> readings { "/web/session",  "/web/branches", "/web/branches/x",
                                   "/web/projects", "/web/keys",     "/web/events",
                                   "/pictures/x",   "/web/nothing" };

} // namespace

/// Who may see what of the site, and how browsers are told to treat it.
class WebSiteTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        web = std::make_unique<WebSiteFixture>();
        owner = web->signedIn(web->ownerID());
    }

    void sendsWhoeverIsNotSignedInToTheSignIn_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("location");
        const auto row = [](const char* target, const char* location) {
            QTest::newRow(target) << QByteArray(target) << QByteArray(location);
        };
        row("/", "/sign-in");
        row("/settings", "/sign-in?next=%2Fsettings");
        row("/?search=a%20b&project=p", "/sign-in?next=%2F%3Fproject%3Dp%26search%3Da%2520b");
        row("/?x=%0d%0aSet-Cookie:%20y", "/sign-in?next=%2F%3Fx%3D%250D%250ASet-Cookie%253A%2520y");
    }
    void sendsWhoeverIsNotSignedInToTheSignIn()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, location);
        for (const auto& nobody : nobodies()) {
            const auto answer = web->get(nobody, target);
            QCOMPARE(answer.status, 303);
            QCOMPARE(answer.headers.value("Location"), location);
            QCOMPARE(answer.headers.value("Cache-Control"), "no-store");
            QVERIFY(answer.body.isEmpty());
        }
    }

    void tellsNothingToWhoeverIsNotSignedIn()
    {
        for (const auto& nobody : nobodies()) {
            for (const auto& path : readings) {
                const auto answer = web->get(nobody, path);
                QCOMPARE(answer.status, 401);
                QCOMPARE(web->codeOf(answer), u"signed_out"_s);
                QVERIFY(!answer.events);
            }
            for (const auto& [method, path] : changes)
                QCOMPARE(web->send(nobody, method, path).status, 401);
        }
    }

    void changesNothingWithoutTheTokenOfTheSession()
    {
        const auto other = web->signedIn(owner.accountID);
        auto longer = owner.csrfToken + 'x';
        for (const auto& token : { QByteArray(),
                                   QByteArray("x"),
                                   owner.csrfToken.chopped(1),
                                   longer,
                                   owner.csrfToken.toUpper(),
                                   other.csrfToken,
                                   owner.cookie.split('=').last() }) {
            const Browser forged { owner.accountID, owner.cookie, token };
            for (const auto& [method, path] : changes) {
                const auto answer = web->send(forged, method, path, { { u"name"_s, u"forged"_s } });
                QCOMPARE(answer.status, 403);
                QCOMPARE(web->codeOf(answer), u"wrong_csrf_token"_s);
            }
        }
        QCOMPARE(web->get(owner, "/web/projects").body, "[]");
        QCOMPARE(web->get(owner, "/web/keys").body, "[]");
    }

    void changesNothingForAnotherSite_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("taken");
        const auto row = [](const char* header, const char* value, bool taken) {
            QTest::addRow("%s: %s", header, value)
                << QByteArray(header) << QByteArray(value) << taken;
        };
        row("origin", "http://localhost:8787", true);
        row("origin", "http://LOCALHOST:8787", true);
        row("origin", "https://localhost:8787", false);
        row("origin", "http://localhost", false);
        row("origin", "http://localhost:8788", false);
        row("origin", "http://localhost:8787.example", false);
        row("origin", "http://evil.example", false);
        row("origin", "null", false);
        row("origin", "", false);
        row("sec-fetch-site", "same-origin", true);
        row("sec-fetch-site", "none", true);
        row("sec-fetch-site", "same-site", false);
        row("sec-fetch-site", "cross-site", false);
        row("sec-fetch-site", "anything", false);
    }
    void changesNothingForAnotherSite()
    {
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, value);
        QFETCH(bool, taken);
        auto change = web->withJson(web->request(owner, "POST", "/web/projects"),
                                    { { u"name"_s, u"Garden"_s } });
        change.headers.insert(header, value);
        QCOMPARE(web->site.answer(change).status, taken ? 201 : 403);
        auto signIn
            = web->withJson(web->request({}, "POST", "/sign-in"),
                            { { u"account"_s, u"owner"_s }, { u"password"_s, u"wrong"_s } });
        signIn.headers.insert(header, value);
        QCOMPARE(web->site.answer(signIn).status, taken ? 401 : 403);
        auto reading = web->request(owner, "GET", "/web/projects");
        reading.headers.insert(header, value);
        QCOMPARE(web->site.answer(reading).status, 200);
    }

    void takesTheUsualPortForWritten()
    {
        auto change = web->withJson(web->request(owner, "POST", "/web/projects"),
                                    { { u"name"_s, u"Garden"_s } });
        change.headers["host"] = "inbox.example:443";
        change.headers["origin"] = "https://inbox.example";
        change.headers["cookie"] = "__Host-" + owner.cookie;
        change.isSecure = true;
        QCOMPARE(web->site.answer(change).status, 201);
        change.headers["host"] = "inbox.example:80";
        QCOMPARE(web->site.answer(change).status, 403);
    }

    void wantsToKnowTheHost_data()
    {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<bool>("taken");
        const auto row = [](const char* host, bool taken) {
            QTest::newRow(host) << QByteArray(host) << taken;
        };
        row("localhost", true);
        row("127.0.0.1:8787", true);
        row("[::1]:8787", true);
        row("inbox.example", true);
        row("", false);
        row("a b", false);
        row("a/b", false);
        row("user@host", false);
        row("host:port", false);
        row("host:123456", false);
        row("host\"><script>", false);
        row("h\xc3\xb6st", false);
    }
    void wantsToKnowTheHost()
    {
        QFETCH(QByteArray, host);
        QFETCH(bool, taken);
        auto request = web->request(owner, "GET", "/web/session");
        request.headers["host"] = host;
        QCOMPARE(web->site.answer(request).status, taken ? 200 : 400);
        request.headers.remove("host");
        QCOMPARE(web->site.answer(request).status, 400);
    }

    void showsThePages()
    {
        QByteArrayList bodies;
        for (const auto& path : pages) {
            const auto answer = web->get(owner, path);
            QCOMPARE(answer.status, 200);
            QCOMPARE(answer.headers.value("Content-Type"), "text/html; charset=utf-8");
            QCOMPARE(answer.headers.value("Cache-Control"), "no-store");
            bodies.append(answer.body);
        }
        const auto signIn = web->get({}, "/sign-in?next=%2Fsettings");
        QCOMPARE(signIn.status, 200);
        bodies.append(signIn.body);
        for (const auto& body : bodies) {
            QVERIFY(body.startsWith("<!doctype html>"));
            QCOMPARE(bodies.count(body), 1);
        }
    }

    void handsOutWhatThePagesLoad()
    {
        QSet<QByteArray> seen;
        QByteArrayList waiting { "/", "/settings", "/sign-in" };
        while (!waiting.isEmpty()) {
            const auto path = waiting.takeFirst();
            const auto answer = web->get(owner, path);
            QVERIFY2(answer.status == 200, path.constData());
            for (const auto& link : linksIn(answer.body))
                if (!seen.contains(link)) {
                    seen.insert(link);
                    waiting.append(link);
                }
        }
        QVERIFY(seen.size() > 4);
    }

    void hasNoInlineScriptsAndStyles()
    {
        static const QRegularExpression inlined(
            uR"(<script(?![^>]*\ssrc=)|<style|\sstyle=|\son[a-z]+=|javascript:|https?://)"_s,
            QRegularExpression::CaseInsensitiveOption);
        for (const auto* path : { "/", "/settings", "/sign-in" }) {
            const auto body = QString::fromUtf8(web->get(owner, path).body);
            QVERIFY2(!inlined.match(body).hasMatch(),
                     qPrintable(inlined.match(body).captured() + QLatin1String(path)));
        }
    }

    void handsOutAnAssetOnlyWhenItChanged()
    {
        const QByteArray path("/assets/icon.svg");
        const auto answer = web->get({}, path);
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.headers.value("Content-Type"), "image/svg+xml");
        QCOMPARE(answer.headers.value("Cache-Control"), "no-cache");
        QCOMPARE(answer.route, "/assets/{file}");
        const auto tag = answer.headers.value("ETag");
        QVERIFY(tag.size() > 10 && tag.startsWith('"') && tag.endsWith('"'));

        auto again = web->request({}, "GET", path);
        for (const auto& known : { tag, "W/" + tag, "\"x\", " + tag, QByteArray("*") }) {
            again.headers["if-none-match"] = known;
            const auto unchanged = web->site.answer(again);
            QCOMPARE(unchanged.status, 304);
            QCOMPARE(unchanged.headers.value("ETag"), tag);
            QVERIFY(unchanged.body.isEmpty());
        }
        for (const auto& other : { QByteArray("\"x\""), tag.mid(1).chopped(1), QByteArray() }) {
            again.headers["if-none-match"] = other;
            QCOMPARE(web->site.answer(again).status, 200);
        }
    }

    void namesTheTypeOfScriptsAndStyles()
    {
        QCOMPARE(web->get({}, "/assets/style.css").headers.value("Content-Type"),
                 "text/css; charset=utf-8");
        QCOMPARE(web->get({}, "/assets/branches.js").headers.value("Content-Type"),
                 "text/javascript; charset=utf-8");
    }

    void hasNothingElse_data()
    {
        QTest::addColumn<QByteArray>("path");
        for (const auto* path : { "/nothing",
                                  "//",
                                  "/index.html",
                                  "/assets",
                                  "/assets/",
                                  "/assets/index.html",
                                  "/assets/settings.html",
                                  "/assets/nothing.js",
                                  "/assets/../index.html",
                                  "/assets/..%2Findex.html",
                                  "/assets/%2e%2e/style.css",
                                  "/assets/./style.css",
                                  "/assets//style.css",
                                  "/assets/style.css/",
                                  "/assets/style.css%00",
                                  "/assets/../../../../etc/passwd",
                                  "/assets/..%2f..%2f..%2fetc%2fpasswd",
                                  "/assets//etc/passwd",
                                  "/assets/:/inbox/page/style.css",
                                  "/settings/",
                                  "/sign-out/",
                                  "/SETTINGS",
                                  "/robots.txt" })
            QTest::newRow(path) << QByteArray(path);
    }
    void hasNothingElse()
    {
        QFETCH(QByteArray, path);
        const auto answer = web->get(owner, path);
        QCOMPARE(answer.status, 404);
        QVERIFY(!web->codeOf(answer).isEmpty());
    }

    void namesTheMethodsThatAPathTakes_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("allowed");
        const auto row = [](const char* method, const char* path, const char* allowed) {
            QTest::addRow("%s %s", method, path)
                << QByteArray(method) << QByteArray(path) << QByteArray(allowed);
        };
        row("POST", "/", "GET, HEAD");
        row("PUT", "/settings", "GET, HEAD");
        row("PUT", "/sign-in", "GET, HEAD, POST");
        row("GET", "/sign-out", "POST");
        row("POST", "/sign-in/token", "GET, HEAD");
        row("POST", "/assets/style.css", "GET, HEAD");
        row("OPTIONS", "/", "GET, HEAD");
    }
    void namesTheMethodsThatAPathTakes()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, allowed);
        const auto answer = web->send(owner, method, path);
        QCOMPARE(answer.status, 405);
        QCOMPARE(answer.headers.value("Allow"), allowed);
    }

    void tellsBrowsersToKeepEverythingElseOut()
    {
        auto wrongHost = web->request(owner, "GET", "/");
        wrongHost.headers["host"] = "";
        auto elsewhere = web->request(owner, "POST", "/web/keys");
        elsewhere.headers["origin"] = "null";
        QList<HttpResponse> answers { web->site.answer(wrongHost), web->site.answer(elsewhere) };
        for (const auto& path :
             pages + readings + QByteArrayList { "/sign-in", "/assets/icon.svg", "/x" }) {
            answers.append(web->get(owner, path));
            answers.append(web->get({}, path));
        }
        for (const auto& [method, path] : changes) {
            answers.append(web->send({}, method, path));
            answers.append(web->send(owner, method, path));
        }
        for (const auto& answer : std::as_const(answers)) {
            QCOMPARE(answer.headers.value("Content-Security-Policy"),
                     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                     "connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors "
                     "'none'; require-trusted-types-for 'script'");
            QCOMPARE(answer.headers.value("X-Content-Type-Options"), "nosniff");
            QCOMPARE(answer.headers.value("Referrer-Policy"), "no-referrer");
            QCOMPARE(answer.headers.value("Cross-Origin-Opener-Policy"), "same-origin");
            QCOMPARE(answer.headers.value("Cross-Origin-Resource-Policy"), "same-origin");
            QVERIFY(!answer.headers.contains("Access-Control-Allow-Origin"));
        }
    }

    void namesTheRouteWithoutWhatIsSecretInIt_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("route");
        const auto row = [](const char* path, const char* route) {
            QTest::newRow(path) << QByteArray(path) << QByteArray(route);
        };
        row("/", "/");
        row("/settings", "/settings");
        row("/sign-in", "/sign-in");
        row("/sign-in/secret", "/sign-in/{token}");
        row("/sign-in/secret/secret", "/{unknown}");
        row("/sign-out", "/sign-out");
        row("/assets/secret", "/assets/{file}");
        row("/pictures/secret", "/pictures/{sha256}");
        row("/web/session", "/web/session");
        row("/web/branches", "/web/branches");
        row("/web/branches/secret", "/web/branches/{id}");
        row("/web/projects", "/web/projects");
        row("/web/projects/secret", "/web/projects/{id}");
        row("/web/keys", "/web/keys");
        row("/web/keys/secret", "/web/keys/{id}");
        row("/web/events", "/web/events");
        row("/web/secret", "/{unknown}");
        row("/secret", "/{unknown}");
    }
    void namesTheRouteWithoutWhatIsSecretInIt()
    {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, route);
        QCOMPARE(web->get({}, path).route, route);
        QCOMPARE(web->get(owner, path).route, route);
        QCOMPARE(web->send(owner, "PUT", path).route, route);
    }

    void asksToComeAgainWhenTheDatabaseIsBusy()
    {
        WebSiteFixture impatient(std::chrono::milliseconds(50));
        const auto browser = impatient.signedIn(impatient.ownerID());
        {
            auto other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
            other.setDatabaseName(impatient.directory.filePath(u"inbox.sqlite"_s));
            QVERIFY(other.open());
            QSqlQuery(other).exec(u"BEGIN IMMEDIATE"_s);
            const auto answer
                = impatient.send(browser, "POST", "/web/projects", { { u"name"_s, u"Garden"_s } });
            QCOMPARE(answer.status, 503);
            QCOMPARE(answer.headers.value("Retry-After"), "1");
            QCOMPARE(impatient.get(browser, "/web/projects").status, 200);
        }
        QSqlDatabase::removeDatabase(u"other"_s);
    }

    void servesABrowserOverItsConnection()
    {
        HttpServer server(
            [this](const QList<HttpRequest>& requests) {
                QList<HttpResponse> responses;
                for (const auto& request : requests)
                    responses.append(web->site.answer(request));
                return responses;
            },
            HttpServerOptions {});
        auto opened = openListenSocket({ .host = u"127.0.0.1"_s, .port = 0 });
        const auto port = std::get<ListenSocket>(opened).address.port;
        QVERIFY(server.start(std::move(std::get<ListenSocket>(opened))));
        const auto receive = [&](const QByteArray& line,
                                 const QList<QByteArray>& headers,
                                 const QByteArray& body = {}) {
            RawHttp http(port);
            http.send(RawHttp::request(line, headers, body));
            return http.receive(line.startsWith("HEAD"));
        };

        QVERIFY(receive("GET /settings", {}).head.contains("location: /sign-in?next=%2fsettings"));
        QCOMPARE(receive("GET /assets/..%2Findex.html", {}).status, 404);
        QCOMPARE(receive("GET /assets/../index.html", {}).status, 404);
        QVERIFY(!web->storage.accounts.setPasswordHash(owner.accountID,
                                                       hashPassword(u"secret"_s).value()));
        const auto signedIn = receive("POST /sign-in",
                                      { "Content-Type: application/json" },
                                      R"({"account":"owner","password":"secret"})");
        QCOMPARE(signedIn.status, 204);
        QVERIFY(signedIn.head.contains("set-cookie: quibel_inbox_session="));
        QVERIFY(signedIn.head.contains("content-security-policy: default-src 'none'"));

        const auto cookie = "Cookie: theme=dark; " + owner.cookie;
        QCOMPARE(receive("GET /", { cookie }).status, 200);
        QCOMPARE(receive("HEAD /", { cookie }).status, 200);
        QCOMPARE(receive("GET /web/branches?search=a%20b", { cookie }).status, 200);
        QCOMPARE(receive("GET /web/branches?search=a%00b", { cookie }).status, 400);
        QCOMPARE(receive("DELETE /web/keys/x", { cookie }).status, 403);
        QCOMPARE(
            receive("DELETE /web/keys/x", { cookie, "X-CSRF-Token: " + owner.csrfToken }).status,
            404);
        const auto asset = receive("GET /assets/style.css", {});
        QCOMPARE(asset.status, 200);
        const auto tag = asset.head.mid(asset.head.indexOf("etag: ") + 6).split('\r').first();
        QCOMPARE(receive("GET /assets/style.css", { "If-None-Match: " + tag }).status, 304);
    }

private:
    /// Ways not to be signed in.
    [[nodiscard]] QList<Browser> nobodies()
    {
        const auto ended = web->signedIn(owner.accountID);
        (void)web->send(ended, "POST", "/sign-out");
        const auto secret = owner.cookie.split('=').last();
        return { {},
                 ended,
                 { owner.accountID, "quibel_inbox_session=", owner.csrfToken },
                 { owner.accountID, "quibel_inbox_session=" + hashSecret(secret), owner.csrfToken },
                 { owner.accountID, owner.cookie.chopped(1), owner.csrfToken },
                 { owner.accountID, owner.cookie + "x", owner.csrfToken },
                 { owner.accountID, "other=" + secret, owner.csrfToken } };
    }

    /// What a page or a script loads from this site.
    [[nodiscard]] static QByteArrayList linksIn(const QByteArray& text)
    {
        static const QRegularExpression link(
            u"(?:src|href)=\"(/assets/[^\"]+)\"|from \"\\./([^\"]+)\"|import \"\\./([^\"]+)\""_s);
        QByteArrayList links;
        auto matches = link.globalMatch(QString::fromUtf8(text));
        while (matches.hasNext()) {
            const auto match = matches.next();
            const auto imported = match.captured(2) + match.captured(3);
            links.append(
                (imported.isEmpty() ? match.captured(1) : u"/assets/"_s + imported).toUtf8());
        }
        return links;
    }

    std::unique_ptr<WebSiteFixture> web;
    Browser owner;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::WebSiteTest)
#include "WebSiteTest.moc"
