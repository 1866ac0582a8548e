#include "platform/x11/XcbHotKeyService.h"

#include "platform/HotKeyChoice.h"
#include "platform/TracePoint.h"
#include "platform/freedesktop/KeySymbols.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

#include <xkbcommon/xkbcommon-keysyms.h>

namespace quibel {

namespace {

/// Where B lies on most keyboards; taken when the layout has no b.
constexpr xcb_keycode_t usualKeycodeOfB = 56;

} // namespace

XcbHotKeyService::XcbHotKeyService(XcbConnection& connection)
    : x(connection)
    , keyboard(connection)
{
    connect(&x, &XcbConnection::received, this, &XcbHotKeyService::handleEvent);
    connect(&keyboard, &XcbKeyboard::changed, this, &XcbHotKeyService::grabAgain);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

XcbHotKeyService::~XcbHotKeyService()
{
    // A grab that nobody answers any more would freeze the keyboard for good.
    while (!hotKeys.empty())
        unregisterHotKey(hotKeys.begin()->first);
}

std::optional<HotKeyHandlerRef> XcbHotKeyService::installHandler(Handler handler)
{
    const HotKeyHandlerRef reference { ++lastReference };
    handlers.emplace(reference, std::move(handler));
    return reference;
}

std::optional<HotKeyRef> XcbHotKeyService::registerHotKey(QKeyCombination key, HotKeyID id)
{
    HotKey hotKey { .key = key, .id = id };
    const Grabs got = grab(hotKey);
    if (!got.any)
        return std::nullopt;
    const HotKeyRef reference { ++lastReference };
    hotKeys.emplace(reference, std::move(hotKey));
    return got.plain ? std::optional(reference) : std::nullopt;
}

bool XcbHotKeyService::hasKey(Qt::Key key) const
{
    return !keycodesOf(key).empty();
}

HotKeyAvailability XcbHotKeyService::availability(QKeyCombination key)
{
    HotKey hotKey { .key = key, .id = {} };
    const Grabs got = tryToGrab(hotKey);
    release(hotKey);
    if (!got.plain)
        return HotKeyAvailability::taken;
    return got.all ? HotKeyAvailability::available : HotKeyAvailability::partlyTaken;
}

void XcbHotKeyService::unregisterHotKey(HotKeyRef hotKey)
{
    const auto registered = hotKeys.extract(hotKey);
    if (registered.empty())
        return;
    release(registered.mapped());
    held = 0;
}

void XcbHotKeyService::removeHandler(HotKeyHandlerRef handler)
{
    handlers.erase(handler);
}

bool XcbHotKeyService::nativeEventFilter(const QByteArray& /*type*/,
                                         void* message,
                                         qintptr* /*result*/)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const unsigned type = event->response_type & 0x7FU;
    if (type == XCB_KEY_RELEASE)
        lastReleaseInToolkit = eventAs<xcb_key_release_event_t>(event).time;
    if (type != XCB_KEY_PRESS)
        return false;
    const auto& press = eventAs<xcb_key_press_event_t>(event);
    const HotKey* pressed = hotKeyOf(press);
    if (pressed == nullptr)
        return false;
    // A held key is released and pressed in the same instant.
    if (press.time != lastReleaseInToolkit) {
        tracePoint("hot key");
        deliver(pressed->id);
    }
    return true;
}

std::vector<xcb_keycode_t> XcbHotKeyService::keycodesOf(Qt::Key key) const
{
    const std::uint32_t symbol = keySymbol(key);
    if (symbol == XKB_KEY_NoSymbol)
        return {};
    std::vector<xcb_keycode_t> keycodes = keyboard.keycodesOf(symbol);
    if (!keycodes.empty())
        return keycodes;
    return symbol == XKB_KEY_b ? std::vector { usualKeycodeOfB }
                               : keyboard.keycodesInAnyLayout(symbol);
}

void XcbHotKeyService::locate(HotKey& hotKey) const
{
    if (auto keycodes = keycodesOf(hotKey.key.key()); !keycodes.empty())
        hotKey.keycodes = std::move(keycodes);
    hotKey.masks = keyboard.masksOf(hotKey.key.keyboardModifiers());
}

XcbHotKeyService::Grabs XcbHotKeyService::tryToGrab(HotKey& hotKey)
{
    locate(hotKey);
    struct Request
    {
        std::uint16_t locks;
        xcb_void_cookie_t cookie;
    };
    std::vector<Request> requests;
    for (const xcb_keycode_t keycode : hotKey.keycodes)
        for (const std::uint16_t mask : hotKey.masks)
            for (const std::uint16_t locks : keyboard.lockCombinations())
                requests.push_back({ .locks = locks,
                                     .cookie = xcb_grab_key_checked(x.get(),
                                                                    0,
                                                                    x.root(),
                                                                    mask | locks,
                                                                    keycode,
                                                                    XCB_GRAB_MODE_ASYNC,
                                                                    XCB_GRAB_MODE_SYNC) });
    Grabs grabs;
    for (const Request& request : requests) {
        const bool got
            = XcbOwned<xcb_generic_error_t>(xcb_request_check(x.get(), request.cookie)) == nullptr;
        grabs.plain = grabs.plain && (got || request.locks != 0);
        grabs.all = grabs.all && got;
        grabs.any = grabs.any || got;
    }
    return grabs;
}

XcbHotKeyService::Grabs XcbHotKeyService::grab(HotKey& hotKey)
{
    const Grabs got = tryToGrab(hotKey);
    if (!got.all && !std::exchange(saidTaken, true))
        std::fprintf(stderr,
                     "quibel-capture-agent: %s is taken by another program; free it there and start"
                     " the agent again, choose another by the preference quibel.hotKey, or use the"
                     " menu\n",
                     qUtf8Printable(hotKeyText(hotKey.key)));
    return got;
}

void XcbHotKeyService::release(const HotKey& hotKey)
{
    for (const xcb_keycode_t keycode : hotKey.keycodes)
        for (const std::uint16_t mask : hotKey.masks)
            for (const std::uint16_t locks : keyboard.lockCombinations())
                xcb_ungrab_key(x.get(), keycode, x.root(), mask | locks);
    xcb_ungrab_keyboard(x.get(), XCB_CURRENT_TIME);
    x.flush();
}

void XcbHotKeyService::grabAgain()
{
    for (auto& [reference, hotKey] : hotKeys) {
        // The masks may have changed as well: all grabs of these keys go.
        for (const xcb_keycode_t keycode : hotKey.keycodes)
            xcb_ungrab_key(x.get(), keycode, x.root(), XCB_MOD_MASK_ANY);
        static_cast<void>(grab(hotKey));
    }
}

void XcbHotKeyService::handleEvent(const xcb_generic_event_t* event)
{
    switch (event->response_type & 0x7FU) {
    case XCB_KEY_PRESS:
        keyPressed(eventAs<xcb_key_press_event_t>(event));
        break;
    case XCB_KEY_RELEASE:
        keyReleased(eventAs<xcb_key_release_event_t>(event));
        break;
    default:
        break;
    }
}

void XcbHotKeyService::keyPressed(const xcb_key_press_event_t& press)
{
    if (held != 0 && press.detail != held) {
        // Typed on while the hot key is still down: not ours, so the server is to deliver it as if
        // there had been no grab.
        held = 0;
        thaw(XCB_ALLOW_REPLAY_KEYBOARD);
        return;
    }
    const HotKey* pressed = hotKeyOf(press);
    if (pressed != nullptr && std::exchange(held, press.detail) == 0) {
        tracePoint("hot key");
        deliver(pressed->id);
    }
    thaw(XCB_ALLOW_SYNC_KEYBOARD);
}

void XcbHotKeyService::keyReleased(const xcb_key_release_event_t& release)
{
    if (release.detail != held) {
        thaw(XCB_ALLOW_SYNC_KEYBOARD);
        return;
    }
    held = 0;
    thaw(XCB_ALLOW_ASYNC_KEYBOARD);
}

void XcbHotKeyService::deliver(HotKeyID id)
{
    const auto installed = handlers;
    for (const auto& [reference, handler] : installed)
        handler(id);
}

void XcbHotKeyService::thaw(xcb_allow_t how)
{
    xcb_allow_events(x.get(), static_cast<std::uint8_t>(how), XCB_CURRENT_TIME);
    x.flush();
}

const XcbHotKeyService::HotKey* XcbHotKeyService::hotKeyOf(const xcb_key_press_event_t& press) const
{
    constexpr unsigned everyModifier = 0xFF;
    const unsigned locks = keyboard.lockCombinations().back();
    const unsigned modifiers = press.state & everyModifier & ~locks;
    const auto found = std::ranges::find_if(hotKeys, [&](const auto& entry) {
        const HotKey& hotKey = entry.second;
        return std::ranges::find(hotKey.keycodes, press.detail) != hotKey.keycodes.end()
            && std::ranges::find(hotKey.masks, modifiers) != hotKey.masks.end();
    });
    return found == hotKeys.end() ? nullptr : &found->second;
}

} // namespace quibel
