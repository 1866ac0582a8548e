#pragma once

#include "capture/ScreenshotQueue.h"
#include "platform/ScreenCapture.h"
#include "platform/Screens.h"
#include "platform/Workspace.h"

#include <QObject>
#include <QSize>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace quibel {

/// What became of one frame that was taken and encoded as for a branch.
struct TrialPicture
{
    enum class Source { frontWindow, display };

    Source source = Source::frontWindow;
    QSize size; ///< Of the frame, in pixels.
    std::chrono::milliseconds grabbing { 0 };
    std::chrono::milliseconds encoding { 0 };
    QSize encodedSize {}; ///< Pixels.
    qint64 encodedBytes = 0;

    bool operator==(const TrialPicture&) const = default;
};

/// Takes one picture as a capture does, to see how that goes: the front window, else the display.
/// Unlike a capture it takes the display also when no application is in front.
///
/// Thread: main, which is never held up.
class TrialFrame final : public QObject
{
public:
    using Completion = std::function<void(const std::optional<TrialPicture>&)>;

    TrialFrame(Workspace& workspaceToWatch, Screens& screensToWatch, ScreenCapture& captureToUse);

    /// Call once. Calls `completion` once, in a later turn of the event loop; never after this is
    /// gone.
    ///
    /// Errors: `completion` gets none.
    void take(Completion whenDone);

private:
    struct Attempt
    {
        ContentFilter filter;
        QSize size;
        TrialPicture::Source source;
    };

    void plan(const ShareableContent& content);
    void tryNext();
    void stopStream();
    void frameDelivered(const QImage& frame, TrialPicture picture);

    Workspace& workspace;
    Screens& screens;
    ScreenCapture& screenCapture;
    Completion completion;
    std::deque<Attempt> attempts; ///< Those still to be made.
    std::unique_ptr<CaptureStream> stream;
    // Last, so that its thread has ended before anything that a job refers to goes.
    ScreenshotQueue queue;
};

} // namespace quibel
