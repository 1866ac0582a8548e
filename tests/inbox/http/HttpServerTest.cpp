#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/http/RunningServer.h"

#include <QTest>

#include <thread>

namespace quibel::inbox {

using namespace testing;
using namespace Qt::StringLiterals;

class HttpServerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { server.reset(); }

    void handsOverAWholeRequest()
    {
        const auto port = serve({});
        RawHttp http(port);
        http.send(RawHttp::request("POST /a%2Fb/../c?q=1", { "X-Test: yes" }, "hello"));
        const auto answer = http.receive();
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.body, "got 5");
        QVERIFY(answer.head.contains("x-answer: 1"));
        QCOMPARE(server->requests.size(), 1);
        QCOMPARE(server->requests.first().method, "POST");
        QCOMPARE(server->requests.first().path, "/a%2Fb/../c");
        QCOMPARE(server->requests.first().headers.value("x-test"), "yes");
        QCOMPARE(server->requests.first().body, "hello");
    }

    void callsTheHandlerOnItsOwnThread()
    {
        Qt::HANDLE thread = nullptr;
        const auto port = serve({}, [&](const HttpRequest&) {
            thread = QThread::currentThreadId();
            return HttpResponse { .status = 204 };
        });
        RawHttp http(port);
        http.send(RawHttp::request("GET /", {}));
        QCOMPARE(http.receive().status, 204);
        QCOMPARE(thread, QThread::currentThreadId());
    }

    void handsOverTogetherWhatWaitsTogether()
    {
        const auto port = serve({ .requestsTogether = 8 });
        std::vector<std::unique_ptr<QTcpSocket>> clients;
        constexpr int many = 20;
        for (int i = 0; i < many; ++i) {
            clients.push_back(std::make_unique<QTcpSocket>());
            clients.back()->connectToHost(u"127.0.0.1"_s, port);
            QVERIFY(clients.back()->waitForConnected());
            clients.back()->write(RawHttp::request("POST /", {}, QByteArray(i + 1, 'x')));
            QVERIFY(clients.back()->waitForBytesWritten());
        }
        waitUntilAllWasRead(port);
        QTRY_COMPARE(server->requests.size(), many);
        QCOMPARE(server->groups, (QList<qsizetype> { 8, 8, 4 }));
        for (int i = 0; i < many; ++i) {
            QTRY_VERIFY(clients.at(i)->bytesAvailable() > 0);
            QVERIFY(clients.at(i)->readAll().endsWith("got " + QByteArray::number(i + 1)));
        }
    }

    void answersHeadLikeGetWithoutTheBody()
    {
        RawHttp http(serve({}));
        http.send(RawHttp::request("HEAD /", {}));
        const auto answer = http.receive(true);
        QCOMPARE(answer.status, 200);
        QVERIFY(answer.head.contains("content-length: 5"));
        QCOMPARE(answer.body, QByteArray());
        QCOMPARE(server->requests.first().method, "GET");
    }

    void keepsAConnectionForTheNextRequest()
    {
        RawHttp http(serve({}));
        for (const auto* body : { "one", "three" }) {
            http.send(RawHttp::request("POST /", {}, body));
            QCOMPARE(http.receive().status, 200);
            QCOMPARE(server->requests.last().body, body);
        }
    }

    void joinsChunks()
    {
        RawHttp http(serve({}));
        http.send("POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n");
        QVERIFY(http.flush());
        http.send("2\r\nde\r\n0\r\n\r\n");
        QCOMPARE(http.receive().status, 200);
        QCOMPARE(server->requests.first().body, "abcde");
    }

    void takesABodyUpToTheLimit_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("chunked");
        QTest::addColumn<bool>("taken");
        for (const bool chunked : { false, true }) {
            const auto* how = chunked ? "chunked" : "announced";
            QTest::addRow("at the limit, %s", how) << 100'000 << chunked << true;
            QTest::addRow("one over it, %s", how) << 100'001 << chunked << false;
            QTest::addRow("far over it, %s", how) << 350'000 << chunked << false;
        }
    }
    void takesABodyUpToTheLimit()
    {
        QFETCH(int, length);
        QFETCH(bool, chunked);
        QFETCH(bool, taken);
        RawHttp http(serve({ .body = 100'000 }));
        const QByteArray body(length, 'x');
        if (chunked)
            http.send(RawHttp::request("POST /", { "Transfer-Encoding: chunked" })
                      + QByteArray::number(length, 16) + "\r\n" + body + "\r\n0\r\n\r\n");
        else
            http.send(RawHttp::request("POST /", {}, body));
        QCOMPARE(http.receive().status, 200);
        QCOMPARE(server->requests.first().bodyOverLimit, !taken);
        QCOMPARE(server->requests.first().body.size(), taken ? length : 0);
    }

    void cutsAConnectionThatGoesOnFarBeyondTheLimit()
    {
        RawHttp http(serve({ .body = 1000 }));
        http.send(RawHttp::request("POST /", { "Transfer-Encoding: chunked" }) + "f4240\r\n"
                  + QByteArray(1'000'000, 'x'));
        QVERIFY(http.isClosedByPeer());
        QVERIFY(server->requests.isEmpty());
    }

    void refusesWhatAllBodiesTogetherMayNotHold()
    {
        const auto port = serve({ .body = 1000, .allBodies = 1500 });
        RawHttp holder(port);
        holder.send("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 1000\r\n\r\n"
                    + QByteArray(999, 'x'));
        QVERIFY(holder.flush());
        // The first body is counted when it was read, which nothing tells: so ask until it was.
        const auto statusOfAnother = [port] {
            RawHttp another(port);
            another.send(RawHttp::request("POST /", {}, QByteArray(600, 'x')));
            return another.receive().status;
        };
        QTRY_COMPARE(statusOfAnother(), 503);
        holder.send("x");
        QCOMPARE(holder.receive().status, 200);
        QTRY_COMPARE(statusOfAnother(), 200);
    }

    void doesNotHandOverARequestThatWasCutOff()
    {
        const auto port = serve({});
        RawHttp cut(port);
        cut.send("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\nhello");
        QVERIFY(cut.flush());
        cut.abort();
        RawHttp http(port);
        http.send(RawHttp::request("GET /next", {}));
        QCOMPARE(http.receive().status, 200);
        QCOMPARE(server->requests.size(), 1);
        QCOMPARE(server->requests.first().path, "/next");
    }

    void survivesAClientThatLeavesBeforeItsAnswer()
    {
        const auto port = serve({});
        for (int i = 0; i < 50; ++i) {
            RawHttp leaver(port);
            leaver.send(RawHttp::request("POST /", {}, QByteArray(10'000, 'x')));
            QVERIFY(leaver.flush());
            leaver.abort();
        }
        RawHttp http(port);
        http.send(RawHttp::request("GET /", {}));
        QCOMPARE(http.receive().status, 200);
    }

    void answersBesideConnectionsThatNeverFinish()
    {
        const auto port = serve({});
        std::vector<std::unique_ptr<RawHttp>> slow;
        for (int i = 0; i < 100; ++i) {
            slow.push_back(std::make_unique<RawHttp>(port));
            slow.back()->send("POST / HTTP/1.1\r\nHos");
        }
        RawHttp http(port);
        http.send(RawHttp::request("GET /", {}));
        QCOMPARE(http.receive().status, 200);
    }

    void closesAnIdleConnection()
    {
        RawHttp http(serve({ .idleSeconds = 1 }));
        http.send("GET / HTTP/1.1\r\n");
        QVERIFY(http.isClosedByPeer());
        QVERIFY(server->requests.isEmpty());
    }

    void cutsOffTheRequestsThatWaitWhenItStops()
    {
        int handled = 0;
        const auto port = serve({}, [&handled](const HttpRequest&) {
            ++handled;
            return HttpResponse { .status = 200 };
        });
        std::vector<std::unique_ptr<QTcpSocket>> clients;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(std::make_unique<QTcpSocket>());
            clients.back()->connectToHost(u"127.0.0.1"_s, port);
            QVERIFY(clients.back()->waitForConnected());
            clients.back()->write(RawHttp::request("GET /", {}));
            QVERIFY(clients.back()->waitForBytesWritten());
        }
        waitUntilAllWasRead(port);
        server.reset();
        for (const auto& client : clients) {
            QVERIFY(client->state() == QAbstractSocket::UnconnectedState
                    || client->waitForDisconnected());
            QCOMPARE(client->readAll(), QByteArray());
        }
        QCOMPARE(handled, 0);
    }

    void stopsWhileRequestsKeepComing()
    {
        for (int round = 0; round < 10; ++round) {
            const auto port = serve({});
            constexpr int many = 4;
            std::vector<std::jthread> clients;
            clients.reserve(many);
            for (int i = 0; i < many; ++i)
                clients.emplace_back([port](const std::stop_token& stop) {
                    QTcpSocket socket;
                    socket.connectToHost(u"127.0.0.1"_s, port);
                    while (!stop.stop_requested() && socket.waitForConnected()) {
                        socket.write(RawHttp::request("GET /", {}));
                        if (!socket.waitForReadyRead())
                            socket.connectToHost(u"127.0.0.1"_s, port);
                        socket.readAll();
                    }
                });
            QTRY_VERIFY(server->requests.size() > 20);
            server.reset();
        }
    }

    void saysWhyAPortCannotBeHad()
    {
        const auto port = serve({});
        const auto again = openListenSocket({ .host = u"127.0.0.1"_s, .port = port });
        QVERIFY(std::holds_alternative<QString>(again));
        QCOMPARE(std::get<QString>(again), u"Address already in use"_s);
    }

private:
    quint16 serve(const HttpLimits& limits, RunningServer::OneHandler handler = {})
    {
        HttpServerOptions options;
        options.limits = limits;
        server = std::make_unique<RunningServer>(options, std::move(handler));
        return server->port;
    }

    /// The server's thread refuses this by itself; by then it has read what came before, while this
    /// thread, waiting without its event loop, could not answer any of it.
    static void waitUntilAllWasRead(quint16 port)
    {
        QTcpSocket last;
        last.connectToHost(u"127.0.0.1"_s, port);
        QVERIFY(last.waitForConnected());
        last.write("GET / HTTP/1.1\r\n\r\n");
        QVERIFY(last.waitForReadyRead());
    }

    std::unique_ptr<RunningServer> server;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::HttpServerTest)
#include "HttpServerTest.moc"
