#include "platform/glib/ContextDriver.h"

#include "platform/glib/DefaultContext.h"

#include <limits>

namespace quibel {

namespace {

/// What a context would sleep on.
struct Sleep
{
    GPollFD wakeUp {};
    gint timeout = -1; ///< Milliseconds; negative for none.
};

Sleep nextSleep(GMainContext* context)
{
    const DefaultContext current(context);
    Sleep sleep;
    gint priority = 0;
    g_main_context_prepare(context, &priority);
    g_main_context_query(
        context, std::numeric_limits<gint>::max(), &sleep.timeout, &sleep.wakeUp, 1);
    return sleep;
}

} // namespace

ContextDriver::ContextDriver(GMainContext* drivenContext)
    : context(drivenContext)
{
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, &timeout, [this] { runWhatIsDue(); });
}

void ContextDriver::start()
{
    if (wakeUp)
        return;
    wakeUp = std::make_unique<QSocketNotifier>(nextSleep(context).wakeUp.fd, QSocketNotifier::Read);
    QObject::connect(
        wakeUp.get(), &QSocketNotifier::activated, wakeUp.get(), [this] { runWhatIsDue(); });
    awaitTimeout();
}

void ContextDriver::stop()
{
    wakeUp.reset();
    timeout.stop();
}

void ContextDriver::runWhatIsDue()
{
    DefaultContext(context).runWhatIsDue();
    awaitTimeout();
}

void ContextDriver::awaitTimeout()
{
    const gint milliseconds = nextSleep(context).timeout;
    if (milliseconds < 0)
        timeout.stop();
    else
        timeout.start(milliseconds);
}

} // namespace quibel
