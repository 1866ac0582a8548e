#pragma once

#include "platform/glib/GLibHandles.h"

#include <functional>

#include <libsecret/secret.h>

namespace quibel {

/// The connection to the Secret Service, kept while the service answers.
///
/// What it makes belongs to the thread's default context. Nothing that goes over it asks the user.
class SecretConnection
{
    Q_DISABLE_COPY_MOVE(SecretConnection)

public:
    /// A service to ask; null when there is none.
    using Opened = std::function<void(GLibHandle<SecretService>)>;
    /// The session bus; null when there is none.
    using BusOpened = std::function<void(GDBusConnection*)>;

    SecretConnection() = default;
    ~SecretConnection() = default;

    /// Calls `opened` at once while a connection is kept, else when the context is iterated.
    void open(GCancellable* cancellable, Opened opened);
    void openBus(GCancellable* cancellable, BusOpened opened);

    /// Makes the next `open` begin anew, when it is `failed` that is kept: a service or a bus that
    /// was started again knows nothing of it.
    void drop(SecretService* failed);

    void close() { kept.reset(); }

private:
    void openService(GCancellable* cancellable, Opened opened);
    [[nodiscard]] GLibHandle<SecretService> another() const;

    GLibHandle<SecretService> kept;
};

} // namespace quibel
