#include "platform/x11/XcbKeyboard.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <memory>
#include <tuple>

// A member of a C structure in the header has this name.
#define explicit explicitly // NOLINT(clang-diagnostic-keyword-macro)
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>

namespace quibel {

namespace {

/// On-screen keyboards, text expanders and remote desktops change what a spare key means twice for
/// each character that no key carries.
constexpr std::chrono::milliseconds gatheringTime { 100 };

constexpr std::uint16_t relevantEvents = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY
    | XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;

/// What every event of the extension begins with.
///
/// Source: the X Keyboard Extension protocol, chapter 16.
struct XkbEventHead
{
    std::uint8_t responseType;
    std::uint8_t xkbType;
};

struct Unref
{
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};

template <typename Handle>
using Owned = std::unique_ptr<Handle, Unref>;

template <typename Symbols>
std::vector<xcb_keycode_t> keycodesIn(const Symbols& symbols, std::uint32_t symbol)
{
    std::vector<xcb_keycode_t> keycodes;
    for (std::size_t key = 0; key < symbols.size(); ++key)
        if (symbols[key] == symbol)
            keycodes.push_back(static_cast<xcb_keycode_t>(key));
    return keycodes;
}

bool isOneOf(xkb_keysym_t symbol, std::initializer_list<xkb_keysym_t> wanted)
{
    return std::ranges::find(wanted, symbol) != wanted.end();
}

/// What `key` carries without modifiers in `layout`; nothing if that is more than one symbol.
xkb_keysym_t symbolOf(xkb_keymap* keymap, xkb_keycode_t key, xkb_layout_index_t layout)
{
    const xkb_keysym_t* carried = nullptr;
    const int count = xkb_keymap_key_get_syms_by_level(keymap, key, layout, 0, &carried);
    return count == 1 ? carried[0] : XKB_KEY_NoSymbol;
}

void addMissing(std::vector<std::uint16_t>& masks, std::uint16_t mask)
{
    if (std::ranges::find(masks, mask) == masks.end())
        masks.push_back(mask);
}

} // namespace

XcbKeyboard::XcbKeyboard(XcbConnection& connection)
    : x(connection)
{
    connect(&x, &XcbConnection::received, this, &XcbKeyboard::handleEvent);
    gathering.setSingleShot(true);
    gathering.setInterval(gatheringTime);
    connect(&gathering, &QTimer::timeout, this, &XcbKeyboard::readChanges);
    if (const auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        connect(application,
                &QGuiApplication::focusWindowChanged,
                &gathering,
                qOverload<>(&QTimer::start));
    selectEvents();
    read();
}

std::vector<xcb_keycode_t> XcbKeyboard::keycodesOf(std::uint32_t symbol) const
{
    return keycodesIn(symbols, symbol);
}

std::vector<xcb_keycode_t> XcbKeyboard::keycodesInAnyLayout(std::uint32_t symbol) const
{
    for (const Symbols& layout : layouts)
        if (auto keycodes = keycodesIn(layout, symbol); !keycodes.empty())
            return keycodes;
    return {};
}

std::vector<std::uint16_t> XcbKeyboard::masksOf(Qt::KeyboardModifiers modifiers) const
{
    std::vector<std::uint16_t> masks { 0 };
    const auto combineWith = [&masks](const std::vector<std::uint16_t>& bits) {
        std::vector<std::uint16_t> combined;
        for (const std::uint16_t mask : masks)
            for (const std::uint16_t bit : bits)
                combined.push_back(mask | bit);
        masks = std::move(combined);
    };
    if (modifiers.testFlag(Qt::ShiftModifier))
        combineWith({ XCB_MOD_MASK_SHIFT });
    if (modifiers.testFlag(Qt::ControlModifier))
        combineWith({ XCB_MOD_MASK_CONTROL });
    if (modifiers.testFlag(Qt::AltModifier))
        combineWith(alts);
    if (modifiers.testFlag(Qt::MetaModifier))
        combineWith(supers);
    return masks;
}

std::vector<std::uint16_t> XcbKeyboard::lockCombinations() const
{
    std::vector<std::uint16_t> combinations { 0 };
    for (const std::uint16_t lock : locks) {
        const std::vector<std::uint16_t> without = combinations;
        for (const std::uint16_t combination : without)
            combinations.push_back(combination | lock);
    }
    return combinations;
}

void XcbKeyboard::selectEvents()
{
    if (xkb_x11_setup_xkb_extension(x.get(),
                                    XKB_X11_MIN_MAJOR_XKB_VERSION,
                                    XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                    nullptr,
                                    nullptr,
                                    &xkbEvent,
                                    nullptr)
        == 0)
        return;
    xcb_xkb_select_events_details_t details {};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.affectState = XCB_XKB_STATE_PART_GROUP_STATE;
    details.stateDetails = XCB_XKB_STATE_PART_GROUP_STATE;
    constexpr std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS
        | XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS;
    xcb_xkb_select_events_aux(
        x.get(), XCB_XKB_ID_USE_CORE_KBD, relevantEvents, 0, 0, mapParts, mapParts, &details);
    // A held key is then one press and, at its end, one release.
    constexpr std::uint32_t autoRepeat = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    xcb_xkb_per_client_flags(x.get(), XCB_XKB_ID_USE_CORE_KBD, autoRepeat, autoRepeat, 0, 0, 0);
    x.flush();
}

void XcbKeyboard::readChanges()
{
    if (!isStale || QGuiApplication::focusWindow() != nullptr)
        return;
    isStale = false;
    const auto before = std::tuple(symbols, layouts, supers, alts, locks);
    read();
    if (before != std::tie(symbols, layouts, supers, alts, locks))
        Q_EMIT changed();
}

void XcbKeyboard::read()
{
    readSymbols();
    readModifiers();
}

void XcbKeyboard::readSymbols()
{
    symbols.fill(XKB_KEY_NoSymbol);
    layouts.fill(symbols);
    if (xkbEvent == 0)
        return;
    const std::int32_t device = xkb_x11_get_core_keyboard_device_id(x.get());
    const Owned<xkb_context> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    const Owned<xkb_keymap> keymap(xkb_x11_keymap_new_from_device(
        context.get(), x.get(), device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return;
    const Owned<xkb_state> state(xkb_x11_state_new_from_device(keymap.get(), x.get(), device));
    if (!state)
        return;
    for (std::size_t index = 0; index < symbols.size(); ++index) {
        const auto key = static_cast<xkb_keycode_t>(index);
        const auto current = xkb_state_key_get_layout(state.get(), key);
        symbols[index] = symbolOf(keymap.get(), key, current);
        for (xkb_layout_index_t layout = 0; layout < layouts.size(); ++layout)
            layouts[layout][index] = symbolOf(keymap.get(), key, layout);
    }
}

void XcbKeyboard::readModifiers()
{
    supers.clear();
    alts.clear();
    std::uint16_t numLock = 0;
    std::uint16_t scrollLock = 0;
    const auto mapping
        = xcbReply(xcb_get_modifier_mapping_reply, x.get(), xcb_get_modifier_mapping(x.get()));
    if (mapping) {
        const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(mapping.get());
        const int count = xcb_get_modifier_mapping_keycodes_length(mapping.get());
        for (int index = 0; index < count; ++index) {
            const auto mask
                = static_cast<std::uint16_t>(1U << (index / mapping->keycodes_per_modifier));
            const xkb_keysym_t symbol = symbols[keys[index]];
            if (isOneOf(symbol, { XKB_KEY_Super_L, XKB_KEY_Super_R }))
                addMissing(supers, mask);
            else if (isOneOf(symbol, { XKB_KEY_Alt_L, XKB_KEY_Alt_R }))
                addMissing(alts, mask);
            else if (symbol == XKB_KEY_Num_Lock)
                numLock |= mask;
            else if (symbol == XKB_KEY_Scroll_Lock)
                scrollLock |= mask;
        }
    }
    if (supers.empty())
        supers = { XCB_MOD_MASK_4 };
    if (alts.empty())
        alts = { XCB_MOD_MASK_1 };
    locks.clear();
    for (const std::uint16_t lock :
         { static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK), numLock, scrollLock })
        if (lock != 0)
            addMissing(locks, lock);
}

void XcbKeyboard::handleEvent(const xcb_generic_event_t* event)
{
    if (!changesMeaning(event))
        return;
    isStale = true;
    if (!gathering.isActive())
        gathering.start();
}

bool XcbKeyboard::changesMeaning(const xcb_generic_event_t* event) const
{
    const std::uint8_t type = event->response_type & 0x7FU;
    if (type == XCB_MAPPING_NOTIFY)
        return eventAs<xcb_mapping_notify_event_t>(event).request != XCB_MAPPING_POINTER;
    if (xkbEvent == 0 || type != xkbEvent)
        return false;
    // A modifier that goes down or up is a change of state too; only groups matter here.
    return eventAs<XkbEventHead>(event).xkbType != XCB_XKB_STATE_NOTIFY
        || (eventAs<xcb_xkb_state_notify_event_t>(event).changed & XCB_XKB_STATE_PART_GROUP_STATE)
        != 0;
}

} // namespace quibel
