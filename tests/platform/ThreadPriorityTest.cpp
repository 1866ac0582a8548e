#include "platform/ThreadPriority.h"
#include "tests/platform/Scheduling.h"

#include <QTest>

#include <algorithm>
#include <thread>

namespace quibel {

using testing::Scheduling;
using testing::schedulingOf;
using testing::thisThread;

namespace {

/// On a thread of its own, which `before` runs on too.
template <typename Work>
Scheduling schedulingAfter(Work before)
{
    Scheduling seen;
    std::thread([&] {
        before();
        seen = schedulingOf(thisThread);
    }).join();
    return seen;
}

} // namespace

class ThreadPriorityTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aThreadThatInterruptsOthersHasAShorterTurnThanTheyHave()
    {
        const Scheduling usual = schedulingOf(thisThread);
        Scheduling seen = schedulingAfter(letThisThreadInterruptOthers);
        QVERIFY(testing::interruptsOthers(seen, usual));
        seen.turn = usual.turn;
        QVERIFY(seen == usual);
    }

    void soHaveThoseThatItStarts()
    {
        Scheduling ofOneStarted;
        const Scheduling own = schedulingAfter([&ofOneStarted] {
            letThisThreadInterruptOthers();
            ofOneStarted = schedulingAfter([] {});
        });
        QVERIFY(ofOneStarted == own);
    }

    void oneThatGivesWayHasTheUsualTurnWhoeverStartedIt()
    {
        Scheduling expected = schedulingOf(thisThread);
        constexpr int nicest = 19;
        expected.niceness = std::min(expected.niceness + 10, nicest);
        Scheduling seen;
        std::thread([&seen] {
            letThisThreadInterruptOthers();
            seen = schedulingAfter(lowerPriorityOfThisThread);
        }).join();
        QVERIFY(seen == expected);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ThreadPriorityTest)
#include "ThreadPriorityTest.moc"
