#pragma once

#include "panels/PanelPart.h"

#include <memory>

namespace quibel {

class CapturePanelView;

/// The window of the capture panel: no frame but a thin line, as large as its content.
///
/// Its native window is there from the start.
class CapturePanel : public PanelPart
{
    Q_OBJECT

public:
    CapturePanel();

    /// Replaces the content; the panel takes its fitting size.
    void setContentView(std::unique_ptr<CapturePanelView> view);

protected:
    /// Closing from outside, as by a window manager's key, is Escape.
    void closeEvent(QCloseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    CapturePanelView* contentView = nullptr;
};

} // namespace quibel
