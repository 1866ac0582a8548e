#pragma once

#include <QSocketNotifier>
#include <QTimer>

#include <memory>

#include <glib.h>

namespace quibel {

/// Has Qt's event loop run what becomes due in a GLib context, from `start` to `stop`.
///
/// Sleeps until something is due: it watches the descriptor that wakes the context, and its next
/// timeout. The context has no sources that watch descriptors of their own, and may be polled
/// without an owner.
class ContextDriver
{
    Q_DISABLE_COPY_MOVE(ContextDriver)

public:
    /// The context outlives this.
    explicit ContextDriver(GMainContext* drivenContext);
    ~ContextDriver() = default;

    /// Also when it has started already.
    void start();
    /// Not from what runs in the context.
    void stop();

private:
    void runWhatIsDue();
    void awaitTimeout();

    GMainContext* context;
    QTimer timeout;
    std::unique_ptr<QSocketNotifier> wakeUp; ///< While started.
};

} // namespace quibel
