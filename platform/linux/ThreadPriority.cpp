#include "platform/ThreadPriority.h"

#include <sys/resource.h>

namespace quibel {

namespace {

constexpr int stepsDown = 10;

} // namespace

void lowerPriorityOfThisThread()
{
    // The toolkit's priorities have no effect under the usual scheduling of Linux. The nice value
    // has, and on Linux each thread has its own.
    constexpr id_t thisThread = 0;
    setpriority(PRIO_PROCESS, thisThread, getpriority(PRIO_PROCESS, thisThread) + stepsDown);
}

} // namespace quibel
