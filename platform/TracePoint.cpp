#include "platform/TracePoint.h"

#include <chrono>
#include <cstdio>

namespace quibel {

const QLoggingCategory& traceCategory()
{
    static const QLoggingCategory category("quibel.trace", QtWarningMsg);
    return category;
}

void writeTracePoint(const char* name)
{
    using std::chrono::microseconds;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    // Qt's own output goes to the journal where standard error is no terminal.
    std::fprintf(stderr,
                 "quibel.trace: %lld %s\n",
                 static_cast<long long>(std::chrono::duration_cast<microseconds>(now).count()),
                 name);
}

} // namespace quibel
