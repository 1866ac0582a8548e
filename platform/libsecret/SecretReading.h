#pragma once

#include "platform/SecretItems.h"
#include "platform/glib/Deadline.h"
#include "platform/libsecret/SecretConnection.h"

#include <functional>
#include <optional>

namespace quibel {

/// Reads the secret of one item, call by call, while the context is iterated.
///
/// Errors: `unavailable` from the deadline on, as for a service that fails twice.
class SecretReading
{
    Q_DISABLE_COPY_MOVE(SecretReading)

public:
    /// Begins. The context and the connection outlive this.
    SecretReading(GMainContext* callContext,
                  SecretConnection& serviceConnection,
                  SecretIdentity wanted,
                  std::chrono::milliseconds limit);
    /// Waits until what is under way has been cancelled.
    ~SecretReading();

    /// None while it is under way.
    [[nodiscard]] const std::optional<SecretAnswer>& answer() const { return answered; }

    /// Called once there is an answer, from within the context.
    std::function<void()> onAnswer;

private:
    void begin();
    void search();
    void takeFound(GAsyncResult* result);
    void readSecret(const gchar* path);
    void takeSecret(GAsyncResult* result);
    void tryAgain();
    void finish(SecretAnswer answer);

    GMainContext* context;
    SecretConnection& connection;
    SecretIdentity identity;
    Deadline deadline;
    GLibHandle<SecretService>
        service; ///< The one that is asked, even when it is dropped meanwhile.
    bool triedAgain = false;
    std::optional<SecretAnswer> answered;
};

} // namespace quibel
