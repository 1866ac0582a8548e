#include "inbox/http/RequestMetrics.h"

#include <QRegularExpression>
#include <QTest>

namespace quibel::inbox {

using namespace std::chrono_literals;

namespace {

/// Text with the other kind of quotation marks, so that it can be read here.
QByteArray quoted(QByteArray text)
{
    return text.replace('\'', '"');
}

} // namespace

class RequestMetricsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsByMethodRouteAndStatus()
    {
        RequestMetrics metrics;
        metrics.count(request("GET", "/a", 200));
        metrics.count(request("GET", "/a", 200));
        metrics.count(request("POST", "/a", 503));
        const auto lines = metrics.text().split('\n');
        const QByteArray name("quibel_http_requests_total");
        QVERIFY(lines.contains("# TYPE " + name + " counter"));
        QVERIFY(lines.contains(name + quoted("{method='GET',route='/a',status='200'} 2")));
        QVERIFY(lines.contains(name + quoted("{method='POST',route='/a',status='503'} 1")));
    }

    void sortsDurationsIntoBucketsOfTheRoute()
    {
        RequestMetrics metrics;
        for (const auto duration : { 1000us, 1001us, 200'000us, 60'000'000us })
            metrics.count(request("GET", "/a", 200, duration));
        const auto lines = metrics.text().split('\n');
        const QByteArray name("quibel_http_request_duration_seconds");
        QVERIFY(lines.contains("# TYPE " + name + " histogram"));
        QVERIFY(lines.contains(name + quoted("_bucket{route='/a',le='0.001'} 1")));
        QVERIFY(lines.contains(name + quoted("_bucket{route='/a',le='0.0025'} 2")));
        QVERIFY(lines.contains(name + quoted("_bucket{route='/a',le='0.25'} 3")));
        QVERIFY(lines.contains(name + quoted("_bucket{route='/a',le='10'} 3")));
        QVERIFY(lines.contains(name + quoted("_bucket{route='/a',le='+Inf'} 4")));
        QVERIFY(lines.contains(name + quoted("_count{route='/a'} 4")));
        QVERIFY(lines.contains(name + quoted("_sum{route='/a'} 60.202001")));
    }

    void leavesStreamsOutOfTheDurations()
    {
        RequestMetrics metrics;
        auto stream = request("GET", "/events", 200, 3600s);
        stream.isStream = true;
        metrics.count(stream);
        const auto text = metrics.text();
        QVERIFY(
            text.contains(quoted("requests_total{method='GET',route='/events',status='200'} 1")));
        QVERIFY(!text.contains("_count{"));
    }

    void sumsBytes()
    {
        RequestMetrics metrics;
        auto one = request("GET", "/a", 200);
        one.bytesIn = 1'000'000'000'000;
        one.bytesOut = 3;
        metrics.count(one);
        metrics.count(one);
        const auto lines = metrics.text().split('\n');
        QVERIFY(lines.contains("quibel_http_request_bytes_total 2000000000000"));
        QVERIFY(lines.contains("quibel_http_response_bytes_total 6"));
    }

    void tellsWhatIsOpen()
    {
        RequestMetrics metrics;
        metrics.setConnections(7, 3);
        metrics.setOpenStreams(2);
        const auto lines = metrics.text().split('\n');
        QVERIFY(lines.contains("quibel_http_connections 7"));
        QVERIFY(lines.contains("quibel_http_connections_cut_total 3"));
        QVERIFY(lines.contains("quibel_http_event_streams 2"));
    }

    void escapesLabels()
    {
        RequestMetrics metrics;
        metrics.count(request("GET", "/\"\\\n", 200));
        QVERIFY(metrics.text().contains("route=\"/\\\"\\\\\\n\""));
    }

    void keepsTheNumberOfKindsBounded()
    {
        RequestMetrics metrics;
        for (int i = 0; i < 1500; ++i)
            metrics.count(request("GET", "/" + QByteArray::number(i), 200));
        const auto text = metrics.text();
        QCOMPARE(text.count("quibel_http_requests_total{"), 1001);
        QVERIFY(text.contains(quoted("{method='other',route='other',status='0'} 500")));
        QCOMPARE(text.count("_count{"), 1001);
    }

    void addsWhatOtherPartsTell()
    {
        RequestMetrics metrics;
        int branches = 1;
        metrics.add([&branches] {
            return RequestMetrics::sample(
                "quibel_branches", "gauge", "Branches that are kept.", branches);
        });
        branches = 5;
        QVERIFY(metrics.text().endsWith("# HELP quibel_branches Branches that are kept.\n"
                                        "# TYPE quibel_branches gauge\n"
                                        "quibel_branches 5\n"));
    }

    void writesOnlyLinesOfTheFormat()
    {
        RequestMetrics metrics;
        metrics.count(request("GET", "/a", 200, 5ms));
        static const QRegularExpression form(QString::fromLatin1(quoted(
            R"(\A(# (HELP|TYPE) [a-z_]+ .+|[a-z_]+(\{([a-z]+='[^']*',?)+\})? [0-9.e+-]+)\z)")));
        auto lines = metrics.text().split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        for (const auto& line : lines)
            QVERIFY2(form.match(QString::fromUtf8(line)).hasMatch(), line.constData());
    }

private:
    static RequestRecord request(const QByteArray& method,
                                 const QByteArray& route,
                                 int status,
                                 std::chrono::microseconds duration = {})
    {
        RequestRecord record;
        record.method = method;
        record.route = route;
        record.status = status;
        record.duration = duration;
        return record;
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::RequestMetricsTest)
#include "RequestMetricsTest.moc"
