#pragma once

#include "platform/HotKeyService.h"
#include "tests/fakes/Journal.h"

#include <QStringList>

#include <map>
#include <utility>

namespace quibel {

/// Hot keys that the test presses. It can refuse handlers and hot keys.
class FakeHotKeyService final : public HotKeyService
{
public:
    struct Registration
    {
        VirtualKey key;
        HotKeyModifiers modifiers;
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

    [[nodiscard]] std::optional<HotKeyRef>
    registerHotKey(VirtualKey key, HotKeyModifiers modifiers, HotKeyID id) override
    {
        calls << QStringLiteral("registerHotKey");
        note(journal, QStringLiteral("registerHotKey"));
        if (refusesHotKeys)
            return std::nullopt;
        const HotKeyRef reference { ++lastReference };
        registrations.emplace(reference, Registration { key, modifiers, id });
        return reference;
    }

    [[nodiscard]] HotKeyAvailability availability(VirtualKey /*key*/,
                                                  HotKeyModifiers /*modifiers*/) override
    {
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

    /// The user presses `key` with `modifiers`, whatever application is in front.
    void press(VirtualKey key, HotKeyModifiers modifiers) const
    {
        const auto pressed = registrations;
        for (const auto& [reference, registration] : pressed)
            if (registration.key == key && registration.modifiers == modifiers)
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
    HotKeyAvailability available = HotKeyAvailability::available;
    Journal* journal = nullptr;

private:
    std::uint32_t lastReference = 0;
};

} // namespace quibel
