#include "platform/ThreadPriority.h"

#include <cstdint>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quibel {

namespace {

constexpr int stepsDown = 10;
constexpr id_t thisThread = 0;

/// The first version of what the system call takes. Its declaration in the system's headers cannot
/// stand beside those of older C libraries, which have no function for it either.
struct SchedulingAttributes
{
    std::uint32_t size = sizeof(SchedulingAttributes);
    std::uint32_t policy = 0;
    std::uint64_t flags = 0;
    std::int32_t niceness = 0;
    std::uint32_t priority = 0;
    std::uint64_t turn = 0; ///< Nanoseconds; 0: the usual.
    std::uint64_t deadline = 0;
    std::uint64_t period = 0;
};

/// Linux lets a thread that is at work go on to the end of its turn before one that wakes gets the
/// processor, with a clock of 250 Hz up to 4 ms, however nice the former is. Since 6.12 one with a
/// shorter turn interrupts it; before 6.6 the niceness was enough.
void setTurnOfThisThread(std::uint64_t nanoseconds)
{
    SchedulingAttributes attributes;
    if (::syscall(SYS_sched_getattr, thisThread, &attributes, sizeof attributes, 0) != 0)
        return;
    attributes.turn = nanoseconds;
    ::syscall(SYS_sched_setattr, thisThread, &attributes, 0);
}

} // namespace

void letThisThreadInterruptOthers()
{
    constexpr std::uint64_t shortest = 100'000;
    setTurnOfThisThread(shortest);
}

void lowerPriorityOfThisThread()
{
    // The toolkit's priorities have no effect under the usual scheduling of Linux. The nice value
    // has, and on Linux each thread has its own.
    setpriority(PRIO_PROCESS, thisThread, getpriority(PRIO_PROCESS, thisThread) + stepsDown);
    constexpr std::uint64_t usual = 0; // Else that of the thread that started it.
    setTurnOfThisThread(usual);
}

} // namespace quibel
