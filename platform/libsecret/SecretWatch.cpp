#include "platform/libsecret/SecretWatch.h"

#include "platform/glib/DefaultContext.h"

namespace quibel {

namespace {

constexpr const char* serviceName = "org.freedesktop.secrets";

} // namespace

SecretWatch::SecretWatch(GMainContext* callContext, SecretConnection& connection)
    : context(callContext)
    , opening(g_cancellable_new())
{
    const DefaultContext current(context);
    connection.openBus(opening.get(), [this](GDBusConnection* bus) {
        opening.reset();
        if (bus != nullptr)
            watch(bus);
    });
}

SecretWatch::~SecretWatch()
{
    if (!opening)
        return;
    g_cancellable_cancel(opening.get());
    DefaultContext(context).runUntil([this] { return !opening; });
}

void SecretWatch::watch(GDBusConnection* bus)
{
    signals.emplace(bus, BusSignal { .sender = serviceName }, [this] { takeChange(); });
    owners.emplace(bus,
                   BusSignal { .sender = "org.freedesktop.DBus",
                               .interface = "org.freedesktop.DBus",
                               .member = "NameOwnerChanged",
                               .firstArgument = serviceName },
                   [this] { takeChange(); });
}

void SecretWatch::takeChange()
{
    signals.reset();
    owners.reset();
    if (!hasEnded())
        end();
}

} // namespace quibel
