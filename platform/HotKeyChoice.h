#pragma once

#include <QString>
#include <Qt>

namespace quibel {

class HotKeyService;
class Preferences;

/// The hot key, and what became of the user's wish for another one.
struct HotKeyChoice
{
    QKeyCombination key = Qt::META | Qt::SHIFT | Qt::Key_B;
    QString refusal {}; ///< Why the preference does not hold; empty if it does or there is none.
};

/// Source: the preference `quibel.hotKey`, in the portable text of the toolkit's key sequences.
[[nodiscard]] HotKeyChoice chooseHotKey(const Preferences& preferences,
                                        const HotKeyService& hotKeys);

/// `key` as the desktop writes its keys, for example "Super+Shift+B".
[[nodiscard]] QString hotKeyText(QKeyCombination key);

} // namespace quibel
