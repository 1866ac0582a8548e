#pragma once

#include "platform/SecretItems.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <algorithm>
#include <deque>
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

    void copyMatching(const SecretIdentity& identity,
                      std::chrono::milliseconds hold,
                      QObject& owner,
                      std::function<void(const SecretAnswer&)> receive) override
    {
        holds.push_back(hold);
        if (slow)
            awaited.push_back({ identity, &owner, std::move(receive) });
        else
            receive(answerTo(identity));
    }

    /// Gives the read that has waited longest what is in the store now. False when none waits.
    bool answerLate()
    {
        if (awaited.empty())
            return false;
        const Awaited oldest = awaited.front();
        awaited.pop_front();
        const SecretAnswer answer = answerTo(oldest.identity);
        if (oldest.owner)
            oldest.receive(answer);
        return true;
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
    bool slow = false;     ///< Whether reads wait for `answerLate`.
    std::vector<std::chrono::milliseconds>
        holds; ///< For how long each read was to hold its caller.
    std::vector<std::pair<SecretIdentity, QByteArray>> items;
    QStringList calls; ///< Names of the operations, in order.

private:
    struct Awaited
    {
        SecretIdentity identity;
        QPointer<QObject> owner;
        std::function<void(const SecretAnswer&)> receive;
    };
    std::deque<Awaited> awaited;

    [[nodiscard]] SecretAnswer answerTo(const SecretIdentity& identity)
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

    std::vector<std::pair<SecretIdentity, QByteArray>>::iterator
    find(const SecretIdentity& identity)
    {
        return std::ranges::find(items, identity, &std::pair<SecretIdentity, QByteArray>::first);
    }
};

} // namespace quibel
