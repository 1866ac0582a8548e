#include "platform/libsecret/SecretConnection.h"

#include "platform/glib/ResultReceiver.h"

#include <utility>

namespace quibel {

namespace {

void refusePrompt(SecretService* service,
                  SecretPrompt* /*prompt*/,
                  const GVariantType* /*answer*/,
                  GCancellable* /*cancellable*/,
                  GAsyncReadyCallback callback,
                  gpointer data)
{
    g_task_report_new_error(service,
                            callback,
                            data,
                            nullptr,
                            SECRET_ERROR,
                            SECRET_ERROR_IS_LOCKED,
                            "%s",
                            "the store wants to ask the user");
}

GVariant* finishRefusedPrompt(SecretService* /*service*/, GAsyncResult* result, GError** error)
{
    return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

void makePromptless(gpointer type, gpointer /*data*/)
{
    SecretServiceClass* const functions = SECRET_SERVICE_CLASS(type);
    functions->prompt_async = refusePrompt;
    functions->prompt_finish = finishRefusedPrompt;
}

/// A store may answer any change by a prompt, which libsecret would start unasked.
GType promptlessService()
{
    static const GType type = g_type_register_static_simple(SECRET_TYPE_SERVICE,
                                                            "QuibelPromptlessSecretService",
                                                            sizeof(SecretServiceClass),
                                                            makePromptless,
                                                            sizeof(SecretService),
                                                            nullptr,
                                                            GTypeFlags {});
    return type;
}

} // namespace

void SecretConnection::open(GCancellable* cancellable, Opened opened)
{
    if (kept) {
        opened(another());
        return;
    }
    openBus(cancellable, [this, cancellable, opened = std::move(opened)](GDBusConnection* bus) {
        if (bus != nullptr)
            openService(cancellable, opened);
        else
            opened(nullptr);
    });
}

void SecretConnection::openBus(GCancellable* cancellable, BusOpened opened)
{
    if (kept) {
        opened(g_dbus_proxy_get_connection(G_DBUS_PROXY(kept.get())));
        return;
    }
    auto connected = [opened = std::move(opened)](GAsyncResult* result) {
        GLibError error;
        const GLibHandle<GDBusConnection> bus(g_bus_get_finish(result, error.receiver()));
        // GLib would end the program together with the bus.
        if (bus)
            g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        opened(bus.get());
    };
    g_bus_get(G_BUS_TYPE_SESSION,
              cancellable,
              ResultReceiver::callback,
              ResultReceiver::data(std::move(connected)));
}

void SecretConnection::openService(GCancellable* cancellable, Opened opened)
{
    auto finished = [this, opened = std::move(opened)](GAsyncResult* result) {
        GLibError error;
        kept.reset(secret_service_open_finish(result, error.receiver()));
        opened(another());
    };
    secret_service_open(promptlessService(),
                        nullptr,
                        SECRET_SERVICE_OPEN_SESSION,
                        cancellable,
                        ResultReceiver::callback,
                        ResultReceiver::data(std::move(finished)));
}

void SecretConnection::drop(SecretService* failed)
{
    if (kept.get() == failed)
        kept.reset();
}

GLibHandle<SecretService> SecretConnection::another() const
{
    return GLibHandle<SecretService>(kept ? SECRET_SERVICE(g_object_ref(kept.get())) : nullptr);
}

} // namespace quibel
