#include "ui/HotKeyManager.h"

#include <utility>

namespace quibel {

HotKeyManager::HotKeyManager(HotKeyService& hotKeyService,
                             QKeyCombination chosenKey,
                             std::function<void()> pressed)
    : service(hotKeyService)
    , hotKey(chosenKey)
    , handler(std::move(pressed))
{
}

HotKeyManager::~HotKeyManager()
{
    if (hotKeyRef)
        service.unregisterHotKey(*hotKeyRef);
    if (eventHandlerRef)
        service.removeHandler(*eventHandlerRef);
}

void HotKeyManager::registerHotKey()
{
    eventHandlerRef = service.installHandler([this](std::optional<HotKeyID> pressed) {
        if (pressed == hotKeyID)
            handler();
    });
    hotKeyRef = service.registerHotKey(hotKey, hotKeyID);
}

} // namespace quibel
