#include "platform/freedesktop/TimedCalls.h"

namespace quibel {

namespace {

gboolean cancel(gpointer cancellable)
{
    g_cancellable_cancel(G_CANCELLABLE(cancellable));
    return G_SOURCE_REMOVE;
}

void keep(GObject* /*source*/, GAsyncResult* result, gpointer slot)
{
    static_cast<GLibHandle<GAsyncResult>*>(slot)->reset(G_ASYNC_RESULT(g_object_ref(result)));
}

} // namespace

TimedCalls::TimedCalls(GMainContext* callContext, std::chrono::milliseconds limit)
    : context(callContext)
    , cancellable(g_cancellable_new())
    , deadline(g_timeout_source_new(static_cast<guint>(limit.count())))
{
    g_main_context_push_thread_default(context);
    g_source_set_callback(deadline.get(), cancel, cancellable.get(), nullptr);
    g_source_attach(deadline.get(), context);
}

TimedCalls::~TimedCalls()
{
    g_source_destroy(deadline.get());
    g_main_context_pop_thread_default(context);
}

GLibHandle<GAsyncResult> TimedCalls::resultOf(const Start& start)
{
    GLibHandle<GAsyncResult> result;
    start(cancellable.get(), keep, &result);
    while (!result)
        g_main_context_iteration(context, TRUE);
    return result;
}

bool TimedCalls::expired() const
{
    return g_cancellable_is_cancelled(cancellable.get()) != FALSE;
}

} // namespace quibel
