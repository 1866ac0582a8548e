#pragma once

#include "platform/glib/BusSubscription.h"
#include "platform/libsecret/SecretConnection.h"
#include "platform/libsecret/SecretTask.h"

#include <optional>

namespace quibel {

/// Ends once the Secret Service has come, gone, or told of a change. Without a bus it never does.
class SecretWatch final : public SecretTask
{
public:
    /// Begins. The context and the connection outlive this.
    SecretWatch(GMainContext* callContext, SecretConnection& connection);
    /// Waits until what is under way has been cancelled.
    ~SecretWatch() override;
    SecretWatch(const SecretWatch&) = delete;
    SecretWatch& operator=(const SecretWatch&) = delete;

private:
    void watch(GDBusConnection* bus);
    void takeChange();

    GMainContext* context;
    GLibHandle<GCancellable> opening; ///< While the bus is being connected to.
    std::optional<BusSubscription> signals;
    std::optional<BusSubscription> owners;
};

} // namespace quibel
