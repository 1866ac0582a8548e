#pragma once

#include "platform/HotKeyService.h"
#include "tests/fakes/Journal.h"

#include <QList>
#include <QStringList>

#include <map>
#include <utility>

namespace quibel {

/// Hot keys that the test presses. It can refuse handlers and hot keys, and lack keys.
class FakeHotKeyService final : public HotKeyService
{
public:
    struct Registration
    {
        QKeyCombination key;
        HotKeyID id;

        bool operator==(const Registration&) const = default;
    };

    [[nodiscard]] std::optional<HotKeyHandlerRef> installHandler(Handler handler) override
    {
        calls << QStringLiteral("installHandler");
        note(journal, QStringLiteral("installHandler"));
        if (refusesHandlers)
            return std::nullopt;
        const HotKeyHandlerRef reference { ++lastReference };
        handlers.emplace(reference, std::move(handler));
        return reference;
    }

    [[nodiscard]] std::optional<HotKeyRef> registerHotKey(QKeyCombination key, HotKeyID id) override
    {
        calls << QStringLiteral("registerHotKey");
        note(journal, QStringLiteral("registerHotKey"));
        if (refusesHotKeys)
            return std::nullopt;
        const HotKeyRef reference { ++lastReference };
        registrations.emplace(reference, Registration { key, id });
        return reference;
    }

    [[nodiscard]] bool hasKey(Qt::Key key) const override { return !missingKeys.contains(key); }

    [[nodiscard]] HotKeyAvailability availability(QKeyCombination key) override
    {
        tried = key;
        return available;
    }

    void unregisterHotKey(HotKeyRef hotKey) override
    {
        calls << QStringLiteral("unregisterHotKey");
        registrations.erase(hotKey);
    }

    void removeHandler(HotKeyHandlerRef handler) override
    {
        calls << QStringLiteral("removeHandler");
        handlers.erase(handler);
    }

    /// The user presses `key`, whatever application is in front.
    void press(QKeyCombination key) const
    {
        const auto pressed = registrations;
        for (const auto& [reference, registration] : pressed)
            if (registration.key == key)
                deliver(registration.id);
    }

    /// Hands an event with this identifier to every handler.
    void deliver(std::optional<HotKeyID> id) const
    {
        const auto installed = handlers;
        for (const auto& [reference, handler] : installed)
            handler(id);
    }

    QStringList calls; ///< Names of the operations, in order.
    std::map<HotKeyRef, Registration> registrations;
    std::map<HotKeyHandlerRef, Handler> handlers;
    bool refusesHandlers = false;
    bool refusesHotKeys = false;
    QList<Qt::Key> missingKeys;           ///< The keyboard does not have them.
    std::optional<QKeyCombination> tried; ///< Whose availability was asked for last.
    HotKeyAvailability available = HotKeyAvailability::available;
    Journal* journal = nullptr;

private:
    std::uint32_t lastReference = 0;
};

} // namespace quibel
