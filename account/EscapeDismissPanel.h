#pragma once

#include "panels/PanelPart.h"

namespace quibel {

class PanelWindows;

/// A titled, closable panel that hides itself when the user presses Escape or closes it.
class EscapeDismissPanel final : public PanelPart
{
    Q_OBJECT

public:
    explicit EscapeDismissPanel(PanelWindows& panelWindows);

    /// Hides the panel, to be shown again.
    void orderOut();

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    PanelWindows& windows;
};

} // namespace quibel
