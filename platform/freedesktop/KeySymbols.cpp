#include "platform/freedesktop/KeySymbols.h"

#include <QChar>

#include <algorithm>
#include <array>

#include <xkbcommon/xkbcommon.h>

namespace quibel {

namespace {

struct SymbolOfKey
{
    Qt::Key key;
    xkb_keysym_t symbol;
};

/// Those that type nothing, but for the function keys.
constexpr std::array<SymbolOfKey, 29> symbolsOfKeys { {
    { Qt::Key_Escape, XKB_KEY_Escape },
    { Qt::Key_Tab, XKB_KEY_Tab },
    { Qt::Key_Backspace, XKB_KEY_BackSpace },
    { Qt::Key_Return, XKB_KEY_Return },
    { Qt::Key_Enter, XKB_KEY_KP_Enter },
    { Qt::Key_Insert, XKB_KEY_Insert },
    { Qt::Key_Delete, XKB_KEY_Delete },
    { Qt::Key_Pause, XKB_KEY_Pause },
    { Qt::Key_Print, XKB_KEY_Print },
    { Qt::Key_Home, XKB_KEY_Home },
    { Qt::Key_End, XKB_KEY_End },
    { Qt::Key_Left, XKB_KEY_Left },
    { Qt::Key_Up, XKB_KEY_Up },
    { Qt::Key_Right, XKB_KEY_Right },
    { Qt::Key_Down, XKB_KEY_Down },
    { Qt::Key_PageUp, XKB_KEY_Page_Up },
    { Qt::Key_PageDown, XKB_KEY_Page_Down },
    { Qt::Key_Menu, XKB_KEY_Menu },
    { Qt::Key_Help, XKB_KEY_Help },
    { Qt::Key_VolumeDown, XKB_KEY_XF86AudioLowerVolume },
    { Qt::Key_VolumeMute, XKB_KEY_XF86AudioMute },
    { Qt::Key_VolumeUp, XKB_KEY_XF86AudioRaiseVolume },
    { Qt::Key_MediaPlay, XKB_KEY_XF86AudioPlay },
    { Qt::Key_MediaStop, XKB_KEY_XF86AudioStop },
    { Qt::Key_MediaPrevious, XKB_KEY_XF86AudioPrev },
    { Qt::Key_MediaNext, XKB_KEY_XF86AudioNext },
    { Qt::Key_HomePage, XKB_KEY_XF86HomePage },
    { Qt::Key_Search, XKB_KEY_XF86Search },
    { Qt::Key_LaunchMail, XKB_KEY_XF86Mail },
} };

} // namespace

std::uint32_t keySymbol(Qt::Key key)
{
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return XKB_KEY_F1 + static_cast<xkb_keysym_t>(key - Qt::Key_F1);
    // The toolkit names keys that type a character by it, letters by the capital.
    if (key < Qt::Key_Escape)
        return xkb_utf32_to_keysym(QChar::toLower(static_cast<char32_t>(key)));
    const auto* const found = std::ranges::find(symbolsOfKeys, key, &SymbolOfKey::key);
    return found == symbolsOfKeys.end() ? XKB_KEY_NoSymbol : found->symbol;
}

std::uint32_t keySymbolNamed(const QString& name)
{
    return xkb_keysym_from_name(name.toUtf8().constData(), XKB_KEYSYM_CASE_INSENSITIVE);
}

} // namespace quibel
