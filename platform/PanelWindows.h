#pragma once

#include <QPoint>

class QWindow;

namespace quibel {

enum class PanelKind {
    capture, ///< No frame; above everything, on every desktop, also over a full-screen window.
    dialog,  ///< Titled and closable; floats above ordinary windows.
};

/// What a panel needs from the window system beyond what the toolkit does for any window.
///
/// Thread: main.
class PanelWindows
{
public:
    PanelWindows() = default;
    PanelWindows(const PanelWindows&) = delete;
    PanelWindows& operator=(const PanelWindows&) = delete;
    virtual ~PanelWindows() = default;

    /// Once for each panel, before it is first shown: its level, desktops, and that no task bar,
    /// pager or switcher offers it.
    virtual void prepare(QWindow& panel, PanelKind kind) = 0;

    /// Puts the top-left corner of the panel's content at `origin`, in points in the coordinates of
    /// `Screen::frame`.
    virtual void place(QWindow& panel, QPoint origin) = 0;

    /// Shows the panel in front and gives it the keyboard, ignoring which application has it now.
    virtual void makeKeyAndOrderFront(QWindow& panel) = 0;

    /// Hides the panel without destroying it.
    virtual void orderOut(QWindow& panel) = 0;
};

} // namespace quibel
