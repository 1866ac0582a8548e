#pragma once

#include "platform/freedesktop/GLibHandles.h"

#include <chrono>
#include <functional>

namespace quibel {

/// Runs asynchronous GLib calls one after the other and waits for each, until one deadline for all.
///
/// While it lives, `context` is the thread's default context, so that the calls and the objects
/// they make belong to it and nothing else of the program runs during a wait. Errors: from the
/// deadline on, calls end as cancelled.
class TimedCalls
{
    Q_DISABLE_COPY_MOVE(TimedCalls)

public:
    /// Starts one call, handing `cancellable()`, the callback and the data on to it.
    using Start = std::function<void(GCancellable*, GAsyncReadyCallback, gpointer)>;

    TimedCalls(GMainContext* callContext, std::chrono::milliseconds limit);
    ~TimedCalls();

    [[nodiscard]] GLibHandle<GAsyncResult> resultOf(const Start& start);

    [[nodiscard]] bool expired() const;

private:
    GMainContext* context;
    GLibHandle<GCancellable> cancellable;
    GLibHandle<GSource> deadline;
};

} // namespace quibel
