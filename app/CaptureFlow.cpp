#include "app/CaptureFlow.h"

#include "platform/TracePoint.h"
#include "submission/BranchDocument.h"

#include <QDateTime>
#include <QMetaObject>
#include <QTimer>

#include <chrono>
#include <utility>

namespace quibel {

namespace {

/// Time for the panel to leave the screen and for the window below to be itself again.
constexpr std::chrono::milliseconds screenshotDelay { 50 };

/// For how long a slow secret store may keep the panel from being shown.
constexpr std::chrono::milliseconds longestHold { 50 };

void restoreFocus(Workspace& workspace, const std::optional<RunningApplication>& previous)
{
    if (previous)
        workspace.activate(*previous);
}

} // namespace

CaptureFlow::CaptureFlow(const Platform& platform, ProjectStore& store, KeychainService& keys)
    : workspace(platform.workspace)
    , screens(platform.screens)
    , panelWindows(platform.panelWindows)
    , preferences(platform.preferences)
    , projectStore(store)
    , keychain(keys)
    , keptCapture(platform.preferences)
    , report(platform.standardOutput)
    , submission(platform.session, store, keys, report)
    , screenshots(platform.workspace, platform.screens, platform.screenCapture)
{
}

void CaptureFlow::createPanel()
{
    capturePanelController = std::make_unique<CapturePanelController>(panelWindows, screens);
}

void CaptureFlow::beginCapture(Trigger trigger)
{
    if (trigger == Trigger::hotKey && keptCapture.interceptHotkey()) {
        resendKeptCapture();
        return;
    }

    // The toolkit may deliver Return and the next press in one turn.
    finishClosing();
    const PreviousApplication previous = workspace.frontmostApplication();
    const CaptureContext context = currentCaptureContext(previous);
    tracePoint("context");
    const ProjectList projects = projectStore.projects();
    const auto preferred = projectStore.preferredProject(projects);
    tracePoint("projects");
    if (!capturePanelController)
        return;

    capturePanelController->show({
        .projects = projects,
        .preferredProjectID = preferred ? std::optional(preferred->id) : std::nullopt,
        .showSyncWarning = readSyncWarning(),
        .screenshotMode = loadScreenshotMode(),
        .onScreenshotModeChanged = [this](ScreenshotMode mode) { saveScreenshotMode(mode); },
        .onSubmit =
            [this, context, previous](
                const QString& text, const Project& project, ScreenshotMode mode) {
                handleSubmit(text, project, mode, context, previous);
            },
        .onCancel =
            [this, previous] {
                openPanel.reset();
                restoreFocus(workspace, previous);
            },
    });
}

void CaptureFlow::accountChanged(bool unauthorized)
{
    isUnauthorized = unauthorized;
    keptCapture.clearLastFailedCapture();
    submission.dropStrandedScreenshot();
}

void CaptureFlow::resendKeptCapture()
{
    if (!keptCapture.payload())
        return;
    const QByteArray document = *keptCapture.payload();
    submission.resend(document, [this, document](const SubmissionResult& result) {
        const auto* error = std::get_if<SubmissionError>(&result);
        if (error == nullptr || *error == SubmissionError::unauthorized)
            keptCapture.clearLastFailedCapture(document);
    });
}

CaptureContext CaptureFlow::currentCaptureContext(const PreviousApplication& frontmost)
{
    if (!frontmost)
        return { .appName = {}, .bundleID = {}, .windowTitle = frontWindowTitle(std::nullopt) };
    return { .appName = frontmost->localizedName,
             .bundleID = frontmost->bundleIdentifier,
             .windowTitle = frontWindowTitle(frontmost->processIdentifier) };
}

std::optional<QString>
CaptureFlow::frontWindowTitle(std::optional<ProcessIdentifier> processIdentifier)
{
    if (!processIdentifier)
        return std::nullopt;
    const auto windows = workspace.onScreenWindows();
    if (!windows)
        return std::nullopt;
    for (const WindowInfo& window : *windows)
        if (window.ownerProcess == processIdentifier && window.name && !window.name->isEmpty())
            return window.name;
    return std::nullopt;
}

bool CaptureFlow::readSyncWarning()
{
    openPanel = std::make_unique<QObject>();
    hasKey = false;
    const auto take = [this](const KeyResult& stored) {
        const auto* key = std::get_if<SecretText>(&stored);
        hasKey = key != nullptr && !(*key)->isEmpty();
        capturePanelController->setSyncWarning(showsSyncWarning());
    };
    keychain.read(*openPanel, take, longestHold);
    tracePoint("key store");
    return showsSyncWarning();
}

bool CaptureFlow::showsSyncWarning() const
{
    return !hasKey || isUnauthorized || keptCapture.failed();
}

ScreenshotMode CaptureFlow::loadScreenshotMode() const
{
    const QString stored = preferences.text(screenshotModeKey).value_or(QString());
    return screenshotModeFromRawValue(stored).value_or(ScreenshotMode::off);
}

void CaptureFlow::saveScreenshotMode(ScreenshotMode mode)
{
    preferences.setText(screenshotModeKey, rawValue(mode));
}

void CaptureFlow::handleSubmit(const QString& text,
                               const Project& project,
                               ScreenshotMode mode,
                               const CaptureContext& context,
                               const PreviousApplication& previous)
{
    // The toolkit may deliver several key presses in one turn, and Return is easily held too long.
    if (closing)
        return;
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return;
    const auto document = buildBranchDocument(
        trimmed, context, project.id, project.isMock, QDateTime::currentDateTimeUtc());
    if (!document)
        return;

    closing = [this, previous] { closePanelAndRestoreFocus(previous); };
    QMetaObject::invokeMethod(this, &CaptureFlow::finishClosing, Qt::QueuedConnection);
    const auto pending = submission.submit(
        *document,
        [this, project, document = *document, keptBefore = keptCapture.payload()](
            const SubmissionResult& result) {
            handleSubmitResult(result, project, document, keptBefore);
        });
    if (mode == ScreenshotMode::on)
        QTimer::singleShot(
            screenshotDelay, Qt::PreciseTimer, this, [this, context, project, pending] {
                startScreenshotCapture(context, project, pending);
            });
}

void CaptureFlow::finishClosing()
{
    if (const auto close = std::exchange(closing, nullptr))
        close();
}

void CaptureFlow::closePanelAndRestoreFocus(const PreviousApplication& previous)
{
    openPanel.reset();
    if (capturePanelController)
        capturePanelController->close();
    restoreFocus(workspace, previous);
}

void CaptureFlow::handleSubmitResult(const SubmissionResult& result,
                                     const Project& project,
                                     const QByteArray& document,
                                     const std::optional<QByteArray>& keptBefore)
{
    const auto* error = std::get_if<SubmissionError>(&result);
    if (error == nullptr) {
        keptCapture.clearLastFailedCapture(keptBefore);
        projectStore.recordUse(project);
        return;
    }
    const bool dropped
        = *error == SubmissionError::noAPIKey || *error == SubmissionError::unauthorized;
    if (!dropped)
        keptCapture.storeFailedCapture(document);
}

void CaptureFlow::startScreenshotCapture(const CaptureContext& context,
                                         const Project& project,
                                         const PendingScreenshotRef& pending)
{
    screenshots.capture(
        context,
        project,
        [this, context, project, pending](std::optional<ScreenshotCapture> capture) {
            if (!capture) {
                report.captureFailed(
                    describeAttempt(context, project, QDateTime::currentDateTimeUtc()), {});
                return;
            }
            report.captured(capture->metadata);
            submission.uploadScreenshot(pending, *std::move(capture));
        });
}

} // namespace quibel
