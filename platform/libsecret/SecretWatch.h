#pragma once

#include "platform/glib/BusSubscription.h"
#include "platform/libsecret/SecretConnection.h"
#include "platform/libsecret/SecretTask.h"

#include <chrono>
#include <optional>

namespace quibel {

/// Ends once the Secret Service has come or told of a change, unless it has gone again by then.
/// Without a bus it never does.
class SecretWatch final : public SecretTask
{
public:
    /// Begins; ends after `shortest` at the earliest. The context and the connection outlive this.
    SecretWatch(GMainContext* callContext,
                SecretConnection& connection,
                std::chrono::milliseconds shortest);
    /// Waits until what is under way has been cancelled.
    ~SecretWatch() override;
    SecretWatch(const SecretWatch&) = delete;
    SecretWatch& operator=(const SecretWatch&) = delete;

private:
    void watch(GDBusConnection* bus);
    void takeChange();
    void takeOwner(GVariant* change);
    void cancelEnd();
    void endNow();

    GMainContext* context;
    std::chrono::steady_clock::time_point earliestEnd;
    GLibHandle<GCancellable> opening; ///< While the bus is being connected to.
    std::optional<BusSubscription> signals;
    std::optional<BusSubscription> owners;
    GLibHandle<GSource> due; ///< Once there is a change to tell of.
};

} // namespace quibel
