#pragma once

#include "platform/glib/Deadline.h"
#include "platform/glib/DefaultContext.h"

#include <functional>

namespace quibel {

/// Runs asynchronous GLib calls one after the other and waits for each, until one deadline for all.
///
/// While it lives, its context is the thread's default context, so that the calls and the objects
/// they make belong to it and nothing else of the program runs during a wait. Errors: from the
/// deadline on, calls end as cancelled.
class TimedCalls
{
    Q_DISABLE_COPY_MOVE(TimedCalls)

public:
    /// Starts one call, handing `cancellable()`, the callback and the data on to it.
    using Start = std::function<void(GCancellable*, GAsyncReadyCallback, gpointer)>;

    TimedCalls(GMainContext* context, std::chrono::milliseconds limit);
    ~TimedCalls() = default;

    [[nodiscard]] GLibHandle<GAsyncResult> resultOf(const Start& start) const;

    /// Waits for calls that were started otherwise.
    void waitUntil(const std::function<bool()>& done) const { current.runUntil(done); }

    [[nodiscard]] GCancellable* cancellable() const { return deadline.cancellable(); }
    [[nodiscard]] bool expired() const { return deadline.passed(); }

private:
    DefaultContext current;
    Deadline deadline;
};

} // namespace quibel
