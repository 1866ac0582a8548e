#pragma once

#include "account/Project.h"
#include "platform/PanelWindows.h"
#include "platform/Screens.h"
#include "ui/CapturePanel.h"
#include "ui/CapturePanelState.h"
#include "ui/CapturePanelView.h"
#include "ui/ScreenshotMode.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace quibel {

/// Shows the capture panel where the user is looking, takes the arrow keys while it is up, and
/// hands the user's choice on.
///
/// Thread: main.
class CapturePanelController : public QObject
{
    Q_OBJECT

public:
    struct ShowRequest
    {
        ProjectList projects;
        std::optional<QString> preferredProjectID; ///< Selected first; else the first project is.
        bool showSyncWarning = false;
        ScreenshotMode screenshotMode = ScreenshotMode::off;
        /// Told of each mode that an arrow key chooses, also of the one that was chosen already.
        std::function<void(ScreenshotMode)> onScreenshotModeChanged;
        /// The panel stays open; it is for the receiver to close it.
        CapturePanelView::OnSubmit onSubmit;
        /// Called when the panel is closed already.
        CapturePanelView::OnCancel onCancel;
    };

    CapturePanelController(PanelWindows& windows, Screens& desktopScreens);

    /// Builds the window and loads what its texts need ahead of the first showing, which is then as
    /// quick as any later one. Without it the first showing does that.
    void prepare();

    /// Shows the panel with fresh content; also while it is shown.
    void show(ShowRequest request);

    /// Shows or hides the offline line of the panel that is up; nothing else of it changes.
    void setSyncWarning(bool shown);

    /// What the panel shows; null before the first showing.
    [[nodiscard]] const CapturePanelState* shownState() const { return state.get(); }

    /// Hides the panel and leaves the arrow keys alone again.
    void close();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] CapturePanel& existingPanel();
    void fillState(ShowRequest& request);
    void positionPanel();
    void placeFrame(QPoint origin);
    void followTranslucency();
    void focusTextField(QWidget& root);
    void installKeyMonitor();
    void handleArrowKey(int key);
    void chooseScreenshotMode(ScreenshotMode mode);

    PanelWindows& panelWindows;
    Screens& screens;
    std::unique_ptr<CapturePanelState> state; ///< From the first showing on.
    std::unique_ptr<CapturePanel> panel;      ///< From `prepare` or the first showing on.
    bool eventMonitor = false; ///< Whether this object filters the application's events.
    std::function<void(ScreenshotMode)> onScreenshotModeChanged;
};

} // namespace quibel
