#include "capture/ScreenshotQueue.h"

#include "platform/ThreadPriority.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

ScreenshotQueue::ScreenshotQueue()
{
    setObjectName(u"quibel.screenshot"_s);
}

ScreenshotQueue::~ScreenshotQueue()
{
    {
        const std::lock_guard guard(lock);
        ending = true;
    }
    changed.notify_one();
    wait();
    // Thread checkers do not see into Qt: what ran on the thread comes before this for them too.
    const std::lock_guard ended(lock);
}

void ScreenshotQueue::add(Job job)
{
    {
        const std::lock_guard guard(lock);
        jobs.push_back(std::move(job));
    }
    changed.notify_one();
    if (!isRunning())
        start();
}

void ScreenshotQueue::run()
{
    lowerPriorityOfThisThread();
    while (const Job job = next())
        job();
}

ScreenshotQueue::Job ScreenshotQueue::next()
{
    std::unique_lock guard(lock);
    changed.wait(guard, [this] { return ending || !jobs.empty(); });
    if (ending)
        return nullptr;
    Job job = std::move(jobs.front());
    jobs.pop_front();
    return job;
}

} // namespace quibel
