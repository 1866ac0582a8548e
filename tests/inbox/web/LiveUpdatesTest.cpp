#include "inbox/http/HttpServer.h"
#include "inbox/web/LiveUpdates.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/web/WebSiteFixture.h"

#include <QTcpSocket>

namespace quibel::inbox {

using namespace testing;

namespace {

/// A page that listens, over a connection of its own.
class Listener
{
public:
    Listener(quint16 port, const Browser& browser)
    {
        socket.connectToHost(u"127.0.0.1"_s, port);
        socket.write(RawHttp::request("GET /web/events", { "Cookie: " + browser.cookie }));
    }

    /// What came since the last time.
    [[nodiscard]] QByteArray received() const { return all.mid(seen); }
    void forget() { seen = all.size(); }

    [[nodiscard]] bool hears(const QByteArray& bytes)
    {
        return QTest::qWaitFor([&] { return read().contains(bytes); }, patience);
    }
    [[nodiscard]] bool isEnded()
    {
        return QTest::qWaitFor(
            [&] {
                return read().contains("\r\n0\r\n\r\n")
                    || socket.state() == QAbstractSocket::UnconnectedState;
            },
            patience);
    }
    [[nodiscard]] QByteArray read()
    {
        all += socket.readAll();
        return received();
    }

private:
    static constexpr int patience = 20'000;

    QTcpSocket socket;
    QByteArray all;
    qsizetype seen = 0;
};

} // namespace

class LiveUpdatesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        web = std::make_unique<WebSiteFixture>();
        server = std::make_unique<HttpServer>(
            [this](const QList<HttpRequest>& requests) {
                QList<HttpResponse> responses;
                for (const auto& request : requests)
                    responses.append(web->site.answer(request));
                return responses;
            },
            HttpServerOptions {});
        auto opened = openListenSocket({ .host = u"127.0.0.1"_s, .port = 0 });
        port = std::get<ListenSocket>(opened).address.port;
        QVERIFY(server->start(std::move(std::get<ListenSocket>(opened))));
        owner = web->signedIn(web->ownerID());
        stranger = web->signedIn(web->addAccount(u"stranger"_s));
    }
    void cleanup()
    {
        server.reset();
        web.reset();
    }

    void greetsAPage()
    {
        Listener page(port, owner);
        QVERIFY(page.hears("event: hello\ndata: {}\n\n"));
        QVERIFY(page.received().toLower().contains("content-type: text/event-stream"));
    }

    void tellsEveryPageOfTheAccountAndNoOther()
    {
        Listener one(port, owner);
        Listener two(port, owner);
        Listener other(port, stranger);
        QVERIFY(one.hears("hello") && two.hears("hello") && other.hears("hello"));
        web->updates.branchChanged(owner.accountID, u"b1"_s);
        web->updates.projectsChanged(owner.accountID);
        web->updates.branchChanged(stranger.accountID, u"s1"_s);
        web->updates.publish();
        const auto branch = "event: branch\ndata: {\"id\":\"b1\"}\n\n"_ba;
        const auto projects = "event: projects\ndata: {}\n\n"_ba;
        QVERIFY(one.hears(branch) && one.hears(projects));
        QVERIFY(two.hears(branch) && two.hears(projects));
        QVERIFY(other.hears("s1"));
        QVERIFY(!other.received().contains("b1"));
        QVERIFY(!other.received().contains("projects"));
        QVERIFY(!one.received().contains("s1"));
    }

    void tellsOnceWhatChangedSeveralTimes()
    {
        Listener page(port, owner);
        QVERIFY(page.hears("hello"));
        for (int index = 0; index < 3; ++index)
            web->updates.branchChanged(owner.accountID, u"b1"_s);
        web->updates.branchChanged(owner.accountID, u"b2"_s);
        web->updates.publish();
        QVERIFY(page.hears("b2"));
        QCOMPARE(page.received().count("b1"), 1);
    }

    void tellsNothingThatWasNotKept()
    {
        Listener page(port, owner);
        QVERIFY(page.hears("hello"));
        web->updates.branchChanged(owner.accountID, u"lost"_s);
        web->updates.drop();
        web->updates.branchChanged(owner.accountID, u"kept"_s);
        QVERIFY(!page.read().contains("kept"));
        web->updates.publish();
        web->updates.publish();
        web->updates.projectsChanged(owner.accountID);
        web->updates.publish();
        QVERIFY(page.hears("event: projects"));
        QCOMPARE(page.received().count("kept"), 1);
        QVERIFY(!page.received().contains("lost"));
    }

    void tellsWhatAPageChanges()
    {
        const auto branch
            = value(web->storage.branches.add(owner.accountID,
                                              { .title = u"x"_s,
                                                .summary = u"x"_s,
                                                .whyForked = u"x"_s,
                                                .capturedText = u"x"_s,
                                                .appName = u"x"_s,
                                                .bundleID = u"x"_s,
                                                .capturedAt = u"2026-11-15T22:24:38Z"_s }));
        const auto project = value(web->storage.projects.add(owner.accountID, u"a"_s)).toLatin1();
        Listener page(port, owner);
        QVERIFY(page.hears("hello"));
        const auto tells = [&](const QByteArray& method,
                               const QByteArray& path,
                               const QJsonObject& body,
                               const QByteArray& event) {
            page.forget();
            const auto status = web->send(owner, method, path, body).status;
            web->updates.publish();
            return status < 300 && page.hears(event);
        };
        QVERIFY(tells("PATCH",
                      "/web/branches/" + branch.toLatin1(),
                      { { u"done"_s, true } },
                      branch.toLatin1()));
        QVERIFY(tells("POST", "/web/projects", { { u"name"_s, u"b"_s } }, "event: projects"));
        QVERIFY(
            tells("PATCH", "/web/projects/" + project, { { u"place"_s, 1 } }, "event: projects"));
    }

    void endsWithItsSession()
    {
        const auto otherBrowser = web->signedIn(owner.accountID);
        Listener page(port, owner);
        Listener other(port, otherBrowser);
        QVERIFY(page.hears("hello") && other.hears("hello"));
        QCOMPARE(web->send(owner, "POST", "/sign-out").status, 204);
        QVERIFY(page.isEnded());
        web->updates.projectsChanged(owner.accountID);
        web->updates.publish();
        QVERIFY(other.hears("projects"));
    }

    void noticesThatASessionWasEndedByAnotherProcess()
    {
        Listener page(port, owner);
        QVERIFY(page.hears("hello"));
        QVERIFY(!web->storage.sessions.endAll(owner.accountID));
        web->updates.checkSessions();
        QVERIFY(page.isEnded());
    }

    void endsTheOldestOfTooManyPages()
    {
        const WebSession session { { owner.accountID, u"owner"_s, false }, hashSecret("x"), {} };
        const auto first = web->updates.subscribe(session);
        const auto second = web->updates.subscribe(session);
        const auto others
            = web->updates.subscribe({ { stranger.accountID, u"stranger"_s, false }, "y", {} });
        for (qsizetype index = 2; index < LiveUpdates::mostStreamsOfAccount; ++index)
            (void)web->updates.subscribe(session);
        QVERIFY(!first->hasEnded());
        (void)web->updates.subscribe(session);
        QVERIFY(first->hasEnded());
        QVERIFY(!second->hasEnded());
        QVERIFY(!others->hasEnded());
    }

private:
    std::unique_ptr<WebSiteFixture> web;
    std::unique_ptr<HttpServer> server;
    Browser owner;
    Browser stranger;
    quint16 port = 0;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::LiveUpdatesTest)
#include "LiveUpdatesTest.moc"
