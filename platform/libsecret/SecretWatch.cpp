#include "platform/libsecret/SecretWatch.h"

#include "platform/glib/DefaultContext.h"

#include <algorithm>

namespace quibel {

namespace {

constexpr const char* serviceName = "org.freedesktop.secrets";

} // namespace

SecretWatch::SecretWatch(GMainContext* callContext,
                         SecretConnection& connection,
                         std::chrono::milliseconds shortest)
    : context(callContext)
    , earliestEnd(std::chrono::steady_clock::now() + shortest)
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
    cancelEnd();
    if (!opening)
        return;
    g_cancellable_cancel(opening.get());
    DefaultContext(context).runUntil([this] { return !opening; });
}

void SecretWatch::watch(GDBusConnection* bus)
{
    signals.emplace(bus, BusSignal { .sender = serviceName }, [this](GVariant* /*arguments*/) {
        takeChange();
    });
    owners.emplace(bus,
                   BusSignal { .sender = "org.freedesktop.DBus",
                               .interface = "org.freedesktop.DBus",
                               .member = "NameOwnerChanged",
                               .firstArgument = serviceName },
                   [this](GVariant* change) { takeOwner(change); });
}

void SecretWatch::takeOwner(GVariant* change)
{
    const char* owner = "";
    if (g_variant_is_of_type(change, G_VARIANT_TYPE("(sss)")) != FALSE)
        g_variant_get(change, "(&s&s&s)", nullptr, nullptr, &owner);
    // To read from a service that has gone would start it, only to see it go again perhaps.
    if (*owner == '\0')
        cancelEnd();
    else
        takeChange();
}

void SecretWatch::takeChange()
{
    using std::chrono::milliseconds;
    if (due)
        return;
    const auto rest
        = std::chrono::ceil<milliseconds>(earliestEnd - std::chrono::steady_clock::now());
    due.reset(g_timeout_source_new(static_cast<guint>(std::max(rest, milliseconds(0)).count())));
    g_source_set_callback(
        due.get(),
        [](gpointer self) -> gboolean {
            static_cast<SecretWatch*>(self)->endNow();
            return G_SOURCE_REMOVE;
        },
        this,
        nullptr);
    g_source_attach(due.get(), context);
}

void SecretWatch::cancelEnd()
{
    if (due)
        g_source_destroy(due.get());
    due.reset();
}

void SecretWatch::endNow()
{
    signals.reset();
    owners.reset();
    cancelEnd();
    end();
}

} // namespace quibel
