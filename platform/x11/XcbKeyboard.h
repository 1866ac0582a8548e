#pragma once

#include "platform/x11/XcbConnection.h"

#include <QObject>

#include <array>
#include <vector>

namespace quibel {

/// What the keys of the X server mean now: layouts, and the bits that modifier keys have.
class XcbKeyboard : public QObject
{
    Q_OBJECT

public:
    explicit XcbKeyboard(XcbConnection& connection);

    /// The keys that carry `symbol` without modifiers in the current layout.
    ///
    /// Source: the key symbols of xkbcommon, which are those of X11.
    [[nodiscard]] std::vector<xcb_keycode_t> keycodesOf(std::uint32_t symbol) const;

    /// The modifier bits that the Super keys set: one, or more where those keys differ in it.
    [[nodiscard]] const std::vector<std::uint16_t>& superMasks() const { return supers; }

    /// Every combination of the bits that Caps Lock, Num Lock and Scroll Lock set.
    [[nodiscard]] std::vector<std::uint16_t> lockCombinations() const;

Q_SIGNALS:
    /// Another layout, keyboard or set of modifier keys is in use.
    void changed();

private:
    void selectEvents();
    void read();
    void readSymbols();
    void readModifiers();
    void handleEvent(const xcb_generic_event_t* event);

    XcbConnection& x;
    std::uint8_t xkbEvent = 0; ///< The number of all events of the extension; 0 without it.
    /// What each key carries without modifiers in the current layout; 0 for nothing.
    std::array<std::uint32_t, 256> symbols {};
    std::vector<std::uint16_t> supers;
    std::vector<std::uint16_t> locks;
};

} // namespace quibel
