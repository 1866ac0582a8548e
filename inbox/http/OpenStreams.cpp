#include "inbox/http/OpenStreams.h"

#include "inbox/http/EventStream.h"
#include "inbox/http/RequestMetrics.h"

namespace quibel::inbox {

OpenStreams::OpenStreams(std::size_t streamLimit, RequestMetrics* requestMetrics)
    : limit(streamLimit)
    , metrics(requestMetrics)
{
}

void OpenStreams::add(const std::shared_ptr<EventStream>& stream)
{
    const std::lock_guard lock(mutex);
    if (closed) {
        stream->end();
        return;
    }
    streams.push_back(stream);
    dropEnded();
    if (streams.size() <= limit)
        return;
    if (const auto oldest = streams.front().lock())
        oldest->end();
    dropEnded();
}

void OpenStreams::keepAlive()
{
    const std::lock_guard lock(mutex);
    for (const auto& stream : streams)
        if (const auto open = stream.lock())
            open->keepAlive();
    dropEnded();
}

void OpenStreams::close()
{
    const std::lock_guard lock(mutex);
    closed = true;
    for (const auto& stream : streams)
        if (const auto open = stream.lock())
            open->end();
}

void OpenStreams::dropEnded()
{
    std::erase_if(streams, [](const auto& stream) {
        const auto open = stream.lock();
        return !open || open->hasEnded();
    });
    if (metrics)
        metrics->setOpenStreams(streams.size());
}

} // namespace quibel::inbox
