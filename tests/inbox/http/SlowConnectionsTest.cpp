#include "inbox/http/DescriptorLimit.h"
#include "inbox/http/RequestMetrics.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/http/RunningServer.h"

#include <QTest>

#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

namespace {

constexpr unsigned many = 10'000;

/// A connection that sends `beginning` and nothing more, and stays open on this side.
Descriptor openSlow(quint16 port, const QByteArray& beginning)
{
    Descriptor descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(descriptor.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address)
        != 0)
        return Descriptor(-1);
    ::send(descriptor.number(),
           beginning.constData(),
           static_cast<std::size_t>(beginning.size()),
           MSG_NOSIGNAL);
    return descriptor;
}

qint64 valueOf(const RequestMetrics& metrics, const QByteArray& name)
{
    for (const auto& line : metrics.text().split('\n'))
        if (line.startsWith(name + ' '))
            return line.mid(name.size() + 1).toLongLong();
    return -1;
}

} // namespace

class SlowConnectionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        constexpr unsigned needed = many + 2000;
        QVERIFY2(raiseDescriptorLimit(needed) >= needed,
                 "this test needs 12000 open descriptors; raise the hard limit (ulimit -Hn)");
    }

    void servesOthersBesideThem_data()
    {
        QTest::addColumn<QByteArray>("beginning");
        QTest::newRow("headers") << QByteArray("POST / HTTP/1.1\r\nHos");
        QTest::newRow("bodies") << RawHttp::request("POST /", { "Content-Length: 1000" }) + "begin";
        QTest::newRow("nothing at all") << QByteArray();
    }
    void servesOthersBesideThem()
    {
        QFETCH(QByteArray, beginning);
        const auto stream = std::make_shared<EventStream>();
        RequestMetrics metrics;
        HttpServerOptions options;
        options.metrics = &metrics;
        RunningServer server(options, [&stream](const HttpRequest& request) {
            HttpResponse response { .status = 200 };
            if (request.path == "/events")
                response.events = stream;
            return response;
        });
        RawHttp listener(server.port);
        listener.send(RawHttp::request("GET /events", {}));
        QCOMPARE(listener.receive().status, 200);

        std::vector<Descriptor> slow;
        slow.reserve(many);
        std::atomic<unsigned> open = 0;
        std::jthread flood([&] {
            for (unsigned i = 0; i < many; ++i) {
                slow.push_back(openSlow(server.port, beginning));
                if (slow.back().isOpen())
                    ++open;
            }
        });
        const auto status = [&server] {
            RawHttp http(server.port);
            http.send(RawHttp::request("POST /", {}, "body"));
            return http.receive().status;
        };
        while (open < many)
            QCOMPARE(status(), 200);
        flood.join();
        for (int i = 0; i < 20; ++i)
            QCOMPARE(status(), 200);
        QCOMPARE(open.load(), many);

        // Room is made when somebody comes, so the table is full but not more than that.
        QTRY_VERIFY(valueOf(metrics, "quibel_http_connections_cut_total") > many - 1024);
        QVERIFY(valueOf(metrics, "quibel_http_connections") <= 1024);
        QVERIFY(valueOf(metrics, "quibel_http_connections") > 500);
        stream->send("still", "there");
        QVERIFY(listener.waitFor("event: still"));
    }

    void makesRoomForBodies()
    {
        HttpServerOptions options;
        options.limits.body = 1000;
        options.limits.allBodies = 1500;
        options.limits.bodyTime = 0ms;
        const RunningServer server(options);
        RawHttp holder(server.port);
        holder.send(RawHttp::request("POST /", { "Content-Length: 1000" }) + QByteArray(999, 'x'));
        QVERIFY(holder.flush());
        const auto statusOfAnother = [&server] {
            RawHttp another(server.port);
            another.send(RawHttp::request("POST /", {}, QByteArray(600, 'x')));
            return another.receive().status;
        };
        QVERIFY(QTest::qWaitFor([&] { return statusOfAnother() == 503; }));
        QVERIFY(holder.isClosedByPeer());
        QVERIFY(QTest::qWaitFor([&] { return statusOfAnother() == 200; }));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SlowConnectionsTest)
#include "SlowConnectionsTest.moc"
