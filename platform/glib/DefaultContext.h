#pragma once

#include <QtGlobal>

#include <functional>

#include <glib.h>

namespace quibel {

/// Makes a GLib context the thread's default while it lives, so that calls and objects that are
/// made belong to it.
class DefaultContext
{
    Q_DISABLE_COPY_MOVE(DefaultContext)

public:
    explicit DefaultContext(GMainContext* wanted)
        : context(wanted)
    {
        g_main_context_push_thread_default(context);
    }
    ~DefaultContext() { g_main_context_pop_thread_default(context); }

    /// Runs what becomes due in the context, and nothing else of the program, until `done`.
    void runUntil(const std::function<bool()>& done) const
    {
        while (!done())
            g_main_context_iteration(context, TRUE);
    }

    /// Runs what is due in the context by now.
    void runWhatIsDue() const
    {
        while (g_main_context_iteration(context, FALSE) != FALSE) { }
    }

private:
    GMainContext* context;
};

} // namespace quibel
