#pragma once

#include "platform/glib/GLibHandles.h"

#include <chrono>

namespace quibel {

/// Ends the GLib calls that are given its cancellable as cancelled, once their time is up.
class Deadline
{
    Q_DISABLE_COPY_MOVE(Deadline)

public:
    /// The time passes while `context` is iterated.
    Deadline(GMainContext* context, std::chrono::milliseconds limit);
    ~Deadline();

    /// From now on, no time is up.
    void lift() { g_source_destroy(timeout.get()); }

    /// Brings the end forward.
    void cutShort() { g_cancellable_cancel(calls.get()); }

    [[nodiscard]] GCancellable* cancellable() const { return calls.get(); }
    [[nodiscard]] bool passed() const { return g_cancellable_is_cancelled(calls.get()) != FALSE; }

private:
    GLibHandle<GCancellable> calls;
    GLibHandle<GSource> timeout;
};

} // namespace quibel
