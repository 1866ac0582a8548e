#include "inbox/http/DescriptorLimit.h"

#include <algorithm>

#include <sys/resource.h>

namespace quibel::inbox {

unsigned raiseDescriptorLimit(unsigned wanted)
{
    rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    const auto present = limit.rlim_cur;
    limit.rlim_cur = std::max(present, std::min<rlim_t>(wanted, limit.rlim_max));
    const auto granted = ::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : present;
    return static_cast<unsigned>(std::min<rlim_t>(granted, wanted));
}

} // namespace quibel::inbox
