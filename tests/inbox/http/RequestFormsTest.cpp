#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/http/RunningServer.h"

#include <QTest>

namespace quibel::inbox {

using namespace testing;
using namespace Qt::StringLiterals;

class RequestFormsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { server = std::make_unique<RunningServer>(); }
    void cleanup()
    {
        RawHttp next(server->port);
        next.send(RawHttp::request("GET /next", {}));
        QCOMPARE(next.receive().status, 200);
        QCOMPARE(server->requests.last().path, "/next");
        server.reset();
    }

    void takesTargetsAsTheyAre_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("path");
        const auto row = [](const char* target, const char* path) {
            QTest::newRow(target) << QByteArray(target) << QByteArray(path);
        };
        row("/../../etc/passwd", "/../../etc/passwd");
        row("/..%2f..%2fetc%2fpasswd", "/..%2f..%2fetc%2fpasswd");
        row("/%2e%2e/%5c", "/%2e%2e/%5c");
        row("/a%00b", "/a%00b");
        row("//a//b/", "//a//b/");
        row("http://elsewhere/a/b", "/a/b");
        row("/a#b", "/a#b");
    }
    void takesTargetsAsTheyAre()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, path);
        RawHttp http(server->port);
        http.send(RawHttp::request("GET " + target, {}));
        QCOMPARE(http.receive().status, 200);
        QCOMPARE(server->requests.first().path, path);
    }

    void readsTheQuery()
    {
        RawHttp http(server->port);
        http.send(RawHttp::request("GET /a?b=c%20d&e=f+g&b=last", { "Cookie: x=1; session=2" }));
        QCOMPARE(http.receive().status, 200);
        const auto& request = server->requests.first();
        QCOMPARE(request.path, "/a");
        QCOMPARE(request.query,
                 (QHash<QByteArray, QByteArray> { { "b", "last" }, { "e", "f g" } }));
        QCOMPARE(request.cookie("session"), "2");
    }

    void joinsAHeaderThatComesSeveralTimes()
    {
        RawHttp http(server->port);
        http.send(RawHttp::request("GET /", { "X-A: 1", "x-a: 2", "Cookie: a=1", "Cookie: b=2" }));
        QCOMPARE(http.receive().status, 200);
        const auto& request = server->requests.first();
        QCOMPARE(request.headers.value("x-a"), "1, 2");
        QCOMPARE(request.cookie("a") + request.cookie("b"), "12");
    }

    void refuses_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        const auto row = [](const char* name, const QByteArray& bytes, int status) {
            QTest::newRow(name) << bytes << status;
        };
        const QByteArray post("POST / HTTP/1.1\r\nHost: x\r\n");
        row("without Host", "GET / HTTP/1.1\r\n\r\n", 400);
        row("two hosts", "GET / HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n", 400);
        row("a blank behind the name of a header", post + "Content-Length : 5\r\n\r\nhello", 400);
        row("a header beyond its room",
            RawHttp::request("GET /", { "X: " + QByteArray(100'000, 'x') }),
            431);
        row("a target beyond its room",
            RawHttp::request("GET /" + QByteArray(100'000, 'x'), {}),
            414);
        row("a length that is no number", post + "Content-Length: ten\r\n\r\n", 400);
        row("a negative length", post + "Content-Length: -1\r\n\r\n", 400);
        row("a length with a sign", post + "Content-Length: +5\r\n\r\nhello", 400);
        row("an empty length", post + "Content-Length:\r\n\r\n", 400);
        row("a length beyond all numbers",
            post + "Content-Length: 99999999999999999999999\r\n\r\n",
            413);
        row("two lengths", post + "Content-Length: 5\r\nContent-Length: 6\r\n\r\nhello!", 400);
        row("the same length twice",
            post + "Content-Length: 5\r\nContent-Length: 5\r\n\r\nhello",
            400);
        row("a length and chunks",
            post + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            400);
        row("an encoding it does not know",
            post + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n",
            400);
        row("chunks twice",
            post + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            400);
        row("a chunk without a size", post + "Transfer-Encoding: chunked\r\n\r\nxyz\r\n", 400);
        row("a chunk beyond all numbers",
            post + "Transfer-Encoding: chunked\r\n\r\nfffffffffffffffff\r\n",
            413);
        row("a target that is no path", RawHttp::request("GET host:443", {}), 400);
        row("an asterisk", RawHttp::request("OPTIONS *", {}), 400);
        row("an escape that is none", RawHttp::request("GET /?a=%zz", {}), 400);
    }
    void refuses()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        RawHttp http(server->port);
        http.send(bytes);
        QCOMPARE(http.receive().status, status);
        QVERIFY(http.isClosedByPeer());
        QVERIFY(server->requests.isEmpty());
    }

    void saysWhatIsWrongWithAFormItKnows()
    {
        RawHttp http(server->port);
        http.send("GET / HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n");
        const auto answer = http.receive();
        QCOMPARE(answer.code(), u"bad_request"_s);
        QCOMPARE(answer.message(), u"a request names one host"_s);
    }

    void cutsOffNoise_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("TLS") << QByteArray("\x16\x03\x01\x02\x00\x01\r\n\r\n", 10);
        QTest::newRow("blank in the path") << RawHttp::request("GET /a b", {});
        QTest::newRow("no version") << QByteArray("GET /\r\n\r\n");
        QTest::newRow("a version to come") << QByteArray("GET / HTTP/2.0\r\nHost: x\r\n\r\n");
        QTest::newRow("a header without a colon") << RawHttp::request("GET /", { "nothing" });
        QTest::newRow("NUL in the name of a header")
            << RawHttp::request("GET /", { QByteArray("X\0Y: 1", 6) });
        // libmicrohttpd answers these until 1.0, and from then on only cuts the connection.
        QTest::newRow("NUL in the path") << RawHttp::request(QByteArray("GET /a\0b", 8), {});
        QTest::newRow("NUL in the query") << RawHttp::request(QByteArray("GET /?a=\0b", 10), {});
        QTest::newRow("NUL at the end of the path")
            << RawHttp::request(QByteArray("GET /a\0", 7), {});
    }
    void cutsOffNoise()
    {
        QFETCH(QByteArray, bytes);
        RawHttp http(server->port);
        http.send(bytes);
        const auto status = http.receive().status;
        QVERIFY2(status == 0 || (status >= 400 && status < 506),
                 qPrintable(QString::number(status)));
        QVERIFY(http.isClosedByPeer());
        QVERIFY(server->requests.isEmpty());
    }

    void serves10AndThenCloses()
    {
        RawHttp http(server->port);
        http.send("GET / HTTP/1.0\r\n\r\n");
        QCOMPARE(http.receive().status, 200);
        QVERIFY(http.isClosedByPeer());
    }

    void keeps10OpenWhenAsked()
    {
        RawHttp http(server->port);
        for (int i = 0; i < 2; ++i) {
            http.send("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
            QCOMPARE(http.receive().status, 200);
        }
    }

    void closesWhenAsked()
    {
        RawHttp http(server->port);
        http.send(RawHttp::request("GET /", { "Connection: close" }));
        QCOMPARE(http.receive().status, 200);
        QVERIFY(http.isClosedByPeer());
    }

    void answersPipelinedRequestsInOrder()
    {
        RawHttp http(server->port);
        QByteArray all;
        for (int i = 1; i <= 5; ++i)
            all += RawHttp::request("POST /", {}, QByteArray(i, 'x'));
        http.send(all);
        for (int i = 1; i <= 5; ++i)
            QCOMPARE(http.receive().body, "got " + QByteArray::number(i));
    }

    void asksForTheBodyOfAClientThatWaits()
    {
        RawHttp http(server->port);
        http.send("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\n"
                  "Expect: 100-continue\r\n\r\n");
        QCOMPARE(http.receive().status, 100);
        http.send("hello");
        QCOMPARE(http.receive().body, "got 5");
    }

    void survivesAClientThatLeavesWhileItsRequestIsHandled()
    {
        std::unique_ptr<RawHttp> leaver;
        RunningServer slow({}, [&leaver](const HttpRequest&) {
            if (leaver)
                leaver->abort();
            return HttpResponse { .status = 200, .body = QByteArray(1'000'000, 'x') };
        });
        for (int i = 0; i < 20; ++i) {
            leaver = std::make_unique<RawHttp>(slow.port);
            leaver->send(RawHttp::request("POST /", {}, "body"));
            QTRY_COMPARE(slow.requests.size(), i + 1);
        }
        leaver.reset();
        RawHttp http(slow.port);
        http.send(RawHttp::request("GET /", {}));
        QCOMPARE(http.receive().body.size(), 1'000'000);
    }

private:
    std::unique_ptr<RunningServer> server;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::RequestFormsTest)
#include "RequestFormsTest.moc"
