#pragma once

#include "inbox/http/RequestRecord.h"

#include <QMap>

#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <tuple>
#include <vector>

namespace quibel::inbox {

/// Counts what the service does, as text that Prometheus reads.
///
/// Thread: any.
/// Source: Prometheus text exposition format 0.0.4.
class RequestMetrics
{
public:
    void count(const RequestRecord& record);
    /// `cut` counts those that ever had to make room for others.
    void setConnections(std::size_t open, std::size_t cut);
    void setOpenStreams(std::size_t number) { openStreams = number; }

    /// Adds what another part of the service has to tell, asked for anew each time.
    void add(std::function<QByteArray()> part);

    [[nodiscard]] QByteArray text() const;

    /// One metric without labels, as `add` takes it; `type` is "counter" or "gauge".
    [[nodiscard]] static QByteArray
    sample(const QByteArray& name, const QByteArray& type, const QByteArray& help, double value);

private:
    static constexpr std::array buckets { 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                          0.1,   0.25,   0.5,   1.0,  2.5,   10.0 };
    struct Durations
    {
        std::array<quint64, buckets.size()> within {}; ///< Each also counts the shorter ones.
        quint64 number = 0;
        double sum = 0;
    };
    using Kind = std::tuple<QByteArray, QByteArray, int>; ///< Method, route and status.

    mutable std::mutex mutex; ///< Guards all but the gauges.
    QMap<Kind, quint64> requests;
    QMap<QByteArray, Durations> durations;
    quint64 bytesIn = 0;
    quint64 bytesOut = 0;
    std::vector<std::function<QByteArray()>> parts;

    std::atomic<std::size_t> openConnections = 0;
    std::atomic<std::size_t> connectionsCut = 0;
    std::atomic<std::size_t> openStreams = 0;
};

} // namespace quibel::inbox
