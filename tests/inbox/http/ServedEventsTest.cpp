#include "inbox/http/RequestMetrics.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/http/RunningServer.h"

#include <QTest>

#include <thread>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

class ServedEventsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        options = {};
        options.metrics = &metrics;
        streams.clear();
    }
    void cleanup() { server.reset(); }

    void sendsEventsAsTheyCome()
    {
        serve();
        RawHttp http(server->port);
        http.send(events);
        const auto answer = http.receive();
        QCOMPARE(answer.status, 200);
        QVERIFY(answer.head.contains("content-type: text/event-stream"));
        QVERIFY(answer.head.contains("cache-control: no-store"));
        QVERIFY(http.waitFor("event: hello\ndata: {}\n\n"));
        for (const auto* number : { "1", "2", "3" }) {
            streams.first()->send("branch", number);
            QVERIFY(http.waitFor("event: branch\ndata: " + QByteArray(number) + "\n\n"));
        }
        QVERIFY(!streams.first()->hasEnded());
    }

    void endsWhenThePublisherEndsIt()
    {
        serve();
        RawHttp http(server->port);
        http.send(events);
        QVERIFY(http.waitFor("hello"));
        streams.first()->send("last", "{}");
        streams.first()->end();
        QVERIFY(http.waitFor("event: last\ndata: {}\n\n\r\n0\r\n\r\n"));
    }

    void servesOtherRequestsMeanwhile()
    {
        serve();
        RawHttp http(server->port);
        http.send(events);
        QVERIFY(http.waitFor("hello"));
        RawHttp other(server->port);
        other.send(RawHttp::request("GET /else", {}));
        QCOMPARE(other.receive().status, 204);
    }

    void findsOutByTheHeartbeatThatAClientIsGone()
    {
        options.heartbeat = 20ms;
        serve();
        RawHttp http(server->port);
        http.send(events);
        QVERIFY(http.waitFor("\n:\n\n"));
        QTRY_VERIFY(metrics.text().contains("event_streams 1\n"));
        QVERIFY(!streams.first()->hasEnded());
        http.abort();
        QTRY_VERIFY(streams.first()->hasEnded());
        QTRY_VERIFY(metrics.text().contains("event_streams 0\n"));
        streams.first()->send("late", "{}");
    }

    void cutsOffAClientThatDoesNotRead()
    {
        serve();
        QTcpSocket lazy;
        lazy.setReadBufferSize(1024);
        lazy.connectToHost(QStringLiteral("127.0.0.1"), server->port);
        QVERIFY(lazy.waitForConnected());
        lazy.write(events);
        // What is sent before the response goes out is too much as well, but ends it in good order.
        QTRY_VERIFY(lazy.peek(1024).contains("hello"));
        // Less than its backlog may hold, again and again, until what the system holds is full too.
        const QByteArray much(60'000, 'x');
        QVERIFY(QTest::qWaitFor(
            [&] {
                streams.first()->send("a", much);
                return streams.first()->hasEnded();
            },
            20'000));
        QTRY_VERIFY(metrics.text().contains("connections 0\n"));
    }

    void endsTheOldestWhenThereAreTooMany()
    {
        options.limits.streams = 2;
        serve();
        std::vector<std::unique_ptr<RawHttp>> clients;
        for (int i = 0; i < 3; ++i) {
            clients.push_back(std::make_unique<RawHttp>(server->port));
            clients.back()->send(events);
            QVERIFY(clients.back()->waitFor("hello"));
        }
        QVERIFY(clients.front()->waitFor("\r\n0\r\n\r\n"));
        QVERIFY(streams.at(0)->hasEnded());
        QVERIFY(!streams.at(1)->hasEnded());
        QVERIFY(!streams.at(2)->hasEnded());
    }

    void endsWhenTheServerStops()
    {
        serve();
        std::vector<std::unique_ptr<RawHttp>> clients;
        for (int i = 0; i < 10; ++i) {
            clients.push_back(std::make_unique<RawHttp>(server->port));
            clients.back()->send(events);
            QVERIFY(clients.back()->waitFor("hello"));
        }
        server.reset();
        for (const auto& client : clients)
            QVERIFY(client->isClosedByPeer());
        for (const auto& stream : streams) {
            QVERIFY(stream->hasEnded());
            stream->send("late", "{}");
        }
    }

    void stopsWhileOtherThreadsSend()
    {
        for (int round = 0; round < 10; ++round) {
            streams.clear();
            serve();
            std::vector<std::unique_ptr<RawHttp>> clients;
            for (int i = 0; i < 4; ++i) {
                clients.push_back(std::make_unique<RawHttp>(server->port));
                clients.back()->send(events);
                QVERIFY(clients.back()->waitFor("hello"));
            }
            const std::jthread sender([all = streams](const std::stop_token& stop) {
                while (!stop.stop_requested())
                    for (const auto& stream : all)
                        stream->send("a", "{}");
            });
            QVERIFY(clients.back()->waitFor("event: a"));
            clients.front()->abort();
            server.reset();
        }
    }

    void answersHeadWithoutStreaming()
    {
        serve();
        RawHttp http(server->port);
        http.send(RawHttp::request("HEAD /events", {}));
        QCOMPARE(http.receive(true).status, 200);
        QTRY_VERIFY(streams.first()->hasEnded());
    }

    void servesA10ClientUntilItCloses()
    {
        serve();
        RawHttp http(server->port);
        http.send("GET /events HTTP/1.0\r\n\r\n");
        QVERIFY(http.waitFor("\r\n\r\nevent: hello\ndata: {}\n\n"));
        streams.first()->end();
        QVERIFY(http.isClosedByPeer());
    }

private:
    void serve()
    {
        server = std::make_unique<RunningServer>(options, [this](const HttpRequest& request) {
            if (request.path != "/events")
                return HttpResponse { .status = 204 };
            streams.append(std::make_shared<EventStream>());
            streams.last()->send("hello", "{}");
            return HttpResponse { .status = 200, .events = streams.last() };
        });
    }

    const QByteArray events = RawHttp::request("GET /events", {});
    RequestMetrics metrics;
    HttpServerOptions options;
    QList<std::shared_ptr<EventStream>> streams;
    std::unique_ptr<RunningServer> server;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::ServedEventsTest)
#include "ServedEventsTest.moc"
