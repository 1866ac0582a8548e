#pragma once

#include "account/KeychainService.h"
#include "account/ProjectStore.h"
#include "app/KeptCapture.h"
#include "capture/CaptureContext.h"
#include "capture/ScreenshotCapturer.h"
#include "platform/Platform.h"
#include "platform/Workspace.h"
#include "submission/BranchSubmissionClient.h"
#include "submission/CaptureReport.h"
#include "ui/CapturePanelController.h"
#include "ui/ScreenshotMode.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace quibel {

/// Carries a capture from the trigger to the hand-off of a branch and its screenshot.
///
/// Everything runs on the main thread; the order of steps is the order of calls there.
class CaptureFlow : public QObject
{
    Q_OBJECT

public:
    enum class Trigger { hotKey, menu };

    CaptureFlow(const Platform& platform, ProjectStore& store, KeychainService& keys);

    /// Makes the capture panel; before that, captures do not begin.
    void createPanel();

    /// Builds the panel's window, so that the first press of the hot key need not.
    void preparePanel() { capturePanelController->prepare(); }

    /// Takes up the branch that an earlier run could not send.
    void loadLastFailedCapture() { keptCapture.loadLastFailedCapture(); }

    /// Opens the panel; or, for the first press of the hot key after a failure, sends the kept
    /// branch again instead.
    void beginCapture(Trigger trigger);

    /// The service has accepted or rejected the key; either way a kept branch is dropped.
    void accountChanged(bool unauthorized);

private:
    using PreviousApplication = std::optional<RunningApplication>;

    void resendKeptCapture();
    [[nodiscard]] CaptureContext currentCaptureContext(const PreviousApplication& frontmost);
    [[nodiscard]] std::optional<QString>
    frontWindowTitle(std::optional<ProcessIdentifier> processIdentifier);
    [[nodiscard]] bool readSyncWarning();
    [[nodiscard]] bool showsSyncWarning() const;
    [[nodiscard]] ScreenshotMode loadScreenshotMode() const;
    void saveScreenshotMode(ScreenshotMode mode);
    void handleSubmit(const QString& text,
                      const Project& project,
                      ScreenshotMode mode,
                      const CaptureContext& context,
                      const PreviousApplication& previous);
    /// Closes the panel now if its closing is due.
    void finishClosing();
    void closePanelAndRestoreFocus(const PreviousApplication& previous);
    void handleSubmitResult(const SubmissionResult& result,
                            const Project& project,
                            const QByteArray& document,
                            const std::optional<QByteArray>& keptBefore);
    void startScreenshotCapture(const CaptureContext& context,
                                const Project& project,
                                const PendingScreenshotRef& pending);

    Workspace& workspace;
    Screens& screens;
    PanelWindows& panelWindows;
    Preferences& preferences;
    ProjectStore& projectStore;
    KeychainService& keychain;
    const QString screenshotModeKey = QStringLiteral("quibel.screenshotMode");
    bool hasKey = false; ///< As far as is known when the panel is shown.
    bool isUnauthorized = false;
    KeptCapture keptCapture;
    CaptureReport report;
    BranchSubmissionClient submission;
    ScreenshotCapturer screenshots;
    std::unique_ptr<CapturePanelController> capturePanelController;
    std::unique_ptr<QObject> openPanel; ///< Stands for one showing of the panel, while it lasts.
    /// Closes the panel; there from the hand-over of a branch to the closing in a later turn.
    std::function<void()> closing;
};

} // namespace quibel
