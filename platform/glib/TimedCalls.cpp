#include "platform/glib/TimedCalls.h"

#include "platform/glib/ResultReceiver.h"

namespace quibel {

TimedCalls::TimedCalls(GMainContext* context, std::chrono::milliseconds limit)
    : current(context)
    , deadline(context, limit)
{
}

GLibHandle<GAsyncResult> TimedCalls::resultOf(const Start& start) const
{
    GLibHandle<GAsyncResult> result;
    const auto keep
        = [&result](GAsyncResult* arrived) { result.reset(G_ASYNC_RESULT(g_object_ref(arrived))); };
    start(cancellable(), ResultReceiver::callback, ResultReceiver::data(keep));
    waitUntil([&result] { return result != nullptr; });
    return result;
}

} // namespace quibel
