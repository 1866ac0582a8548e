#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace quibel::inbox {

class EventStream;
class RequestMetrics;

/// The streams of events that go out to clients.
///
/// Thread: any.
class OpenStreams
{
public:
    /// With more than `limit` of them the oldest ends. `metrics` may be null.
    OpenStreams(std::size_t streamLimit, RequestMetrics* requestMetrics);

    /// A stream that comes after `close` ends at once.
    void add(const std::shared_ptr<EventStream>& stream);
    void keepAlive();
    /// Ends all of them.
    void close();

private:
    void dropEnded();

    std::size_t limit;
    RequestMetrics* metrics;
    std::mutex mutex;                               ///< Guards the two below.
    std::deque<std::weak_ptr<EventStream>> streams; ///< The oldest first.
    bool closed = false;
};

} // namespace quibel::inbox
