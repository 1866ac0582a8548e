#include "tests/inbox/web/WebSiteFixture.h"

#include <QCryptographicHash>
#include <QSet>

namespace quibel::inbox {

using namespace testing;

namespace {

const auto script = u"<script>alert(\"1\")</script><img src=x onerror='1'> & \u202e"_s;
constexpr QSize size(40, 30);

BranchDocument fullDocument(const QString& text, const std::optional<QString>& projectID = {})
{
    return { .title = text,
             .summary = u"A summary"_s,
             .whyForked = u"Later."_s,
             .projectID = projectID,
             .capturedText = text,
             .appName = u"Éditeur"_s,
             .bundleID = u"org.editor"_s,
             .windowTitle = u"notes.txt"_s,
             .capturedAt = u"2026-11-15T22:24:38Z"_s };
}

} // namespace

/// The requests of the page's scripts.
class PageApiTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        web = std::make_unique<WebSiteFixture>();
        owner = web->signedIn(web->ownerID());
        stranger = web->signedIn(web->addAccount(u"stranger"_s));
    }

    void describesTheSession()
    {
        const auto session = object(web->get(owner, "/web/session"));
        QCOMPARE(session[u"account"_s], (QJsonObject { { u"name"_s, u"owner"_s } }));
        QCOMPARE(session[u"csrf_token"_s].toString().toLatin1(), owner.csrfToken);
        QCOMPARE(session[u"base_url"_s], u"http://localhost:8787"_s);
        QCOMPARE(session[u"version"_s], u"1.2.3"_s);
        QCOMPARE(session.size(), 4);
        QVERIFY(owner.csrfToken != stranger.csrfToken);
        QVERIFY(!owner.cookie.contains(owner.csrfToken));
    }

    void namesTheBaseUrlAsTheBrowserReachesIt()
    {
        auto request = web->request(owner, "GET", "/web/session");
        request.isSecure = true;
        request.headers["host"] = "inbox.example:8443";
        request.headers["cookie"] = "__Host-" + owner.cookie;
        QCOMPARE(object(web->site.answer(request))[u"base_url"_s], u"https://inbox.example:8443"_s);
    }

    void showsABranchWhole()
    {
        const auto project = value(web->storage.projects.add(owner.accountID, u"Garden"_s));
        const auto id = add(fullDocument(u"Look at the cache"_s, project));
        addPicture(id, "picture");
        const auto branch = object(web->get(owner, "/web/branches/" + id));
        const auto sha256 = QString::fromLatin1(
            QCryptographicHash::hash("picture", QCryptographicHash::Sha256).toHex());
        const QJsonObject expected {
            { u"id"_s, QString::fromLatin1(id) },
            { u"number"_s, branch[u"number"_s] },
            { u"title"_s, u"Look at the cache"_s },
            { u"text"_s, u"Look at the cache"_s },
            { u"app_name"_s, u"Éditeur"_s },
            { u"bundle_id"_s, u"org.editor"_s },
            { u"window_title"_s, u"notes.txt"_s },
            { u"captured_at"_s, u"2026-11-15T22:24:38Z"_s },
            { u"received_at"_s, branch[u"received_at"_s] },
            { u"project"_s, QJsonObject { { u"id"_s, project }, { u"name"_s, u"Garden"_s } } },
            { u"done"_s, false },
            { u"deleted"_s, false },
            { u"likely_double"_s, false },
            { u"screenshots"_s,
              QJsonArray { QJsonObject { { u"picture"_s, u"/pictures/"_s + sha256 },
                                         { u"width"_s, 40 },
                                         { u"height"_s, 30 },
                                         { u"byte_size"_s, 7 },
                                         { u"capture_type"_s, u"active_window"_s },
                                         { u"captured_at"_s, u"2026-11-15T22:24:39Z"_s } } } },
        };
        QCOMPARE(branch, expected);
        QVERIFY(branch[u"number"_s].isDouble());
        QVERIFY(branch[u"received_at"_s].toString().endsWith(u'Z'));
        QCOMPARE(list(owner), QJsonArray { branch });
    }

    void showsWhatIsNotThereAsNull()
    {
        auto document = fullDocument(u"x"_s);
        document.windowTitle.reset();
        const auto branch = object(web->get(owner, "/web/branches/" + add(document)));
        QVERIFY(branch[u"window_title"_s].isNull());
        QVERIFY(branch[u"project"_s].isNull());
        QCOMPARE(branch[u"screenshots"_s], QJsonArray());
    }

    void marksALikelyDouble()
    {
        add(fullDocument(u"x"_s));
        add(fullDocument(u"x"_s));
        add(fullDocument(u"y"_s));
        QCOMPARE(texts(list(owner), u"likely_double"_s), QStringList({ u"0"_s, u"1"_s, u"1"_s }));
    }

    void handsOutTheBranchesNewestFirstInPortions()
    {
        for (int index = 0; index < 101; ++index)
            add(fullDocument(QString::number(index)));
        QByteArray target("/web/branches");
        QStringList seen;
        QList<qsizetype> sizes;
        while (!target.isEmpty()) {
            const auto page = object(web->get(owner, target));
            const auto branches = page[u"branches"_s].toArray();
            sizes.append(branches.size());
            seen.append(texts(branches, u"title"_s));
            const auto next = page[u"next"_s];
            target = next.isNull() ? QByteArray()
                                   : "/web/branches?before=" + QByteArray::number(next.toInteger());
        }
        QCOMPARE(sizes, QList<qsizetype>({ 50, 50, 1 }));
        QCOMPARE(seen.size(), 101);
        QCOMPARE(seen.first(), u"100"_s);
        QCOMPARE(seen.last(), u"0"_s);
        QCOMPARE(QSet<QString>(seen.begin(), seen.end()).size(), 101);
    }

    void namesNoNextPortionWhenThereIsNone()
    {
        for (int index = 0; index < 50; ++index)
            add(fullDocument(QString::number(index)));
        const auto page = object(web->get(owner, "/web/branches"));
        QCOMPARE(page[u"branches"_s].toArray().size(), 50);
        QVERIFY(page[u"next"_s].isNull());
    }

    void choosesTheBranches_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<QStringList>("titles");
        QTest::newRow("open") << QByteArray("") << QStringList { u"water roses"_s, u"plain"_s };
        QTest::newRow("named open")
            << QByteArray("state=open") << QStringList { u"water roses"_s, u"plain"_s };
        QTest::newRow("done") << QByteArray("state=done") << QStringList { u"finished"_s };
        QTest::newRow("any") << QByteArray("state=any")
                             << QStringList { u"water roses"_s, u"finished"_s, u"plain"_s };
        QTest::newRow("project") << QByteArray("project=PROJECT&state=any")
                                 << QStringList { u"water roses"_s };
        QTest::newRow("no project") << QByteArray("project=none") << QStringList { u"plain"_s };
        QTest::newRow("search") << QByteArray("search=ros%20wat&state=any")
                                << QStringList { u"water roses"_s };
        QTest::newRow("found nothing") << QByteArray("search=nothing") << QStringList {};
        QTest::newRow("a project that is gone") << QByteArray("project=gone") << QStringList {};
        QTest::newRow("a project of another") << QByteArray("project=OTHER") << QStringList {};
        QTest::newRow("everything empty")
            << QByteArray("search=&project=") << QStringList { u"water roses"_s, u"plain"_s };
    }
    void choosesTheBranches()
    {
        QFETCH(QByteArray, query);
        QFETCH(QStringList, titles);
        const auto project = value(web->storage.projects.add(owner.accountID, u"Garden"_s));
        const auto other = value(web->storage.projects.add(stranger.accountID, u"Garden"_s));
        add(fullDocument(u"plain"_s));
        const auto done = add(fullDocument(u"finished"_s, project));
        QCOMPARE(patch(done, { { u"done"_s, true }, { u"project_id"_s, QJsonValue::Null } }), 200);
        add(fullDocument(u"water roses"_s, project));
        QCOMPARE(patch(add(fullDocument(u"deleted"_s)), { { u"deleted"_s, true } }), 200);
        addTo(stranger, fullDocument(u"strange"_s, other));
        query.replace("PROJECT", project.toLatin1()).replace("OTHER", other.toLatin1());
        QCOMPARE(texts(list(owner, query), u"title"_s), titles);
    }

    void refusesAQueryThatMakesNoSense_data()
    {
        QTest::addColumn<QByteArray>("query");
        for (const auto* query : { "state=all",
                                   "state=",
                                   "before=",
                                   "before=0",
                                   "before=-1",
                                   "before=1.5",
                                   "before=x",
                                   "before=99999999999999999999",
                                   "search=a%00b",
                                   "search=%ff",
                                   "project=%00",
                                   "project=%c3%28" })
            QTest::newRow(query) << QByteArray(query);
        QTest::newRow("a long search") << "search=" + QByteArray(1001, 'x');
    }
    void refusesAQueryThatMakesNoSense()
    {
        QFETCH(QByteArray, query);
        const auto answer = web->get(owner, "/web/branches?" + query);
        QCOMPARE(answer.status, 400);
        QCOMPARE(web->codeOf(answer), u"invalid_query"_s);
    }

    void searchesForAnythingThatOneCanType_data()
    {
        QTest::addColumn<QByteArray>("search");
        for (const auto* search : { "\"",
                                    "'",
                                    "*",
                                    "a OR",
                                    "NEAR(",
                                    "a:b",
                                    "-",
                                    "(",
                                    "&|!",
                                    "\\",
                                    "%",
                                    "_",
                                    "\xf0\x9d\x84\x9e",
                                    "\xc2\xad",
                                    "' OR 1=1 --" })
            QTest::newRow(search) << QByteArray(search);
    }
    void searchesForAnythingThatOneCanType()
    {
        QFETCH(QByteArray, search);
        add(fullDocument(u"plain"_s));
        QCOMPARE(web->get(owner, "/web/branches?search=" + search.toPercentEncoding()).status, 200);
    }

    void changesABranch()
    {
        const auto project = value(web->storage.projects.add(owner.accountID, u"Garden"_s));
        const auto id = add(fullDocument(u"x"_s));
        const auto change = [&](const QJsonObject& body) {
            return object(web->send(owner, "PATCH", "/web/branches/" + id, body));
        };
        QCOMPARE(change({ { u"done"_s, true } })[u"done"_s], true);
        QCOMPARE(change({ { u"project_id"_s, project } })[u"project"_s][u"name"_s], u"Garden"_s);
        const auto deleted = change({ { u"deleted"_s, true } });
        QCOMPARE(deleted[u"deleted"_s], true);
        QCOMPARE(deleted[u"done"_s], true);
        QCOMPARE(list(owner, "state=any").size(), 0);
        QCOMPARE(object(web->get(owner, "/web/branches/" + id)), deleted);
        const auto restored = change({ { u"deleted"_s, false },
                                       { u"done"_s, false },
                                       { u"project_id"_s, QJsonValue::Null } });
        QCOMPARE(restored[u"deleted"_s], false);
        QVERIFY(restored[u"project"_s].isNull());
        QCOMPARE(list(owner), QJsonArray { restored });
        QCOMPARE(change({}), restored);
    }

    void refusesAChangeThatMakesNoSense_data()
    {
        QTest::addColumn<QJsonObject>("change");
        QTest::addColumn<int>("status");
        const auto row = [](const char* name, const QJsonObject& change, int status) {
            QTest::newRow(name) << change << status;
        };
        row("done as a number", { { u"done"_s, 1 } }, 400);
        row("done as null", { { u"done"_s, QJsonValue::Null } }, 400);
        row("deleted as a text", { { u"deleted"_s, u"true"_s } }, 400);
        row("project as a number", { { u"project_id"_s, 7 } }, 400);
        row("project with NUL", { { u"project_id"_s, u"a\0b"_s } }, 400);
        row("another field", { { u"title"_s, u"x"_s } }, 400);
        row("unknown project", { { u"project_id"_s, u"nowhere"_s } }, 422);
        row("project of another", { { u"project_id"_s, u"OTHER"_s } }, 422);
        row("good, and unknown project",
            { { u"done"_s, true }, { u"project_id"_s, u"nowhere"_s } },
            422);
        row("good, and another field", { { u"done"_s, true }, { u"x"_s, 1 } }, 400);
    }
    void refusesAChangeThatMakesNoSense()
    {
        QFETCH(QJsonObject, change);
        QFETCH(int, status);
        if (change[u"project_id"_s] == u"OTHER"_s)
            change[u"project_id"_s] = value(web->storage.projects.add(stranger.accountID, u"P"_s));
        const auto id = add(fullDocument(u"x"_s));
        const auto before = object(web->get(owner, "/web/branches/" + id));
        QCOMPARE(patch(id, change), status);
        QCOMPARE(object(web->get(owner, "/web/branches/" + id)), before);
    }

    void knowsOnlyWhatBelongsToTheAccount_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QJsonObject>("body");
        const auto row = [](const char* method, const char* target, const QJsonObject& body = {}) {
            QTest::addRow("%s %s", method, target)
                << QByteArray(method) << QByteArray(target) << body;
        };
        row("GET", "/web/branches/BRANCH");
        row("PATCH", "/web/branches/BRANCH", { { u"deleted"_s, true } });
        row("PATCH", "/web/branches/BRANCH");
        row("PATCH", "/web/projects/PROJECT", { { u"name"_s, u"mine"_s } });
        row("PATCH", "/web/projects/PROJECT", { { u"archived"_s, true } });
        row("PATCH", "/web/projects/PROJECT", { { u"place"_s, 0 } });
        row("PATCH", "/web/projects/PROJECT");
        row("DELETE", "/web/keys/KEY");
        row("GET", "/pictures/PICTURE");
        row("GET", "/web/branches/unknown");
        row("PATCH", "/web/branches/unknown", { { u"done"_s, true } });
        row("PATCH", "/web/projects/unknown", { { u"name"_s, u"mine"_s } });
        row("DELETE", "/web/keys/unknown");
        row("DELETE", "/web/keys/");
        row("GET", "/web/branches/");
        row("GET", "/web/branches/BRANCH/");
        row("GET", "/web/branches/%2e%2e%2fBRANCH");
        row("GET", "/web/branches/..%2FBRANCH");
        row("GET", "/web/branches/' OR 1=1 --");
        row("GET", "/web/branches/\xff\xfe");
        row("GET", "/pictures/");
        row("GET", "/pictures/../web/branches");
        row("GET", "/web");
        row("GET", "/web/");
        row("GET", "/web/nothing");
        row("GET", "/web/session/x");
        row("GET", "/web/events/x");
    }
    void knowsOnlyWhatBelongsToTheAccount()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        QFETCH(QJsonObject, body);
        const auto branch = addTo(stranger, fullDocument(u"x"_s));
        addPicture(branch, "picture");
        const auto project = value(web->storage.projects.add(stranger.accountID, u"P"_s));
        const auto key = value(web->storage.keys.add(stranger.accountID, u"k"_s, hashSecret("k")));
        const auto picture
            = QCryptographicHash::hash("picture", QCryptographicHash::Sha256).toHex();
        const auto before = everythingOf(stranger);
        QVERIFY(before.contains(branch) && before.contains(project.toLatin1())
                && before.contains(key.toLatin1()) && before.contains(picture));
        target.replace("BRANCH", branch)
            .replace("PROJECT", project.toLatin1())
            .replace("KEY", key.toLatin1())
            .replace("PICTURE", picture);
        QCOMPARE(web->send(owner, method, target, body).status, 404);
        QCOMPARE(everythingOf(stranger), before);
    }

    void makesProjects()
    {
        const auto answer
            = web->send(owner, "POST", "/web/projects", { { u"name"_s, u"  Gärten \n"_s } });
        QCOMPARE(answer.status, 201);
        const auto made = object(answer);
        QCOMPARE(made[u"name"_s], u"Gärten"_s);
        QCOMPARE(made[u"archived"_s], false);
        QCOMPARE(made.size(), 3);
        QCOMPARE(array(web->get(owner, "/web/projects")), QJsonArray { made });
        QCOMPARE(array(web->get(stranger, "/web/projects")), QJsonArray());
    }

    void changesProjectsAndAnswersWithAll()
    {
        QList<QByteArray> ids;
        for (const auto& name : { u"a"_s, u"b"_s, u"c"_s })
            ids.append(value(web->storage.projects.add(owner.accountID, name)).toLatin1());
        const auto change = [&](const QByteArray& id, const QJsonObject& body) {
            return array(web->send(owner, "PATCH", "/web/projects/" + id, body));
        };
        QCOMPARE(texts(change(ids.at(1), { { u"name"_s, u" B "_s } }), u"name"_s),
                 QStringList({ u"a"_s, u"B"_s, u"c"_s }));
        QCOMPARE(texts(change(ids.at(2), { { u"place"_s, 0 } }), u"name"_s),
                 QStringList({ u"c"_s, u"a"_s, u"B"_s }));
        QCOMPARE(texts(change(ids.at(2), { { u"place"_s, 1000 } }), u"name"_s),
                 QStringList({ u"a"_s, u"B"_s, u"c"_s }));
        const auto all = change(
            ids.at(0), { { u"name"_s, u"A"_s }, { u"archived"_s, true }, { u"place"_s, 1 } });
        QCOMPARE(texts(all, u"name"_s), QStringList({ u"B"_s, u"A"_s, u"c"_s }));
        QCOMPARE(texts(all, u"archived"_s), QStringList({ u"0"_s, u"1"_s, u"0"_s }));
        QCOMPARE(array(web->get(owner, "/web/projects")), all);
        QCOMPARE(change(ids.at(0), { { u"archived"_s, false } })[1][u"archived"_s], false);
    }

    void refusesAProjectThatMakesNoSense_data()
    {
        QTest::addColumn<QJsonObject>("body");
        QTest::newRow("place as a text") << QJsonObject { { u"place"_s, u"1"_s } };
        QTest::newRow("place before the first") << QJsonObject { { u"place"_s, -1 } };
        QTest::newRow("half a place") << QJsonObject { { u"place"_s, 0.5 } };
        QTest::newRow("no place") << QJsonObject { { u"place"_s, QJsonValue::Null } };
        QTest::newRow("a far place") << QJsonObject { { u"place"_s, 1e300 } };
        QTest::newRow("archived as a number") << QJsonObject { { u"archived"_s, 1 } };
        QTest::newRow("an id") << QJsonObject { { u"id"_s, u"x"_s } };
    }
    void refusesAProjectThatMakesNoSense()
    {
        QFETCH(QJsonObject, body);
        const auto id = value(web->storage.projects.add(owner.accountID, u"a"_s)).toLatin1();
        QCOMPARE(web->send(owner, "PATCH", "/web/projects/" + id, body).status, 400);
        QCOMPARE(web->send(owner, "POST", "/web/projects", body).status, 400);
    }

    void takesOnlyNamesOfOneLine_data()
    {
        QTest::addColumn<QJsonValue>("name");
        QTest::addColumn<bool>("taken");
        const auto row = [](const char* how, const QJsonValue& name, bool taken) {
            QTest::newRow(how) << name << taken;
        };
        row("plain", u"Garden"_s, true);
        row("one character", u"𝄞"_s, true);
        row("a hundred", QString(100, u'x'), true);
        row("a hundred beyond the basic plane", u"𝄞"_s.repeated(100), true);
        row("a hundred and blanks", u' ' + QString(100, u'x') + u'\t', true);
        row("one too many", QString(101, u'x'), false);
        row("script", script, true);
        row("nothing", u""_s, false);
        row("blanks", u" \t\u00a0 "_s, false);
        row("a line break in it", u"a\nb"_s, false);
        row("a separator of lines", u"a\u2028b"_s, false);
        row("a separator of paragraphs", u"a\u2029b"_s, false);
        row("NUL", u"a\0b"_s, false);
        row("escape", u"a\u001bb"_s, false);
        row("delete", u"a\u007fb"_s, false);
        row("half a pair", QString(QChar(0xd800)), false);
        row("null", QJsonValue::Null, false);
        row("a number", 1, false);
        row("a list", QJsonArray { u"a"_s }, false);
    }
    void takesOnlyNamesOfOneLine()
    {
        QFETCH(QJsonValue, name);
        QFETCH(bool, taken);
        const auto id = value(web->storage.projects.add(owner.accountID, u"a"_s)).toLatin1();
        const QJsonObject body { { u"name"_s, name } };
        QCOMPARE(web->send(owner, "POST", "/web/projects", body).status, taken ? 201 : 400);
        QCOMPARE(web->send(owner, "POST", "/web/keys", body).status, taken ? 201 : 400);
        QCOMPARE(web->send(owner, "PATCH", "/web/projects/" + id, body).status, taken ? 200 : 400);
    }

    void showsAKeyOnceAndKeepsItsHash()
    {
        const auto answer = web->send(owner, "POST", "/web/keys", { { u"name"_s, u"Laptop"_s } });
        QCOMPARE(answer.status, 201);
        QCOMPARE(answer.headers.value("Cache-Control"), "no-store");
        const auto made = object(answer);
        const auto key = made[u"key"_s].toString().toLatin1();
        QVERIFY(key.startsWith("sk_"));
        QCOMPARE(made.size(), 3);
        const auto before = array(web->get(owner, "/web/keys"));
        QCOMPARE(before.size(), 1);
        QCOMPARE(before[0][u"id"_s], made[u"id"_s]);
        QCOMPARE(before[0][u"name"_s], u"Laptop"_s);
        QVERIFY(before[0][u"created_at"_s].toString().endsWith(u'Z'));
        QVERIFY(before[0][u"last_used_at"_s].isNull());
        QCOMPARE(before[0].toObject().size(), 4);

        QCOMPARE(value(web->storage.keys.use(hashSecret(key))), owner.accountID);
        QVERIFY(!web->storage.keys.noteUses());
        QVERIFY(array(web->get(owner, "/web/keys"))[0][u"last_used_at"_s].isString());
        const auto id = made[u"id"_s].toString().toLatin1();
        QCOMPARE(web->send(owner, "DELETE", "/web/keys/" + id).status, 204);
        QVERIFY(!value(web->storage.keys.use(hashSecret(key))));
        QCOMPARE(array(web->get(owner, "/web/keys")), QJsonArray());
        QCOMPARE(web->send(owner, "DELETE", "/web/keys/" + id).status, 404);
    }

    void showsMarkupInEveryTextAsText()
    {
        const auto project
            = object(web->send(owner, "POST", "/web/projects", { { u"name"_s, script } }));
        (void)web->send(owner, "POST", "/web/keys", { { u"name"_s, script } });
        auto document = fullDocument(script, project[u"id"_s].toString());
        document.appName = document.bundleID = script;
        document.windowTitle = script;
        const auto id = add(document);
        const auto branch = object(web->get(owner, "/web/branches/" + id));
        for (const auto& field :
             { u"title"_s, u"text"_s, u"app_name"_s, u"bundle_id"_s, u"window_title"_s })
            QCOMPARE(branch[field], script);
        QCOMPARE(branch[u"project"_s][u"name"_s], script);
        for (const auto* target : { "/web/branches", "/web/projects", "/web/keys" }) {
            const auto answer = web->get(owner, target);
            QCOMPARE(answer.headers.value("Content-Type"), "application/json");
            QCOMPARE(answer.headers.value("X-Content-Type-Options"), "nosniff");
            QVERIFY(answer.body.contains("<script>alert("));
        }
    }

    void handsOutAPicture()
    {
        addPicture(add(fullDocument(u"x"_s)), "picture");
        const auto path = "/pictures/"
            + QCryptographicHash::hash("picture", QCryptographicHash::Sha256).toHex();
        const auto answer = web->get(owner, path);
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.body, "picture");
        QCOMPARE(answer.headers.value("Content-Type"), "image/png");
        QCOMPARE(answer.headers.value("Cache-Control"), "private, max-age=31536000, immutable");
        QCOMPARE(answer.route, "/pictures/{sha256}");

        auto again = web->request(owner, "GET", path);
        again.headers.insert("if-none-match", answer.headers.value("ETag"));
        const auto unchanged = web->site.answer(again);
        QCOMPARE(unchanged.status, 304);
        QVERIFY(unchanged.body.isEmpty());
        QCOMPARE(unchanged.headers.value("ETag"), answer.headers.value("ETag"));

        again.headers["cookie"] = stranger.cookie;
        QCOMPARE(web->site.answer(again).status, 404);
        for (auto other :
             { path.toUpper(), path.chopped(1), path + "0", path + ".png", path + "/" })
            QCOMPARE(web->get(owner, other.replace("/PICTURES", "/pictures")).status, 404);
    }

    void takesNothingButJson_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("branch") << QByteArray("PATCH") << QByteArray("/web/branches/x");
        QTest::newRow("project") << QByteArray("PATCH") << QByteArray("/web/projects/x");
        QTest::newRow("new project") << QByteArray("POST") << QByteArray("/web/projects");
        QTest::newRow("new key") << QByteArray("POST") << QByteArray("/web/keys");
    }
    void takesNothingButJson()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        auto request = web->withJson(web->request(owner, method, target), {});
        const auto statusOf = [&](const QByteArray& body, const QByteArray& type) {
            request.body = body;
            request.headers["content-type"] = type;
            return web->site.answer(request).status;
        };
        QCOMPARE(statusOf("{}", "text/plain"), 415);
        QCOMPARE(statusOf("{}", {}), 415);
        for (const auto& body : { QByteArray(),
                                  QByteArray("[]"),
                                  QByteArray("{"),
                                  QByteArray("{}{}"),
                                  QByteArray("{\"name\":\"\xff\"}"),
                                  QByteArray(R"({"\u0000":1})"),
                                  QByteArray("\0{}", 3),
                                  QByteArray(60'000, '['),
                                  QByteArray("{\"a\":").repeated(10'000) })
            QCOMPARE(statusOf(body, "application/json"), 400);
        QCOMPARE(statusOf(QByteArray(65'537, ' '), "application/json"), 413);
        request.bodyOverLimit = true;
        QCOMPARE(statusOf({}, "application/json"), 413);
    }

    void namesTheMethodsThatAPathTakes_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("allowed");
        const auto row = [](const char* target, const char* allowed) {
            QTest::newRow(target) << QByteArray(target) << QByteArray(allowed);
        };
        row("/web/session", "GET, HEAD");
        row("/web/branches", "GET, HEAD");
        row("/web/branches/x", "GET, HEAD, PATCH");
        row("/web/projects", "GET, HEAD, POST");
        row("/web/projects/x", "PATCH");
        row("/web/keys", "GET, HEAD, POST");
        row("/web/keys/x", "DELETE");
        row("/web/events", "GET, HEAD");
        row("/pictures/x", "GET, HEAD");
    }
    void namesTheMethodsThatAPathTakes()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, allowed);
        const auto answer = web->send(owner, "PUT", target);
        QCOMPARE(answer.status, 405);
        QCOMPARE(answer.headers.value("Allow"), allowed);
    }

private:
    QByteArray addTo(const Browser& browser, const BranchDocument& document)
    {
        return value(web->storage.branches.add(browser.accountID, document)).toLatin1();
    }

    QByteArray add(const BranchDocument& document) { return addTo(owner, document); }

    void addPicture(const QByteArray& branchID, const QByteArray& picture)
    {
        const ScreenshotDocument document { .picture = picture,
                                            .captureType = u"active_window"_s,
                                            .capturedAt = u"2026-11-15T22:24:39Z"_s,
                                            .branchID = QString::fromLatin1(branchID) };
        (void)value(web->storage.screenshots.add(document, size));
    }

    [[nodiscard]] int patch(const QByteArray& id, const QJsonObject& change)
    {
        return web->send(owner, "PATCH", "/web/branches/" + id, change).status;
    }

    [[nodiscard]] static QJsonObject object(const HttpResponse& response)
    {
        return WebSiteFixture::bodyOf(response).object();
    }
    [[nodiscard]] static QJsonArray array(const HttpResponse& response)
    {
        return WebSiteFixture::bodyOf(response).array();
    }

    [[nodiscard]] QJsonArray list(const Browser& browser, const QByteArray& query = {})
    {
        return object(web->get(browser, "/web/branches?" + query))[u"branches"_s].toArray();
    }

    [[nodiscard]] QByteArray everythingOf(const Browser& browser)
    {
        return web->get(browser, "/web/branches?state=any").body
            + web->get(browser, "/web/projects").body + web->get(browser, "/web/keys").body;
    }

    /// One field of each, as text.
    [[nodiscard]] static QStringList texts(const QJsonArray& things, const QString& field)
    {
        QStringList found;
        for (const auto& thing : things) {
            const auto content = thing[field];
            found.append(content.isBool() ? QString::number(int(content.toBool()))
                                          : content.toString());
        }
        return found;
    }

    std::unique_ptr<WebSiteFixture> web;
    Browser owner;
    Browser stranger;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::PageApiTest)
#include "PageApiTest.moc"
