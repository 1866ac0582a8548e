#pragma once

#include "platform/Connectivity.h"

#include <QObject>
#include <QPointer>

#include <algorithm>
#include <utility>
#include <vector>

namespace quibel {

/// A network that the test connects.
class FakeConnectivity final : public Connectivity
{
public:
    void whenConnected(QObject& owner, std::function<void()> connected) override
    {
        waiting.emplace_back(&owner, std::move(connected));
    }

    void connect() const
    {
        const auto told = waiting;
        for (const auto& [owner, connected] : told)
            if (owner)
                connected();
    }

    /// Whether anybody waits for the network.
    [[nodiscard]] bool isAwaited() const
    {
        return std::ranges::any_of(waiting, [](const auto& one) { return !one.first.isNull(); });
    }

private:
    std::vector<std::pair<QPointer<QObject>, std::function<void()>>> waiting;
};

} // namespace quibel
