#pragma once

#include "platform/SecretItems.h"
#include "platform/glib/BusSubscription.h"
#include "platform/glib/Deadline.h"
#include "platform/libsecret/SecretConnection.h"
#include "platform/libsecret/SecretTask.h"

#include <optional>

namespace quibel {

/// Has the Secret Service unlock what keeps one item from being read or stored, by its own prompt.
///
/// Ends when nothing is locked, when the user has answered, or when the service is gone or silent.
class SecretUnlocking final : public SecretTask
{
public:
    /// Begins. The context and the connection outlive this.
    SecretUnlocking(GMainContext* callContext,
                    SecretConnection& serviceConnection,
                    SecretIdentity wanted);
    /// Waits until what is under way has been cancelled; a prompt is left to the service.
    ~SecretUnlocking() override;
    SecretUnlocking(const SecretUnlocking&) = delete;
    SecretUnlocking& operator=(const SecretUnlocking&) = delete;

private:
    void search();
    void takeFound(GAsyncResult* result);
    void unlock(GVariant* paths);
    void takePrompt(GVariant* reply);
    /// Looks at the service again after a while, if the last call was answered and the user has
    /// not.
    void goOnAfter(GVariant* reply);
    void look();
    void stop();

    GMainContext* context;
    SecretConnection& connection;
    SecretIdentity identity;
    Deadline deadline;
    GLibHandle<SecretService> service;
    std::optional<BusSubscription> answer; ///< While the user is asked.
    GLibHandle<GSource> nextLook;          ///< While the user is asked and no call is under way.
};

} // namespace quibel
