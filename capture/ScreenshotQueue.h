#pragma once

#include <QThread>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace quibel {

/// The serial queue "quibel.screenshot": one thread of low priority that runs jobs in the order
/// given and sleeps without waking in between. The thread begins with the first job.
///
/// Its end waits for the job under way and drops those behind it.
class ScreenshotQueue final : private QThread
{
public:
    using Job = std::function<void()>;

    ScreenshotQueue();
    ScreenshotQueue(const ScreenshotQueue&) = delete;
    ScreenshotQueue& operator=(const ScreenshotQueue&) = delete;
    ~ScreenshotQueue() override;

    /// Thread: the one that made the queue.
    void add(Job job);

private:
    void run() override;
    [[nodiscard]] Job next();

    std::mutex lock;
    std::condition_variable changed;
    std::deque<Job> jobs;
    bool ending = false;
};

} // namespace quibel
