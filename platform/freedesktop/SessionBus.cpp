#include "platform/freedesktop/SessionBus.h"

#include "platform/freedesktop/AgentOnBus.h"
#include "platform/glib/TimedCalls.h"

#include <QFileInfo>

#include <optional>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr auto addressVariable = "DBUS_SESSION_BUS_ADDRESS";

/// None when a bus would have to be started first.
QByteArray addressOfBus()
{
    QByteArray told = qgetenv(addressVariable);
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

struct Method
{
    const char* destination;
    const char* path;
    const char* interface;
    const char* name;
    const char* answer; ///< The types of what is returned.
};

/// Calls a method without starting anybody. Errors: null.
GLibHandle<GVariant>
call(TimedCalls& calls, GDBusConnection* bus, const Method& method, GVariant* arguments)
{
    const auto answered
        = calls.resultOf([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              g_dbus_connection_call(bus,
                                     method.destination,
                                     method.path,
                                     method.interface,
                                     method.name,
                                     arguments,
                                     G_VARIANT_TYPE(method.answer),
                                     G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                     -1,
                                     cancellable,
                                     done,
                                     slot);
          });
    GLibError error;
    return GLibHandle<GVariant>(
        g_dbus_connection_call_finish(bus, answered.get(), error.receiver()));
}

bool agentRuns(TimedCalls& calls, GDBusConnection* bus)
{
    const Method nameHasOwner { .destination = "org.freedesktop.DBus",
                                .path = "/org/freedesktop/DBus",
                                .interface = "org.freedesktop.DBus",
                                .name = "NameHasOwner",
                                .answer = "(b)" };
    const auto answer = call(calls, bus, nameHasOwner, g_variant_new("(s)", agentBusName));
    gboolean has = FALSE;
    if (answer)
        g_variant_get(answer.get(), "(b)", &has);
    return has != FALSE;
}

std::optional<QString> agentHotKey(TimedCalls& calls, GDBusConnection* bus)
{
    const Method get { .destination = agentBusName,
                       .path = agentObjectPath,
                       .interface = "org.freedesktop.DBus.Properties",
                       .name = "Get",
                       .answer = "(v)" };
    const auto answer = call(calls, bus, get, g_variant_new("(ss)", agentBusName, "HeldHotKey"));
    if (!answer)
        return std::nullopt;
    GVariant* property = nullptr;
    g_variant_get(answer.get(), "(v)", &property);
    const GLibHandle<GVariant> value(property);
    if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING) == FALSE)
        return std::nullopt;
    return QString::fromUtf8(g_variant_get_string(value.get(), nullptr));
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
    const bool runs = agentRuns(calls, bus.get());
    if (calls.expired())
        return { .state = State::silent };
    return { .state = State::answers,
             .agentRuns = runs,
             .agentHotKey = runs ? agentHotKey(calls, bus.get()) : std::nullopt };
}

bool sessionBusIsSilent(std::chrono::milliseconds patience)
{
    const QByteArray address = addressOfBus();
    if (address.isEmpty())
        return false;
    const GLibHandle<GMainContext> context(g_main_context_new());
    TimedCalls calls(context.get(), patience);
    return !connect(calls, address) && calls.expired();
}

void doWithoutSessionBus()
{
    // An address that every library takes for one that leads nowhere.
    qputenv(addressVariable, "disabled:");
}

} // namespace quibel
