#pragma once

#include "platform/HotKeyService.h"
#include "platform/x11/XcbKeyboard.h"

#include <QAbstractNativeEventFilter>

#include <map>

namespace quibel {

/// Hot keys by passive grabs on the root window.
///
/// A layout without the key leaves it to its place in another layout in use, else to the place that
/// it had last; B, to that of the key that most layouts print it on.
///
/// The grabs freeze the keyboard while handlers run: what is typed right behind a hot key waits in
/// the server and goes to the window that has the focus afterwards. A handler must not take long.
///
/// While a window of this program holds the whole keyboard, no passive grab fires: the hot key then
/// comes among the keys of the toolkit.
class XcbHotKeyService final : public QObject,
                               public HotKeyService,
                               public QAbstractNativeEventFilter
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(XcbHotKeyService)

public:
    explicit XcbHotKeyService(XcbConnection& connection);
    ~XcbHotKeyService() override;

    [[nodiscard]] std::optional<HotKeyHandlerRef> installHandler(Handler handler) override;
    [[nodiscard]] std::optional<HotKeyRef> registerHotKey(QKeyCombination key,
                                                          HotKeyID id) override;
    [[nodiscard]] bool hasKey(Qt::Key key) const override;
    [[nodiscard]] HotKeyAvailability availability(QKeyCombination key) override;
    void unregisterHotKey(HotKeyRef hotKey) override;
    void removeHandler(HotKeyHandlerRef handler) override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    struct HotKey
    {
        QKeyCombination key;
        HotKeyID id;
        /// The modifier bits, without locks; several where keys of a name differ in them.
        std::vector<std::uint16_t> masks {};
        std::vector<xcb_keycode_t> keycodes {};
    };

    /// Which combinations of a hot key and lock keys could be had.
    struct Grabs
    {
        bool plain = true; ///< The one that most people press: no lock key is on.
        bool all = true;
        bool any = false;
    };

    /// Empty if the keyboard does not have it.
    [[nodiscard]] std::vector<xcb_keycode_t> keycodesOf(Qt::Key key) const;
    /// Finds its keys and modifiers in the current layout.
    void locate(HotKey& hotKey) const;
    /// Grabs all combinations it can get.
    [[nodiscard]] Grabs tryToGrab(HotKey& hotKey);
    /// The same, and complains unless it gets all.
    [[nodiscard]] Grabs grab(HotKey& hotKey);
    /// Gives the keys back, and the keyboard: a press on its way here has frozen it already, and
    /// nobody may be left to thaw it.
    void release(const HotKey& hotKey);
    void grabAgain();
    void handleEvent(const xcb_generic_event_t* event);
    void keyPressed(const xcb_key_press_event_t& press);
    void keyReleased(const xcb_key_release_event_t& release);
    void deliver(HotKeyID id);
    void thaw(xcb_allow_t how);
    [[nodiscard]] const HotKey* hotKeyOf(const xcb_key_press_event_t& press) const;

    XcbConnection& x;
    XcbKeyboard keyboard;
    std::map<HotKeyRef, HotKey> hotKeys;
    std::map<HotKeyHandlerRef, Handler> handlers;
    std::uint32_t lastReference = 0;
    xcb_keycode_t held = 0; ///< The hot key that is down; 0 for none.
    xcb_timestamp_t lastReleaseInToolkit = 0;
    bool saidTaken = false;
};

} // namespace quibel
