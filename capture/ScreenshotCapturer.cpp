#include "capture/ScreenshotCapturer.h"

#include "capture/FrameEncoder.h"
#include "capture/FrontmostWindow.h"
#include "capture/SingleFrameStreamOutput.h"

#include <QDateTime>
#include <QPointer>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

std::optional<ScreenshotCapture> encode(const QImage& frame, ScreenshotMetadata metadata)
{
    metadata.capturedAt = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    auto encoded = encodeFrame(frame);
    if (!encoded)
        return std::nullopt;
    metadata.imageFormat = u"png"_s;
    metadata.imageWidth = encoded->size.width();
    metadata.imageHeight = encoded->size.height();
    metadata.byteSize = encoded->data.size();
    return ScreenshotCapture { .data = std::move(encoded->data), .metadata = std::move(metadata) };
}

} // namespace

/// One call of `capture`.
struct ScreenshotCapturer::Request
{
    ScreenshotMetadata metadata;
    std::optional<ProcessIdentifier> process;
    ShareableContent content;
    Completion completion;
};

ScreenshotCapturer::ScreenshotCapturer(Workspace& workspaceToWatch,
                                       Screens& screensToWatch,
                                       ScreenCapture& captureToUse)
    : workspace(workspaceToWatch)
    , screens(screensToWatch)
    , screenCapture(captureToUse)
{
}

void ScreenshotCapturer::capture(const CaptureContext& context,
                                 const Project& project,
                                 Completion completion)
{
    const auto request = std::make_shared<Request>();
    request->metadata = describeAttempt(context, project, QDateTime::currentDateTimeUtc());
    request->completion = std::move(completion);
    const auto frontmost = workspace.frontmostApplication();
    if (!frontmost) {
        finish(request, std::nullopt);
        return;
    }
    request->process = frontmost->processIdentifier;
    // On the queue a frame would wait behind the one that is being encoded until its time is over.
    requests.push_back(request);
    if (requests.size() == 1)
        begin(request);
}

void ScreenshotCapturer::begin(const RequestRef& request)
{
    screenCapture.shareableContent(
        [capturer = QPointer(this), request](std::optional<ShareableContent> content) {
            if (!capturer)
                return;
            if (!content) {
                capturer->finish(request, std::nullopt);
                return;
            }
            request->content = *std::move(content);
            capturer->captureWindow(request);
        });
}

void ScreenshotCapturer::captureWindow(const RequestRef& request)
{
    const auto found = findWindowToCapture(workspace, request->content, request->process);
    if (!found)
        captureDisplay(request);
    else
        captureFrame(
            request,
            WindowFilter { .window = found->number },
            QSize(static_cast<int>(found->frame.width()), static_cast<int>(found->frame.height())),
            Source::activeWindow);
}

void ScreenshotCapturer::captureDisplay(const RequestRef& request)
{
    const auto found = findDisplayToCapture(workspace, screens, request->content, request->process);
    if (!found)
        finish(request, std::nullopt);
    else
        captureFrame(request, DisplayFilter { .display = found->id }, found->size, Source::display);
}

void ScreenshotCapturer::captureFrame(const RequestRef& request,
                                      const ContentFilter& filter,
                                      QSize size,
                                      Source source)
{
    stream = screenCapture.makeStream(filter, { .size = size });
    const auto output = std::make_shared<SingleFrameStreamOutput>();
    stream->addOutput(output, [this](ScreenshotQueue::Job job) { queue.add(std::move(job)); });
    // The wait comes before the start: the frame is grabbed on another thread and would be dropped
    // if it came in between.
    output->nextSample(frameTimeout, [this, request, source](std::optional<StreamSample> sample) {
        if (sample && !sample->image.isNull())
            frameDelivered(request, std::move(sample->image), source);
        else
            QMetaObject::invokeMethod(
                this, [this, request, source] { noFrame(request, source); }, Qt::QueuedConnection);
    });
    if (!stream->start())
        noFrame(request, source);
}

/// Runs on the queue: encodes the frame there, and frees it.
void ScreenshotCapturer::frameDelivered(const RequestRef& request, QImage frame, Source source)
{
    QMetaObject::invokeMethod(
        this, [this] { stopStream(); }, Qt::QueuedConnection);
    ScreenshotMetadata metadata = request->metadata;
    if (source == Source::display)
        metadata.captureType = u"display_fallback"_s;
    auto result = encode(frame, std::move(metadata));
    frame = {};
    finish(request, std::move(result));
}

void ScreenshotCapturer::noFrame(const RequestRef& request, Source source)
{
    stopStream();
    if (source == Source::activeWindow)
        captureDisplay(request);
    else
        finish(request, std::nullopt);
}

void ScreenshotCapturer::stopStream()
{
    stream->stop();
    stream.reset();
}

void ScreenshotCapturer::finish(const RequestRef& request, std::optional<ScreenshotCapture> result)
{
    QMetaObject::invokeMethod(
        this,
        [this, request, result = std::move(result)]() mutable {
            if (std::erase(requests, request) > 0 && !requests.empty())
                begin(requests.front());
            std::exchange(request->completion, nullptr)(std::move(result));
        },
        Qt::QueuedConnection);
}

} // namespace quibel
