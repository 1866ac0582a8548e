#include "ui/HotKeyManager.h"

#include <utility>

namespace quibel {

HotKeyManager::HotKeyManager(HotKeyService& hotKeyService, std::function<void()> pressed)
    : service(hotKeyService)
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
    hotKeyRef = service.registerHotKey(
        VirtualKey::b, HotKeyModifiers::command | HotKeyModifiers::shift, hotKeyID);
}

} // namespace quibel
