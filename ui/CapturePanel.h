#pragma once

#include "panels/PanelPart.h"

#include <memory>

namespace quibel {

class CapturePanelView;

/// The window of the capture panel: its content within a thin line.
///
/// A panel that floats has rounded corners and a shadow around its frame, which takes a desktop
/// that shows what lies below where a window is transparent. Its native window is there from the
/// start.
class CapturePanel : public PanelPart
{
    Q_OBJECT

public:
    CapturePanel();

    /// Replaces the content; the frame takes its fitting size.
    void setContentView(std::unique_ptr<CapturePanelView> view);

    void setFloating(bool nowFloating);

    /// The panel without its shadow, in the coordinates of the window.
    [[nodiscard]] QRect frame() const;

protected:
    /// Closing from outside, as by a window manager's key, is Escape.
    void closeEvent(QCloseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void fitContentView();

    CapturePanelView* contentView = nullptr;
    bool floating = false;
};

} // namespace quibel
