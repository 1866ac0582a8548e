#include "platform/CoreDumps.h"

#include <sys/resource.h>

namespace quibel {

void forbidCoreDumps()
{
    const rlimit none { .rlim_cur = 0, .rlim_max = 0 };
    ::setrlimit(RLIMIT_CORE, &none);
}

} // namespace quibel
