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
        return std::make_unique<Stream>(isWindow ? windowImage : displayImage);
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
    std::vector<MadeStream> streams; ///< In order.

private:
    class Stream final : public CaptureStream
    {
    public:
        explicit Stream(std::optional<QImage> delivered)
            : image(std::move(delivered))
        {
        }

        void addOutput(std::shared_ptr<StreamOutput> receiver, SerialExecutor executor) override
        {
            output = std::move(receiver);
            queue = std::move(executor);
        }

        [[nodiscard]] bool start() override
        {
            if (image)
                queue([receiver = output, frame = *image] {
                    receiver->didOutput({ .image = frame }, StreamOutputType::screen);
                });
            return true;
        }

        void stop() override { }

    private:
        std::optional<QImage> image;
        std::shared_ptr<StreamOutput> output;
        SerialExecutor queue;
    };

    QObject context;
};

} // namespace quibel
