#include "platform/libsecret/SecretUnlocking.h"

#include "platform/glib/DefaultContext.h"
#include "platform/glib/ResultReceiver.h"
#include "platform/libsecret/LibsecretHandles.h"
#include "platform/libsecret/SecretCall.h"

#include <array>
#include <chrono>
#include <string_view>
#include <utility>

namespace quibel {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 10s;

/// How often a service that has asked the user is looked at, and how long it may take to answer.
constexpr std::chrono::milliseconds lookInterval = 5s;
constexpr std::chrono::milliseconds patienceWithALook = 10s;

} // namespace

SecretUnlocking::SecretUnlocking(GMainContext* callContext,
                                 SecretConnection& serviceConnection,
                                 SecretIdentity wanted)
    : context(callContext)
    , connection(serviceConnection)
    , identity(std::move(wanted))
    , deadline(callContext, patience)
{
    const DefaultContext current(context);
    connection.open(deadline.cancellable(), [this](GLibHandle<SecretService> opened) {
        service = std::move(opened);
        if (service)
            search();
        else
            stop();
    });
}

SecretUnlocking::~SecretUnlocking()
{
    onEnd = {};
    deadline.cutShort();
    if (nextLook)
        stop();
    DefaultContext(context).runUntil([this] { return hasEnded(); });
}

void SecretUnlocking::search()
{
    const GLibHandle<GHashTable> attributes = makeAttributes(identity);
    secret_service_search_for_dbus_paths(
        service.get(),
        nullptr,
        attributes.get(),
        deadline.cancellable(),
        ResultReceiver::callback,
        ResultReceiver::data([this](GAsyncResult* result) { takeFound(result); }));
}

void SecretUnlocking::takeFound(GAsyncResult* result)
{
    gchar** lockedPaths = nullptr;
    GLibError error;
    secret_service_search_for_dbus_paths_finish(
        service.get(), result, nullptr, &lockedPaths, error.receiver());
    const StringListHandle locked(lockedPaths);
    if (error) {
        stop();
    } else if (*locked) {
        unlock(g_variant_new("(^ao)", locked.get()));
    } else {
        readDefaultCollectionPath(service.get(), deadline.cancellable(), [this](const char* path) {
            if (path == nullptr || *path == '\0')
                stop();
            else
                unlock(g_variant_new(
                    "(^ao)", std::array { path, static_cast<const char*>(nullptr) }.data()));
        });
    }
}

void SecretUnlocking::unlock(GVariant* paths)
{
    callSecretService(service.get(),
                      { .path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(service.get())),
                        .interface = g_dbus_proxy_get_interface_name(G_DBUS_PROXY(service.get())),
                        .method = "Unlock",
                        .arguments = paths },
                      deadline.cancellable(),
                      [this](const GLibHandle<GVariant>& reply) { takePrompt(reply.get()); });
}

void SecretUnlocking::takePrompt(GVariant* reply)
{
    if (reply == nullptr || g_variant_is_of_type(reply, G_VARIANT_TYPE("(aoo)")) == FALSE) {
        stop();
        return;
    }
    const char* prompt = nullptr;
    g_variant_get(reply, "(@ao&o)", nullptr, &prompt);
    if (std::string_view(prompt) == "/") {
        stop();
        return;
    }
    deadline.lift(); // A person takes the time that it takes.
    answer.emplace(g_dbus_proxy_get_connection(G_DBUS_PROXY(service.get())),
                   BusSignal { .sender = g_dbus_proxy_get_name(G_DBUS_PROXY(service.get())),
                               .interface = "org.freedesktop.Secret.Prompt",
                               .member = "Completed",
                               .path = prompt },
                   [this](GVariant* /*arguments*/) {
                       answer.reset();
                       if (nextLook)
                           stop();
                   });
    callSecretService(service.get(),
                      { .path = prompt,
                        .interface = "org.freedesktop.Secret.Prompt",
                        .method = "Prompt",
                        .arguments = g_variant_new("(s)", "") },
                      deadline.cancellable(),
                      [this](const GLibHandle<GVariant>& started) { goOnAfter(started.get()); });
}

void SecretUnlocking::goOnAfter(GVariant* reply)
{
    if (reply == nullptr || !answer) {
        stop();
        return;
    }
    nextLook.reset(g_timeout_source_new(static_cast<guint>(lookInterval.count())));
    g_source_set_callback(
        nextLook.get(),
        [](gpointer self) -> gboolean {
            static_cast<SecretUnlocking*>(self)->look();
            return G_SOURCE_REMOVE;
        },
        this,
        nullptr);
    g_source_attach(nextLook.get(), context);
}

void SecretUnlocking::look()
{
    nextLook.reset();
    callSecretService(
        service.get(),
        { .path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(service.get())),
          .interface = "org.freedesktop.DBus.Properties",
          .method = "Get",
          .arguments = g_variant_new(
              "(ss)", g_dbus_proxy_get_interface_name(G_DBUS_PROXY(service.get())), "Collections"),
          .timeout = static_cast<int>(patienceWithALook.count()) },
        deadline.cancellable(),
        [this](const GLibHandle<GVariant>& reply) { goOnAfter(reply.get()); });
}

void SecretUnlocking::stop()
{
    answer.reset();
    if (nextLook)
        g_source_destroy(nextLook.get());
    nextLook.reset();
    if (!hasEnded())
        end();
}

} // namespace quibel
