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

    /// `pendingScreenshot` belongs to the caller, who fills it; an upload that has ended clears it.
    BranchSubmissionClient(HttpSession& httpSession,
                           ProjectStore& store,
                           const KeychainService& keys,
                           PendingScreenshot& pendingScreenshot,
                           const CaptureReport& captureReport);

    /// Sends a branch document. `completion` is called once, in a later turn of the event loop; but
    /// before this returns when it is known by then that nothing can be sent. A rejected key signs
    /// the user out first.
    void submit(const QByteArray& document, const Completion& completion);

    /// The same for a branch that was kept; but when there is no key or no base URL, nothing is
    /// sent and `completion` is not called.
    void resend(const QByteArray& document, const Completion& completion);

    /// Uploads the pending screenshot, if its branch id is there too.
    void uploadPendingScreenshot();

private:
    /// A request; or why there can be none.
    using Prepared = std::variant<HttpRequest, SubmissionError>;

    /// Makes the request for `json` once the key is read.
    void prepare(const QString& path,
                 const QByteArray& json,
                 std::function<void(const Prepared&)> proceed);
    void send(const HttpRequest& request, Completion completion);
    void
    upload(const Prepared& prepared, const ScreenshotCapture& screenshot, const QString& branchID);

    HttpSession& session;
    ProjectStore& projectStore;
    const KeychainService& keychain;
    PendingScreenshot& pending;
    const CaptureReport& report;
};

/// What an answer to a branch request means.
[[nodiscard]] SubmissionResult readSubmissionResult(const HttpOutcome& outcome);

} // namespace quibel
