#pragma once

#include "platform/ScreenCapture.h"

#include <QObject>

#include <utility>

namespace quibel {

/// Delivers the pictures that the test sets, on the queue it is given.
class FakeScreenCapture final : public ScreenCapture
{
public:
    void shareableContent(std::function<void(std::optional<ShareableContent>)> completion) override
    {
        QMetaObject::invokeMethod(
            &context,
            [completion = std::move(completion), answer = content] { completion(answer); },
            Qt::QueuedConnection);
    }

    [[nodiscard]] std::unique_ptr<CaptureStream>
    makeStream(const ContentFilter& filter, const StreamConfiguration& configuration) override
    {
        streams.push_back({ .filter = filter, .configuration = configuration });
        const bool isWindow = std::holds_alternative<WindowFilter>(filter);
        return std::make_unique<Stream>(
            *this, isWindow ? windowImage : displayImage, !isWindow || windowStreamsStart);
    }

    struct MadeStream
    {
        ContentFilter filter;
        StreamConfiguration configuration;
    };

    std::optional<ShareableContent> content = ShareableContent {};
    /// What a stream of a window and of a display delivers; none for a stream that never does, a
    /// null image for a sample without one.
    std::optional<QImage> windowImage;
    std::optional<QImage> displayImage;
    bool windowStreamsStart = true;
    bool deliversWhileStarting = false; ///< Rather than on the queue.
    std::vector<MadeStream> streams;    ///< In order.
    int stops = 0;

private:
    class Stream final : public CaptureStream
    {
    public:
        Stream(FakeScreenCapture& owner, std::optional<QImage> delivered, bool canStart)
            : capture(owner)
            , image(std::move(delivered))
            , starts(canStart)
        {
        }

        void addOutput(std::shared_ptr<StreamOutput> receiver, SerialExecutor executor) override
        {
            output = std::move(receiver);
            queue = std::move(executor);
        }

        [[nodiscard]] bool start() override
        {
            if (!starts)
                return false;
            const auto deliver = [receiver = output, frame = image] {
                if (frame)
                    receiver->didOutput({ .image = *frame }, StreamOutputType::screen);
            };
            if (capture.deliversWhileStarting)
                deliver();
            else
                queue(deliver);
            return true;
        }

        void stop() override { ++capture.stops; }

    private:
        FakeScreenCapture& capture;
        std::optional<QImage> image;
        bool starts;
        std::shared_ptr<StreamOutput> output;
        SerialExecutor queue;
    };

    QObject context;
};

} // namespace quibel
