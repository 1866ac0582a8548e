#include "platform/glib/Deadline.h"

namespace quibel {

namespace {

gboolean cancel(gpointer cancellable)
{
    g_cancellable_cancel(G_CANCELLABLE(cancellable));
    return G_SOURCE_REMOVE;
}

} // namespace

Deadline::Deadline(GMainContext* context, std::chrono::milliseconds limit)
    : calls(g_cancellable_new())
    , timeout(g_timeout_source_new(static_cast<guint>(limit.count())))
{
    g_source_set_callback(timeout.get(), cancel, calls.get(), nullptr);
    g_source_attach(timeout.get(), context);
}

Deadline::~Deadline()
{
    g_source_destroy(timeout.get());
}

} // namespace quibel
