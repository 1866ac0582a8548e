#pragma once

#include "platform/glib/GLibHandles.h"

#include <functional>
#include <memory>

namespace quibel {

/// Which signals of a bus are wanted; null for any.
struct BusSignal
{
    const char* sender = nullptr;
    const char* interface = nullptr;
    const char* member = nullptr;
    const char* path = nullptr;
    const char* firstArgument = nullptr;
};

/// Tells of each such signal while it lives, from within the thread's default context of now.
class BusSubscription
{
    Q_DISABLE_COPY_MOVE(BusSubscription)

public:
    /// Gets the arguments of a signal.
    using Receive = std::function<void(GVariant*)>;

    BusSubscription(GDBusConnection* connection, const BusSignal& wanted, Receive receive)
        : bus(G_DBUS_CONNECTION(g_object_ref(connection)))
        , identifier(g_dbus_connection_signal_subscribe(
              connection,
              wanted.sender,
              wanted.interface,
              wanted.member,
              wanted.path,
              wanted.firstArgument,
              G_DBUS_SIGNAL_FLAGS_NONE,
              deliver,
              std::make_unique<Receive>(std::move(receive)).release(),
              release))
    {
    }
    ~BusSubscription() { g_dbus_connection_signal_unsubscribe(bus.get(), identifier); }

private:
    static void deliver(GDBusConnection* /*bus*/,
                        const gchar* /*sender*/,
                        const gchar* /*path*/,
                        const gchar* /*interface*/,
                        const gchar* /*member*/,
                        GVariant* arguments,
                        gpointer receive)
    {
        // What is called may end the subscription, and the function with it.
        const Receive call = *static_cast<Receive*>(receive);
        call(arguments);
    }

    static void release(gpointer receive)
    {
        const std::unique_ptr<Receive> owned(static_cast<Receive*>(receive));
    }

    GLibHandle<GDBusConnection> bus;
    guint identifier;
};

} // namespace quibel
