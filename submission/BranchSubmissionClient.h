#pragma once

#include "account/KeychainService.h"
#include "account/ProjectStore.h"
#include "platform/HttpSession.h"
#include "submission/CaptureReport.h"
#include "submission/PendingScreenshot.h"
#include "submission/SubmissionError.h"

#include <QByteArray>
#include <QObject>

#include <functional>
#include <optional>

namespace quibel {

/// Sends branches and their screenshots to the service, each once.
///
/// Thread: main. Completions are not called after the client is gone.
class BranchSubmissionClient : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void(const SubmissionResult&)>;

    BranchSubmissionClient(HttpSession& httpSession,
                           ProjectStore& store,
                           const KeychainService& keys,
                           const CaptureReport& captureReport);

    /// Sends a branch document. `completion` is called once, in a later turn of the event loop; but
    /// before this returns when it is known by then that nothing can be sent. A rejected key signs
    /// the user out first.
    ///
    /// Returns the submission's screenshot, for `uploadScreenshot`.
    PendingScreenshotRef submit(const QByteArray& document, const Completion& completion);

    /// The same for a branch that was kept; but when there is no key or no base URL, nothing is
    /// sent and `completion` is not called.
    void resend(const QByteArray& document, const Completion& completion);

    /// Uploads `screenshot` to the branch of its submission as soon as that has an id, and to no
    /// other. If the branch has failed already, the screenshot goes with the next branch that
    /// succeeds, unless a newer one takes its place.
    void uploadScreenshot(const PendingScreenshotRef& pending, ScreenshotCapture screenshot);

    /// Forgets a screenshot whose branch had failed.
    void dropStrandedScreenshot() { strandedScreenshot.reset(); }

private:
    /// A request; or why there can be none.
    using Prepared = std::variant<HttpRequest, SubmissionError>;

    /// Makes the request for `json` once the key is read.
    void prepare(const QString& path,
                 const QByteArray& json,
                 std::function<void(const Prepared&)> proceed);
    void send(const HttpRequest& request, Completion completion);
    void branchEnded(PendingScreenshot& pending, const SubmissionResult& result);
    void uploadPendingScreenshot(PendingScreenshot& pending);
    void upload(const ScreenshotCapture& screenshot, const QString& branchID);
    void uploadPrepared(const Prepared& prepared,
                        const ScreenshotCapture& screenshot,
                        const QString& branchID);

    HttpSession& session;
    ProjectStore& projectStore;
    const KeychainService& keychain;
    const CaptureReport& report;
    std::optional<ScreenshotCapture> strandedScreenshot; ///< Its branch had failed before it came.
};

/// What an answer to a branch request means.
[[nodiscard]] SubmissionResult readSubmissionResult(const HttpOutcome& outcome);

} // namespace quibel
