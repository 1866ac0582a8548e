#pragma once

#include "platform/x11/XcbConnection.h"

#include <QObject>
#include <QTimer>

#include <array>
#include <vector>

namespace quibel {

/// What the keys of the X server mean now: layouts, and the bits that modifier keys have.
///
/// Changes are read together a little later, and never while a window of this program has the
/// keyboard: reading waits for the server, and meanwhile what is typed there would lose its
/// meaning.
class XcbKeyboard : public QObject
{
    Q_OBJECT

public:
    explicit XcbKeyboard(XcbConnection& connection);

    /// The keys that carry `symbol` without modifiers in the current layout.
    ///
    /// Source: the key symbols of xkbcommon, which are those of X11.
    [[nodiscard]] std::vector<xcb_keycode_t> keycodesOf(std::uint32_t symbol) const;
    /// The same in the first layout in use that has any.
    [[nodiscard]] std::vector<xcb_keycode_t> keycodesInAnyLayout(std::uint32_t symbol) const;

    /// The bits of `modifiers`: one mask for each choice of keys where those of a name differ in
    /// their bit. Meta is the Super key.
    [[nodiscard]] std::vector<std::uint16_t> masksOf(Qt::KeyboardModifiers modifiers) const;

    /// Every combination of the bits that Caps Lock, Num Lock and Scroll Lock set.
    [[nodiscard]] std::vector<std::uint16_t> lockCombinations() const;

Q_SIGNALS:
    /// Another layout, keyboard or set of modifier keys is in use.
    void changed();

private:
    /// What each key carries without modifiers; 0 for nothing.
    using Symbols = std::array<std::uint32_t, 256>;

    void selectEvents();
    void readChanges();
    void read();
    void readSymbols();
    void readModifiers();
    void handleEvent(const xcb_generic_event_t* event);
    [[nodiscard]] bool changesMeaning(const xcb_generic_event_t* event) const;

    XcbConnection& x;
    QTimer gathering; ///< Runs from the first change until all of them are read.
    bool isStale = false;
    std::uint8_t xkbEvent = 0; ///< The number of all events of the extension; 0 without it.
    Symbols symbols {};        ///< In the current layout.
    std::array<Symbols, 4> layouts {};
    std::vector<std::uint16_t> supers;
    std::vector<std::uint16_t> alts;
    std::vector<std::uint16_t> locks;
};

} // namespace quibel
