#include "capture/ScreenshotQueue.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <latch>
#include <memory>
#include <vector>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace quibel {

class ScreenshotQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsJobsInOrderOnItsOwnThread()
    {
        std::vector<int> order;
        std::vector<QString> names;
        std::latch done(1);
        ScreenshotQueue queue;
        for (int i = 0; i < 100; ++i)
            queue.add([&, i] {
                order.push_back(i);
                names.push_back(QThread::currentThread()->objectName());
            });
        queue.add([&] { done.count_down(); });
        done.wait();
        QCOMPARE(order.size(), std::size_t { 100 });
        QVERIFY(std::ranges::is_sorted(order));
        QVERIFY(std::ranges::count(names, u"quibel.screenshot"_s) == 100);
    }

    void givesWayToTheOtherThreads()
    {
        constexpr int nicest = 19;
        const auto niceness = [] { return getpriority(PRIO_PROCESS, 0); };
        const int before = niceness();
        int onTheQueue = 0;
        std::latch done(1);
        ScreenshotQueue queue;
        queue.add([&] {
            onTheQueue = niceness();
            done.count_down();
        });
        done.wait();
        QCOMPARE(onTheQueue, std::min(before + 10, nicest));
        QCOMPARE(niceness(), before);
    }

    void endsWithoutEverHavingRun() { const ScreenshotQueue queue; }

    void endsAfterTheJobUnderWayAndDropsTheOthers()
    {
        std::latch begun(1);
        std::latch ending(1);
        std::atomic_bool finished = false;
        std::atomic_bool ranAnother = false;
        {
            ScreenshotQueue queue;
            queue.add([&] {
                begun.count_down();
                ending.wait();
                for (int turn = 0; turn < 10'000; ++turn)
                    QThread::yieldCurrentThread();
                finished = true;
            });
            queue.add([&] { ranAnother = true; });
            begun.wait();
            ending.count_down();
        }
        QVERIFY(finished);
        QVERIFY(!ranAnother);
    }

    void freesWhatAJobHoldsOnItsThread()
    {
        std::atomic<Qt::HANDLE> freedOn = nullptr;
        std::latch freed(1);
        ScreenshotQueue queue;
        queue.add([held = std::shared_ptr<void>(nullptr, [&](void*) {
                       freedOn = QThread::currentThreadId();
                       freed.count_down();
                   })] {});
        freed.wait();
        QVERIFY(freedOn != QThread::currentThreadId());
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ScreenshotQueueTest)
#include "ScreenshotQueueTest.moc"
