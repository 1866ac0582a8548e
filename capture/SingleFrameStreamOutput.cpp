#include "capture/SingleFrameStreamOutput.h"

#include <QCoreApplication>
#include <QTimer>

#include <utility>

namespace quibel {

void SingleFrameStreamOutput::nextSample(std::chrono::milliseconds timeout, Continuation resume)
{
    {
        const std::lock_guard guard(lock);
        continuation = std::move(resume);
    }
    // Not on the queue of the frames: a grab that hangs keeps that one busy.
    QTimer::singleShot(
        timeout, Qt::PreciseTimer, QCoreApplication::instance(), [output = weak_from_this()] {
            if (const auto alive = output.lock())
                alive->resumeOnce(std::nullopt);
        });
}

void SingleFrameStreamOutput::didOutput(StreamSample sample, StreamOutputType type)
{
    if (type == StreamOutputType::screen)
        resumeOnce(std::move(sample));
}

void SingleFrameStreamOutput::resumeOnce(std::optional<StreamSample> sample)
{
    Continuation taken;
    {
        const std::lock_guard guard(lock);
        taken = std::exchange(continuation, nullptr);
    }
    if (taken)
        taken(std::move(sample));
}

} // namespace quibel
