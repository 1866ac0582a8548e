#include "inbox/http/RequestMetrics.h"

namespace quibel::inbox {

namespace {

/// Routes are few by themselves; a mistake that makes one of each path must not fill the memory.
constexpr qsizetype mostKinds = 1000;

const QByteArray other("other");

QByteArray quoted(QByteArray text)
{
    text.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return '"' + text + '"';
}

QByteArray head(const QByteArray& name, const QByteArray& type, const QByteArray& help)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

QByteArray number(double value)
{
    return QByteArray::number(value, 'g', 15);
}

} // namespace

QByteArray RequestMetrics::sample(const QByteArray& name,
                                  const QByteArray& type,
                                  const QByteArray& help,
                                  double value)
{
    return head(name, type, help) + name + ' ' + number(value) + '\n';
}

void RequestMetrics::count(const RequestRecord& record)
{
    const std::lock_guard lock(mutex);
    Kind kind { record.method, record.route, record.status };
    if (requests.size() >= mostKinds && !requests.contains(kind))
        kind = { other, other, 0 };
    ++requests[kind];
    bytesIn += static_cast<quint64>(record.bytesIn);
    bytesOut += static_cast<quint64>(record.bytesOut);
    if (record.isStream)
        return;

    const auto seconds = std::chrono::duration<double>(record.duration).count();
    auto& durationsOfRoute = durations[std::get<1>(kind)];
    for (std::size_t i = 0; i < buckets.size(); ++i)
        if (seconds <= buckets.at(i))
            ++durationsOfRoute.within.at(i);
    ++durationsOfRoute.number;
    durationsOfRoute.sum += seconds;
}

void RequestMetrics::setConnections(std::size_t open, std::size_t cut)
{
    openConnections = open;
    connectionsCut = cut;
}

void RequestMetrics::add(std::function<QByteArray()> part)
{
    const std::lock_guard lock(mutex);
    parts.push_back(std::move(part));
}

QByteArray RequestMetrics::text() const
{
    const std::lock_guard lock(mutex);
    const QByteArray total("quibel_http_requests_total");
    auto result = head(total, "counter", "Requests that were answered.");
    for (auto kind = requests.cbegin(); kind != requests.cend(); ++kind) {
        const auto& [method, route, status] = kind.key();
        result += total + "{method=" + quoted(method) + ",route=" + quoted(route) + ",status=\""
            + QByteArray::number(status) + "\"} " + QByteArray::number(kind.value()) + '\n';
    }

    const QByteArray name("quibel_http_request_duration_seconds");
    result += head(name, "histogram", "From the request line to the end of the answer.");
    for (auto route = durations.cbegin(); route != durations.cend(); ++route) {
        const auto label = "route=" + quoted(route.key());
        const auto bucket = name + "_bucket{" + label + ",le=\"";
        for (std::size_t i = 0; i < buckets.size(); ++i)
            result += bucket + number(buckets.at(i)) + "\"} "
                + QByteArray::number(route->within.at(i)) + '\n';
        const auto all = QByteArray::number(route->number) + '\n';
        result += bucket + "+Inf\"} " + all + name + "_sum{" + label + "} " + number(route->sum)
            + '\n' + name + "_count{" + label + "} " + all;
    }

    const auto add = [&result](const char* metric, const char* type, const char* help, auto value) {
        result += sample(metric, type, help, static_cast<double>(value));
    };
    add("quibel_http_request_bytes_total", "counter", "Bytes of the bodies of requests.", bytesIn);
    add("quibel_http_response_bytes_total", "counter", "Bytes of the bodies of answers.", bytesOut);
    add("quibel_http_connections", "gauge", "Connections that are open.", openConnections.load());
    add("quibel_http_connections_cut_total",
        "counter",
        "Connections that made room for others.",
        connectionsCut.load());
    add("quibel_http_event_streams",
        "gauge",
        "Streams of events that are open.",
        openStreams.load());
    for (const auto& part : parts)
        result += part();
    return result;
}

} // namespace quibel::inbox
