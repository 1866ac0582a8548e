#pragma once

#include "account/Project.h"
#include "capture/CaptureContext.h"
#include "capture/ScreenshotCapture.h"
#include "capture/ScreenshotQueue.h"
#include "platform/ScreenCapture.h"
#include "platform/Screens.h"
#include "platform/Workspace.h"

#include <QObject>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace quibel {

/// Takes one picture of what the user is looking at: the frontmost application's window, else the
/// display it is on.
///
/// One at a time: a capture that comes while another is under way begins when that one has ended,
/// for the application that was frontmost when it came.
///
/// Thread: main, which is never held up: frames are grabbed, encoded and freed on a queue.
class ScreenshotCapturer final : public QObject
{
public:
    using Completion = std::function<void(std::optional<ScreenshotCapture>)>;

    ScreenshotCapturer(Workspace& workspaceToWatch,
                       Screens& screensToWatch,
                       ScreenCapture& captureToUse);

    /// Calls `completion` once, in a later turn of the event loop; never after the capturer is
    /// gone.
    ///
    /// Errors: `completion` gets none, whatever went wrong.
    void capture(const CaptureContext& context, const Project& project, Completion completion);

private:
    enum class Source { activeWindow, display };
    struct Request;
    using RequestRef = std::shared_ptr<Request>;

    void begin(const RequestRef& request);
    void captureWindow(const RequestRef& request);
    void captureDisplay(const RequestRef& request);
    void
    captureFrame(const RequestRef& request, const ContentFilter& filter, QSize size, Source source);
    void frameDelivered(const RequestRef& request, QImage frame, Source source);
    void noFrame(const RequestRef& request, Source source);
    void stopStream();
    void finish(const RequestRef& request, std::optional<ScreenshotCapture> result);

    Workspace& workspace;
    Screens& screens;
    ScreenCapture& screenCapture;
    std::deque<RequestRef> requests; ///< The one under way and those behind it.
    std::unique_ptr<CaptureStream> stream;
    // Last, so that its thread has ended before anything that a job refers to goes.
    ScreenshotQueue queue;
};

} // namespace quibel
