#pragma once

#include "platform/PanelWindows.h"
#include "platform/x11/XcbConnection.h"
#include "platform/x11/XcbKeyboardGrab.h"
#include "platform/x11/XcbSelectionOwner.h"

#include <QHash>
#include <QRect>

namespace quibel {

/// Panels on X11.
///
/// The capture panel bypasses the window manager, as launchers do: nothing stands between the key
/// press and the panel, no prevention of focus stealing applies, and it lies over full-screen
/// windows and on every desktop. It takes the keyboard itself, keeps it until the user clicks
/// something else, and hands it back. The dialog is an ordinary window that floats and that no task
/// bar, pager or switcher offers.
class XcbPanelWindows final : public PanelWindows
{
    Q_OBJECT

public:
    explicit XcbPanelWindows(XcbConnection& connection);

    [[nodiscard]] bool areTranslucent() const override;
    void prepare(QWindow& panel, PanelKind kind) override;
    void place(QWindow& panel, QPoint origin) override;
    void setFrame(QWindow& panel, const QRect& frame) override;
    void makeKeyAndOrderFront(QWindow& panel) override;
    void orderOut(QWindow& panel) override;

    /// Gives the keyboard to a capture panel that is clicked, since no window manager does.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void makeDialogKey(QWindow& panel);
    void makeCapturePanelKey(QWindow& panel);
    void takeFocus(QWindow& panel);
    void shapeInput(const QWindow& panel) const;

    XcbConnection& x; ///< Knows the atoms; requests go over the toolkit's connection.
    XcbSelectionOwner compositor;
    XcbKeyboardGrab keyboard;
    QHash<const QWindow*, PanelKind> kinds;
    QHash<const QWindow*, QRect> frames;
    /// What had the keyboard before a capture panel took it, and gets it back.
    xcb_window_t focusBefore = XCB_INPUT_FOCUS_POINTER_ROOT;
};

} // namespace quibel
