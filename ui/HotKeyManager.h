#pragma once

#include "platform/HotKeyService.h"

#include <functional>
#include <optional>

namespace quibel {

/// Makes one key call one handler, whichever application is in front.
///
/// Thread: main; the handler is called there, within the delivery of the key press.
class HotKeyManager
{
public:
    HotKeyManager(HotKeyService& hotKeyService,
                  QKeyCombination chosenKey,
                  std::function<void()> pressed);
    HotKeyManager(const HotKeyManager&) = delete;
    HotKeyManager& operator=(const HotKeyManager&) = delete;
    ~HotKeyManager();

    /// Call once. The hot key works until the manager is gone.
    ///
    /// Errors: none; a refused hot key leaves everything else working.
    void registerHotKey();

    [[nodiscard]] QKeyCombination key() const { return hotKey; }

    /// Whether it does work.
    [[nodiscard]] bool isRegistered() const { return hotKeyRef && eventHandlerRef; }

    /// The four characters 'QBHK' and the number 1.
    static constexpr HotKeyID hotKeyID { .signature = 0x5142484B, .id = 1 };

private:
    HotKeyService& service;
    QKeyCombination hotKey;
    std::optional<HotKeyRef> hotKeyRef;
    std::optional<HotKeyHandlerRef> eventHandlerRef;
    std::function<void()> handler;
};

} // namespace quibel
