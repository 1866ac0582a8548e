#include "inbox/http/RequestLog.h"
#include "inbox/http/RequestMetrics.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/http/RunningServer.h"

#include <QTemporaryFile>
#include <QTest>

namespace quibel::inbox {

using namespace testing;
using namespace Qt::StringLiterals;

/// What the server says of who asks, and of what it did.
class ServerReportsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsWhereTheClientIs_data()
    {
        QTest::addColumn<bool>("behindProxy");
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<QByteArray>("client");
        QTest::addColumn<bool>("local");
        QTest::addColumn<bool>("secure");
        const auto row = [](const char* name,
                            bool behindProxy,
                            const char* headers,
                            const char* client,
                            bool local,
                            bool secure) {
            QTest::newRow(name) << behindProxy << QByteArray(headers) << QByteArray(client) << local
                                << secure;
        };
        row("direct", false, "", "127.0.0.1", true, false);
        row("a lie",
            false,
            "X-Forwarded-For: 9.9.9.9\r\nX-Forwarded-Proto: https\r\n",
            "127.0.0.1",
            true,
            false);
        row("past the proxy", true, "", "127.0.0.1", true, false);
        row("proxy", true, "X-Forwarded-For: 9.9.9.9\r\n", "9.9.9.9", false, false);
        row("proxy with TLS",
            true,
            "X-Forwarded-For: 9.9.9.9\r\nX-Forwarded-Proto: https\r\n",
            "9.9.9.9",
            false,
            true);
        row("only the protocol", true, "X-Forwarded-Proto: https\r\n", "127.0.0.1", false, true);
        row("a client that lies to the proxy",
            true,
            "X-Forwarded-For: 127.0.0.1, 9.9.9.9\r\nX-Forwarded-Proto: https, http\r\n",
            "9.9.9.9",
            false,
            false);
        row("in two headers",
            true,
            "X-Forwarded-For: 127.0.0.1\r\nX-Forwarded-For: 9.9.9.9\r\n",
            "9.9.9.9",
            false,
            false);
        row("IPv6", true, "X-Forwarded-For: 2001:DB8::1\r\n", "2001:db8::1", false, false);
        row("one on the proxy's machine",
            true,
            "X-Forwarded-For: 127.0.0.1\r\n",
            "127.0.0.1",
            false,
            false);
        row("no address", true, "X-Forwarded-For: unknown\r\n", "127.0.0.1", false, false);
        row("nothing in it", true, "X-Forwarded-For:\r\n", "127.0.0.1", false, false);
    }
    void tellsWhereTheClientIs()
    {
        QFETCH(bool, behindProxy);
        QFETCH(QByteArray, headers);
        HttpServerOptions options;
        options.behindProxy = behindProxy;
        const RunningServer server(options);
        RawHttp http(server.port);
        http.send("GET / HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n");
        QCOMPARE(http.receive().status, 200);
        const auto& request = server.requests.first();
        QTEST(request.client, "client");
        QTEST(request.clientIsLocal, "local");
        QTEST(request.isSecure, "secure");
    }

    void logsOnlyTheRoute()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        RequestLog log(file.handle());
        HttpServerOptions options;
        options.log = &log;
        RunningServer server(options, [](const HttpRequest& request) {
            return HttpResponse { .status = request.path == "/secret-path" ? 201 : 404,
                                  .body = "secret-answer",
                                  .route = request.path == "/secret-path" ? "/{name}" : "" };
        });
        const QList<QByteArray> headers { "Authorization: Bearer secret-key", "Cookie: s=secret" };
        {
            RawHttp http(server.port);
            http.send(RawHttp::request("POST /secret-path?q=secret", headers, "secret-body"));
            QCOMPARE(http.receive().status, 201);
            http.send(RawHttp::request("SECRET /secret/else", headers));
            QCOMPARE(http.receive().status, 404);
            http.send(RawHttp::request("HEAD /secret-path", headers));
            QCOMPARE(http.receive(true).status, 201);
            http.send("GET /secret HTTP/1.1\r\n\r\n");
            QCOMPARE(http.receive().status, 400);
            QVERIFY(http.isClosedByPeer());
        }
        const auto lines = [&file] {
            file.seek(0);
            auto all = file.readAll().split('\n');
            all.removeLast();
            return all;
        };
        QTRY_COMPARE(lines().size(), 4);
        QVERIFY(!lines().join().contains("secret"));
        QVERIFY(!lines().join().contains("SECRET"));
        const auto has = [&lines](int index, const QByteArray& part) {
            return lines().at(index).contains(part);
        };
        QVERIFY(has(0, R"("method":"POST","route":"/{name}","status":201)"));
        QVERIFY(has(0, R"("bytes_in":11,"bytes_out":13,"client":"127.0.0.1")"));
        QVERIFY(has(1, R"("method":"other","route":"other","status":404)"));
        QVERIFY(has(2, R"("bytes_out":0)") && has(2, R"("method":"HEAD")"));
        QVERIFY(has(3, R"("method":"other","route":"other","status":400)"));
    }

    void countsRequestsAndConnections()
    {
        RequestMetrics metrics;
        HttpServerOptions options;
        options.metrics = &metrics;
        RunningServer server(options, [](const HttpRequest&) {
            return HttpResponse { .status = 200, .route = "/a" };
        });
        RawHttp http(server.port);
        RawHttp other(server.port);
        for (int i = 0; i < 3; ++i) {
            http.send(RawHttp::request("GET /x", {}));
            QCOMPARE(http.receive().status, 200);
        }
        QTRY_VERIFY(metrics.text().contains(R"({method="GET",route="/a",status="200"} 3)"));
        QTRY_VERIFY(metrics.text().contains("\nquibel_http_connections 2\n"));
        other.abort();
        QTRY_VERIFY(metrics.text().contains("\nquibel_http_connections 1\n"));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::ServerReportsTest)
#include "ServerReportsTest.moc"
