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
        if (available && locked)
            return SecretStoreState::locked;
        if (available)
            return SecretStoreState::unlocked;
        return whyUnavailable;
    }

    [[nodiscard]] SecretStatus add(const SecretIdentity& identity, const QByteArray& data) override
    {
        calls << QStringLiteral("add");
        if (!available || locked)
            return whyNot();
        if (find(identity) != items.end())
            return SecretStatus::duplicateItem;
        items.emplace_back(identity, data);
        return SecretStatus::success;
    }

    [[nodiscard]] SecretStatus update(const SecretIdentity& identity,
                                      const QByteArray& data) override
    {
        calls << QStringLiteral("update");
        if (!available || locked || !takesUpdates)
            return whyNot();
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
        if (!available || locked)
            return whyNot();
        const auto item = find(identity);
        if (item == items.end())
            return SecretStatus::itemNotFound;
        items.erase(item);
        return SecretStatus::success;
    }

    void
    unlock(const SecretIdentity& /*identity*/, QObject& owner, std::function<void()> done) override
    {
        calls << QStringLiteral("unlock");
        prompts.push_back({ &owner, std::move(done) });
    }

    void awaitChange(QObject& owner, std::function<void()> changed) override
    {
        calls << QStringLiteral("awaitChange");
        locked = locked && !unlockedBeforeAwaited;
        watchers.push_back({ &owner, std::move(changed) });
    }

    /// The user answers every prompt, and does or does not unlock the store.
    void answerPrompts(bool unlocks)
    {
        locked = locked && !unlocks;
        tell(std::exchange(prompts, {}));
    }

    /// Tells whoever waits for it that the store has changed.
    void change() { tell(std::exchange(watchers, {})); }

    bool available = true;
    bool locked = false;
    bool unlockedBeforeAwaited = false; ///< Whether it is unlocked just before `awaitChange`.
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
    struct Waiting
    {
        QPointer<QObject> owner;
        std::function<void()> tell;
    };
    std::deque<Awaited> awaited;
    std::vector<Waiting> prompts;
    std::vector<Waiting> watchers;

    static void tell(const std::vector<Waiting>& all)
    {
        for (const Waiting& each : all)
            if (each.owner)
                each.tell();
    }

    [[nodiscard]] SecretStatus whyNot() const
    {
        return available && locked ? SecretStatus::locked : SecretStatus::unavailable;
    }

    [[nodiscard]] SecretAnswer answerTo(const SecretIdentity& identity)
    {
        calls << QStringLiteral("copyMatching");
        if (!available || locked)
            return { .status = whyNot(), .data = {} };
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
