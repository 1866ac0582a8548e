#pragma once

#include "platform/StatusArea.h"
#include "platform/x11/XcbConnection.h"
#include "platform/x11/XcbSelectionOwner.h"

namespace quibel {

/// The tray of an X11 desktop: a StatusNotifier host on the session bus, or a tray window that
/// embeds icons.
///
/// Asks nobody who could keep it waiting; what the bus says comes in a later turn of the event
/// loop.
class XcbStatusArea final : public StatusArea
{
    Q_OBJECT

public:
    explicit XcbStatusArea(XcbConnection& connection);

    [[nodiscard]] bool isPresent() const override;
    void identify(std::function<void(StatusAreaKind)> completion) override;
    /// The colour that a tray window wants icons in; a StatusNotifier host colours them itself.
    [[nodiscard]] std::optional<QColor> foreground() const override;
    [[nodiscard]] bool colorsThemedIcons() const override;

private:
    Q_SLOT void askForHost();
    /// `completion` is called in a later turn of the event loop.
    void askBus(std::function<void(bool hasHost)> completion);
    void watchBus();
    void setHost(bool present);
    void greetTray();
    void watchTrayColors();
    void handleEvent(const xcb_generic_event_t* event);

    XcbConnection& x;
    XcbSelectionOwner tray;
    bool host = false; ///< Whether a StatusNotifier host is there.
};

} // namespace quibel
