#pragma once

#include "platform/Connectivity.h"

namespace quibel {

/// What the toolkit learns of the network: from NetworkManager, or else from the routes of the
/// system.
///
/// The toolkit's plugin is loaded by the first who asks.
class QtConnectivity final : public Connectivity
{
public:
    void whenConnected(QObject& owner, std::function<void()> connected) override;
};

} // namespace quibel
