#pragma once

#include <QObject>
#include <QPoint>

class QRect;
class QWindow;

namespace quibel {

enum class PanelKind {
    capture, ///< No frame; above everything, on every desktop, also over a full-screen window.
    dialog,  ///< Titled and closable; floats above ordinary windows.
};

/// What a panel needs from the window system beyond what the toolkit does for any window.
///
/// Thread: main.
class PanelWindows : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Whether what lies below shows through a panel where it is transparent, if its window has an
    /// alpha channel. Where this is false, transparent means black.
    [[nodiscard]] virtual bool areTranslucent() const = 0;

    /// Once for each panel, before it is first shown: its level, desktops, and that no task bar,
    /// pager or switcher offers it.
    virtual void prepare(QWindow& panel, PanelKind kind) = 0;

    /// Puts the top-left corner of the panel's content at `origin`, in points in the coordinates of
    /// `Screen::frame`.
    virtual void place(QWindow& panel, QPoint origin) = 0;

    /// Tells which part of the panel's window is its frame, in points from the window's corner:
    /// clicks beside it go to what lies below.
    virtual void setFrame(QWindow& panel, const QRect& frame) = 0;

    /// Shows the panel in front and gives it the keyboard, ignoring which application has it now.
    virtual void makeKeyAndOrderFront(QWindow& panel) = 0;

    /// Hides the panel without destroying it. Nothing of a capture panel stays on the screen, also
    /// where windows fade out.
    virtual void orderOut(QWindow& panel) = 0;

Q_SIGNALS:
    void translucencyChanged();
};

} // namespace quibel
