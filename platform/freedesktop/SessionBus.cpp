#include "platform/freedesktop/SessionBus.h"

#include "platform/freedesktop/TimedCalls.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr auto addressVariable = "DBUS_SESSION_BUS_ADDRESS";
constexpr auto agentName = "org.quibel.CaptureAgent";

/// None when a bus would have to be started first.
QByteArray addressOfBus()
{
    const QByteArray told = qgetenv(addressVariable);
    if (!told.isEmpty())
        return told;
    const QString usual = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
    return QFileInfo::exists(usual) ? "unix:path=" + usual.toUtf8() : QByteArray();
}

GLibHandle<GDBusConnection> connect(TimedCalls& calls, const QByteArray& address)
{
    const auto connected = calls.resultOf(
        [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
            g_dbus_connection_new_for_address(
                address.constData(),
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                                                  | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr,
                cancellable,
                done,
                slot);
        });
    GLibError error;
    return GLibHandle<GDBusConnection>(
        g_dbus_connection_new_for_address_finish(connected.get(), error.receiver()));
}

bool hasOwner(TimedCalls& calls, GDBusConnection* bus, const char* name)
{
    const auto answered
        = calls.resultOf([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              g_dbus_connection_call(bus,
                                     "org.freedesktop.DBus",
                                     "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus",
                                     "NameHasOwner",
                                     g_variant_new("(s)", name),
                                     G_VARIANT_TYPE("(b)"),
                                     G_DBUS_CALL_FLAGS_NONE,
                                     -1,
                                     cancellable,
                                     done,
                                     slot);
          });
    GLibError error;
    const GLibHandle<GVariant> answer(
        g_dbus_connection_call_finish(bus, answered.get(), error.receiver()));
    gboolean has = FALSE;
    if (answer)
        g_variant_get(answer.get(), "(b)", &has);
    return has != FALSE;
}

} // namespace

SessionBusFacts lookAtSessionBus(std::chrono::milliseconds patience)
{
    using State = SessionBusFacts::State;
    const QByteArray address = addressOfBus();
    if (address.isEmpty())
        return { .state = State::absent };

    const GLibHandle<GMainContext> context(g_main_context_new());
    TimedCalls calls(context.get(), patience);
    const auto bus = connect(calls, address);
    if (!bus)
        return { .state = calls.expired() ? State::silent : State::absent };
    const bool agentRuns = hasOwner(calls, bus.get(), agentName);
    if (calls.expired())
        return { .state = State::silent };
    return { .state = State::answers, .agentRuns = agentRuns };
}

void doWithoutSessionBus()
{
    // An address that every library takes for one that leads nowhere.
    qputenv(addressVariable, "disabled:");
}

} // namespace quibel
