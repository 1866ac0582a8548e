#pragma once

#include <QLoggingCategory>

namespace quibel {

/// Off unless the logging rule "quibel.trace.debug=true" turns it on, as QT_LOGGING_RULES may.
[[nodiscard]] const QLoggingCategory& traceCategory();

void writeTracePoint(const char* name);

/// Marks a moment on the way from the hot key to the painted panel: tells `name` and the time on
/// standard error, when that is asked for.
///
/// Units: microseconds of the clock that never goes back.
inline void tracePoint(const char* name)
{
    if (traceCategory().isDebugEnabled())
        writeTracePoint(name);
}

} // namespace quibel
