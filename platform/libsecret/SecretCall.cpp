#include "platform/libsecret/SecretCall.h"

#include "platform/glib/ResultReceiver.h"

#include <string_view>
#include <utility>

namespace quibel {

void callSecretService(SecretService* service,
                       const SecretCall& call,
                       GCancellable* cancellable,
                       std::function<void(GLibHandle<GVariant>)> receive)
{
    GDBusConnection* const bus = g_dbus_proxy_get_connection(G_DBUS_PROXY(service));
    auto finish = [bus, receive = std::move(receive)](GAsyncResult* result) {
        GLibError error;
        receive(GLibHandle<GVariant>(g_dbus_connection_call_finish(bus, result, error.receiver())));
    };
    g_dbus_connection_call(bus,
                           g_dbus_proxy_get_name(G_DBUS_PROXY(service)),
                           call.path,
                           call.interface,
                           call.method,
                           call.arguments,
                           nullptr,
                           G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           call.timeout,
                           cancellable,
                           ResultReceiver::callback,
                           ResultReceiver::data(std::move(finish)));
}

void readDefaultCollectionPath(SecretService* service,
                               GCancellable* cancellable,
                               std::function<void(const char*)> receive)
{
    auto finish = [receive = std::move(receive)](const GLibHandle<GVariant>& reply) {
        if (!reply || g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(o)")) == FALSE) {
            receive(nullptr);
            return;
        }
        const char* path = nullptr;
        g_variant_get(reply.get(), "(&o)", &path);
        receive(std::string_view(path) == "/" ? "" : path);
    };
    callSecretService(service,
                      { .path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(service)),
                        .interface = g_dbus_proxy_get_interface_name(G_DBUS_PROXY(service)),
                        .method = "ReadAlias",
                        .arguments = g_variant_new("(s)", "default") },
                      cancellable,
                      std::move(finish));
}

} // namespace quibel
