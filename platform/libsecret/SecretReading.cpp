#include "platform/libsecret/SecretReading.h"

#include "platform/glib/DefaultContext.h"
#include "platform/glib/ResultReceiver.h"
#include "platform/libsecret/LibsecretHandles.h"
#include "platform/libsecret/SecretCall.h"

#include <array>
#include <utility>

namespace quibel {

namespace {

/// The first secret of an answer to `GetSecrets`, which maps the paths of items to their secrets.
///
/// Errors: null when the answer is of another type, is empty, or cannot be decoded.
SecretValueHandle firstSecret(SecretService* service, GVariant* answer)
{
    if (g_variant_is_of_type(answer, G_VARIANT_TYPE("(a{o(oayays)})")) == FALSE)
        return {};
    const GLibHandle<GVariant> secrets(g_variant_get_child_value(answer, 0));
    if (g_variant_n_children(secrets.get()) == 0)
        return {};
    const GLibHandle<GVariant> entry(g_variant_get_child_value(secrets.get(), 0));
    const GLibHandle<GVariant> secret(g_variant_get_child_value(entry.get(), 1));
    return SecretValueHandle(secret_service_decode_dbus_secret(service, secret.get()));
}

/// The value in an answer to `Get`, if it is one; null for null.
GVariant* propertyIn(GVariant* answer)
{
    GVariant* value = nullptr;
    if (answer != nullptr && g_variant_is_of_type(answer, G_VARIANT_TYPE("(v)")) != FALSE)
        g_variant_get(answer, "(v)", &value);
    return value;
}

} // namespace

SecretReading::SecretReading(GMainContext* callContext,
                             SecretConnection& serviceConnection,
                             SecretIdentity wanted,
                             std::chrono::milliseconds limit)
    : context(callContext)
    , connection(serviceConnection)
    , identity(std::move(wanted))
    , deadline(callContext, limit)
{
    const DefaultContext current(context);
    begin();
}

SecretReading::~SecretReading()
{
    onEnd = {};
    deadline.cutShort();
    DefaultContext(context).runUntil([this] { return hasEnded(); });
}

void SecretReading::begin()
{
    connection.open(deadline.cancellable(), [this](GLibHandle<SecretService> opened) {
        service = std::move(opened);
        if (service)
            search();
        else
            tryAgain();
    });
}

void SecretReading::search()
{
    const GLibHandle<GHashTable> attributes = makeAttributes(identity);
    // Searching for items would make a proxy of each, which takes six more calls.
    secret_service_search_for_dbus_paths(
        service.get(),
        nullptr,
        attributes.get(),
        deadline.cancellable(),
        ResultReceiver::callback,
        ResultReceiver::data([this](GAsyncResult* result) { takeFound(result); }));
}

void SecretReading::takeFound(GAsyncResult* result)
{
    gchar** unlockedPaths = nullptr;
    gchar** lockedPaths = nullptr;
    GLibError error;
    secret_service_search_for_dbus_paths_finish(
        service.get(), result, &unlockedPaths, &lockedPaths, error.receiver());
    const StringListHandle unlocked(unlockedPaths);
    const StringListHandle locked(lockedPaths);
    if (error)
        tryAgain();
    else if (*unlocked)
        readSecret(*unlocked);
    else if (*locked)
        finish(SecretStatus::locked);
    else
        lookAtDefaultCollection();
}

void SecretReading::lookAtDefaultCollection()
{
    readDefaultCollectionPath(service.get(), deadline.cancellable(), [this](const char* path) {
        if (path == nullptr)
            tryAgain();
        else if (*path == '\0')
            finish(SecretStatus::itemNotFound);
        else
            lookAtLock(path);
    });
}

void SecretReading::lookAtLock(const char* collection)
{
    // Some stores do not tell of the items of a locked key ring, not even that they are there.
    callSecretService(
        service.get(),
        { .path = collection,
          .interface = "org.freedesktop.DBus.Properties",
          .method = "Get",
          .arguments = g_variant_new("(ss)", "org.freedesktop.Secret.Collection", "Locked") },
        deadline.cancellable(),
        [this](const GLibHandle<GVariant>& reply) {
            const GLibHandle<GVariant> value(propertyIn(reply.get()));
            if (!value || g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN) == FALSE)
                tryAgain();
            else
                finish(g_variant_get_boolean(value.get()) != FALSE ? SecretStatus::locked
                                                                   : SecretStatus::itemNotFound);
        });
}

void SecretReading::readSecret(const gchar* path)
{
    // libsecret's own call of this kind never frees the answer, which is a kilobyte each time.
    g_dbus_proxy_call(G_DBUS_PROXY(service.get()),
                      "GetSecrets",
                      g_variant_new("(^aoo)",
                                    std::array { path, static_cast<const gchar*>(nullptr) }.data(),
                                    secret_service_get_session_dbus_path(service.get())),
                      G_DBUS_CALL_FLAGS_NO_AUTO_START,
                      -1,
                      deadline.cancellable(),
                      ResultReceiver::callback,
                      ResultReceiver::data([this](GAsyncResult* result) { takeSecret(result); }));
}

void SecretReading::takeSecret(GAsyncResult* result)
{
    GLibError error;
    const GLibHandle<GVariant> reply(
        g_dbus_proxy_call_finish(G_DBUS_PROXY(service.get()), result, error.receiver()));
    const SecretValueHandle value = reply ? firstSecret(service.get(), reply.get()) : nullptr;
    if (!value) {
        tryAgain();
        return;
    }
    gsize length = 0;
    const gchar* const bytes = secret_value_get(value.get(), &length);
    finish(SecretStatus::success, QByteArray(bytes, static_cast<qsizetype>(length)));
}

void SecretReading::tryAgain()
{
    connection.drop(service.get());
    if (deadline.passed() || std::exchange(triedAgain, true))
        finish(SecretStatus::unavailable);
    else
        begin();
}

void SecretReading::finish(SecretStatus status, std::optional<QByteArray> data)
{
    answered = SecretAnswer { .status = status, .data = std::move(data) };
    end();
}

} // namespace quibel
