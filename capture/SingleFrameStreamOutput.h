#pragma once

#include "platform/ScreenCapture.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace quibel {

/// How long a stream may take to its first frame.
constexpr std::chrono::milliseconds frameTimeout { 600 };

/// Hands the first frame of a stream to the one who waits for it.
///
/// A frame that comes while nobody waits is dropped, so the wait is begun before the stream is
/// started: however fast the stream is, its first frame then finds the wait.
class SingleFrameStreamOutput final : public StreamOutput,
                                      public std::enable_shared_from_this<SingleFrameStreamOutput>
{
public:
    /// Receives the frame; none when the time was over first.
    using Continuation = std::function<void(std::optional<StreamSample>)>;

    /// Begins the wait. `resume` is called once, never before this call returns: with the first
    /// frame on the thread that delivers it, or on the main thread when none came in time. It is
    /// not called when the output is gone before either.
    ///
    /// Thread: main.
    void nextSample(std::chrono::milliseconds timeout, Continuation resume);

    /// Thread: any.
    void didOutput(StreamSample sample, StreamOutputType type) override;

private:
    void resumeOnce(std::optional<StreamSample> sample);

    Continuation continuation;
    std::mutex lock; ///< Guards `continuation`, which is called outside of it.
};

} // namespace quibel
