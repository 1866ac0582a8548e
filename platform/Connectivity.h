#pragma once

#include <functional>

class QObject;

namespace quibel {

/// Whether this machine is connected to a network.
///
/// Thread: main.
class Connectivity
{
public:
    Connectivity() = default;
    Connectivity(const Connectivity&) = delete;
    Connectivity& operator=(const Connectivity&) = delete;
    virtual ~Connectivity() = default;

    /// Calls `connected` in a later turn of the event loop, if this machine is connected by now,
    /// and each time it is connected again, until `owner` is gone. Never where the desktop does not
    /// tell.
    virtual void whenConnected(QObject& owner, std::function<void()> connected) = 0;
};

} // namespace quibel
