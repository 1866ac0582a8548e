#pragma once

#include "platform/SecretItems.h"

#include <QStringList>

#include <algorithm>
#include <utility>
#include <vector>

namespace quibel {

/// A secret store in memory.
class FakeSecretItems final : public SecretItems
{
public:
    [[nodiscard]] SecretStoreState state() override
    {
        if (available)
            return SecretStoreState::unlocked;
        return whyUnavailable;
    }

    [[nodiscard]] SecretStatus add(const SecretIdentity& identity, const QByteArray& data) override
    {
        calls << QStringLiteral("add");
        if (!available)
            return SecretStatus::unavailable;
        if (find(identity) != items.end())
            return SecretStatus::duplicateItem;
        items.emplace_back(identity, data);
        return SecretStatus::success;
    }

    [[nodiscard]] SecretStatus update(const SecretIdentity& identity,
                                      const QByteArray& data) override
    {
        calls << QStringLiteral("update");
        if (!available || !takesUpdates)
            return SecretStatus::unavailable;
        const auto item = find(identity);
        if (item == items.end())
            return SecretStatus::itemNotFound;
        item->second = data;
        return SecretStatus::success;
    }

    [[nodiscard]] SecretAnswer copyMatching(const SecretIdentity& identity) override
    {
        calls << QStringLiteral("copyMatching");
        if (!available)
            return {};
        const auto item = find(identity);
        if (item == items.end())
            return { .status = SecretStatus::itemNotFound, .data = {} };
        return { .status = SecretStatus::success,
                 .data = givesData ? std::optional(item->second) : std::nullopt };
    }

    SecretStatus remove(const SecretIdentity& identity) override
    {
        calls << QStringLiteral("remove");
        if (!available)
            return SecretStatus::unavailable;
        const auto item = find(identity);
        if (item == items.end())
            return SecretStatus::itemNotFound;
        items.erase(item);
        return SecretStatus::success;
    }

    bool available = true;
    SecretStoreState whyUnavailable = SecretStoreState::absent;
    bool takesUpdates = true;
    bool givesData = true; ///< Whether a successful read comes with data.
    std::vector<std::pair<SecretIdentity, QByteArray>> items;
    QStringList calls; ///< Names of the operations, in order.

private:
    std::vector<std::pair<SecretIdentity, QByteArray>>::iterator
    find(const SecretIdentity& identity)
    {
        return std::ranges::find(items, identity, &std::pair<SecretIdentity, QByteArray>::first);
    }
};

} // namespace quibel
