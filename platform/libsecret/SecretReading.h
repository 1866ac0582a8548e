#pragma once

#include "platform/SecretItems.h"
#include "platform/glib/Deadline.h"
#include "platform/libsecret/SecretConnection.h"
#include "platform/libsecret/SecretTask.h"

#include <optional>

namespace quibel {

/// Reads the secret of one item, call by call, while the context is iterated.
///
/// Errors: `unavailable` from the deadline on, as for a service that fails twice.
class SecretReading final : public SecretTask
{
public:
    /// Begins. The context and the connection outlive this.
    SecretReading(GMainContext* callContext,
                  SecretConnection& serviceConnection,
                  SecretIdentity wanted,
                  std::chrono::milliseconds limit);
    /// Waits until what is under way has been cancelled.
    ~SecretReading() override;
    SecretReading(const SecretReading&) = delete;
    SecretReading& operator=(const SecretReading&) = delete;

    /// None while it is under way.
    [[nodiscard]] const std::optional<SecretAnswer>& answer() const { return answered; }

private:
    void begin();
    void search();
    void takeFound(GAsyncResult* result);
    void lookAtDefaultCollection();
    void lookAtLock(const char* collection);
    void readSecret(const gchar* path);
    void takeSecret(GAsyncResult* result);
    void tryAgain();
    void finish(SecretStatus status, std::optional<QByteArray> data = std::nullopt);

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
