#include "platform/x11/XcbScreenCapture.h"

#include "platform/x11/XcbFrameGrabber.h"

#include <atomic>
#include <utility>

namespace quibel {

namespace {

using Grab = std::function<QImage(XcbFrameGrabber&)>;

/// Grabs one frame when it is started; there is no more to a stream that is stopped at its first.
class XcbCaptureStream final : public CaptureStream
{
public:
    explicit XcbCaptureStream(Grab grabToDo)
        : grab(std::move(grabToDo))
    {
    }

    void addOutput(std::shared_ptr<StreamOutput> receiver, SerialExecutor executor) override
    {
        output = std::move(receiver);
        queue = std::move(executor);
    }

    [[nodiscard]] bool start() override
    {
        if (!grab || !output)
            return false;
        queue([take = grab, receiver = output, stopped = isStopped] {
            if (*stopped)
                return;
            XcbFrameGrabber grabber;
            receiver->didOutput({ .image = take(grabber) }, StreamOutputType::screen);
        });
        return true;
    }

    void stop() override { *isStopped = true; }

private:
    Grab grab;
    std::shared_ptr<StreamOutput> output;
    SerialExecutor queue;
    std::shared_ptr<std::atomic_bool> isStopped = std::make_shared<std::atomic_bool>(false);
};

} // namespace

XcbScreenCapture::XcbScreenCapture(XcbConnection& connection, Screens& screensToShow)
    : windows(connection)
    , screens(screensToShow)
{
}

void XcbScreenCapture::shareableContent(
    std::function<void(std::optional<ShareableContent>)> completion)
{
    std::optional<ShareableContent> content;
    if (const auto onScreen = windows.onScreen()) {
        content.emplace();
        for (const XcbListedWindow& window : *onScreen)
            content->windows.push_back({ .number = window.window,
                                         .ownerProcess = window.ownerProcess,
                                         .onScreen = true,
                                         .frame = window.bounds });
        for (const Screen& screen : screens.all())
            if (screen.displayID)
                content->displays.push_back(
                    { .id = *screen.displayID, .size = screen.pixelFrame.size() });
    }
    QMetaObject::invokeMethod(
        &context,
        [completion = std::move(completion), content = std::move(content)] { completion(content); },
        Qt::QueuedConnection);
}

std::unique_ptr<CaptureStream>
XcbScreenCapture::makeStream(const ContentFilter& filter,
                             const StreamConfiguration& /*configuration*/)
{
    Grab grab;
    if (const auto* window = std::get_if<WindowFilter>(&filter))
        grab = [number = window->window](XcbFrameGrabber& grabber) {
            return grabber.grabWindow(number);
        };
    else
        for (const Screen& screen : screens.all())
            if (screen.displayID == std::get<DisplayFilter>(filter).display)
                grab = [area = screen.pixelFrame](XcbFrameGrabber& grabber) {
                    return grabber.grabArea(area);
                };
    return std::make_unique<XcbCaptureStream>(std::move(grab));
}

} // namespace quibel
