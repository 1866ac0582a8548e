#include "doctor/TrialFrame.h"

#include "capture/FrameEncoder.h"
#include "capture/FrontmostWindow.h"
#include "capture/SingleFrameStreamOutput.h"

#include <QElapsedTimer>
#include <QPointer>

#include <utility>

namespace quibel {

namespace {

std::chrono::milliseconds sinceStartOf(const QElapsedTimer& timer)
{
    return std::chrono::milliseconds(timer.elapsed());
}

} // namespace

TrialFrame::TrialFrame(Workspace& workspaceToWatch,
                       Screens& screensToWatch,
                       ScreenCapture& captureToUse)
    : workspace(workspaceToWatch)
    , screens(screensToWatch)
    , screenCapture(captureToUse)
{
}

void TrialFrame::take(Completion whenDone)
{
    completion = std::move(whenDone);
    screenCapture.shareableContent(
        [self = QPointer(this)](const std::optional<ShareableContent>& content) {
            if (!self)
                return;
            if (content)
                self->plan(*content);
            self->tryNext();
        });
}

void TrialFrame::plan(const ShareableContent& content)
{
    const auto frontmost = workspace.frontmostApplication();
    const auto process = frontmost ? frontmost->processIdentifier : std::nullopt;
    if (const auto window = findWindowToCapture(workspace, content, process))
        attempts.push_back({ .filter = WindowFilter { .window = window->number },
                             .size = window->frame.size().toSize(),
                             .source = TrialPicture::Source::frontWindow });
    if (const auto display = findDisplayToCapture(workspace, screens, content, process))
        attempts.push_back({ .filter = DisplayFilter { .display = display->id },
                             .size = display->size,
                             .source = TrialPicture::Source::display });
}

void TrialFrame::tryNext()
{
    stopStream();
    if (attempts.empty()) {
        completion(std::nullopt);
        return;
    }
    const Attempt attempt = attempts.front();
    attempts.pop_front();
    stream = screenCapture.makeStream(attempt.filter, { .size = attempt.size });
    const auto output = std::make_shared<SingleFrameStreamOutput>();
    stream->addOutput(output, [this](ScreenshotQueue::Job job) { queue.add(std::move(job)); });
    QElapsedTimer grabbing;
    grabbing.start();
    output->nextSample(
        frameTimeout,
        [this, grabbing, source = attempt.source](const std::optional<StreamSample>& sample) {
            if (sample && !sample->image.isNull())
                frameDelivered(sample->image,
                               { .source = source,
                                 .size = sample->image.size(),
                                 .grabbing = sinceStartOf(grabbing) });
            else
                QMetaObject::invokeMethod(
                    this, [this] { tryNext(); }, Qt::QueuedConnection);
        });
    if (!stream->start())
        tryNext();
}

void TrialFrame::stopStream()
{
    if (stream)
        stream->stop();
    stream.reset();
}

/// Runs on the queue.
void TrialFrame::frameDelivered(const QImage& frame, TrialPicture picture)
{
    QElapsedTimer encoding;
    encoding.start();
    const auto encoded = encodeFrame(frame);
    picture.encoding = sinceStartOf(encoding);
    if (encoded) {
        picture.encodedSize = encoded->size;
        picture.encodedBytes = encoded->data.size();
    }
    QMetaObject::invokeMethod(
        this,
        [this, picture, isEncoded = encoded.has_value()] {
            stopStream();
            completion(isEncoded ? std::optional(picture) : std::nullopt);
        },
        Qt::QueuedConnection);
}

} // namespace quibel
