#include "platform/freedesktop/SecretReading.h"

#include "platform/freedesktop/DefaultContext.h"
#include "platform/freedesktop/LibsecretHandles.h"
#include "platform/freedesktop/ResultReceiver.h"

#include <utility>

namespace quibel {

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
    onAnswer = {};
    deadline.cutShort();
    DefaultContext(context).runUntil([this] { return answered.has_value(); });
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
    else
        finish({ .status = *locked ? SecretStatus::unavailable : SecretStatus::itemNotFound,
                 .data = std::nullopt });
}

void SecretReading::readSecret(const gchar* path)
{
    secret_service_get_secret_for_dbus_path(
        service.get(),
        path,
        deadline.cancellable(),
        ResultReceiver::callback,
        ResultReceiver::data([this](GAsyncResult* result) { takeSecret(result); }));
}

void SecretReading::takeSecret(GAsyncResult* result)
{
    GLibError error;
    const SecretValueHandle value(
        secret_service_get_secret_for_dbus_path_finish(service.get(), result, error.receiver()));
    if (!value) {
        tryAgain();
        return;
    }
    gsize length = 0;
    const gchar* const bytes = secret_value_get(value.get(), &length);
    finish({ .status = SecretStatus::success,
             .data = QByteArray(bytes, static_cast<qsizetype>(length)) });
}

void SecretReading::tryAgain()
{
    connection.drop(service.get());
    if (deadline.passed() || std::exchange(triedAgain, true))
        finish({ .status = SecretStatus::unavailable, .data = std::nullopt });
    else
        begin();
}

void SecretReading::finish(SecretAnswer answer)
{
    answered = std::move(answer);
    if (onAnswer)
        onAnswer();
}

} // namespace quibel
