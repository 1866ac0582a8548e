#pragma once

#include "inbox/http/Descriptor.h"
#include "inbox/http/RequestRecord.h"

#include <atomic>

namespace quibel::inbox {

/// Writes one line of JSON for each request to standard error, or to where it is told.
///
/// A reader that is slow or gone costs lines, never time: what cannot be written at once is dropped
/// and counted.
/// Thread: any, one at a time; `dropped` from any.
class RequestLog
{
public:
    /// From then on a write to a closed pipe fails, instead of ending the process.
    explicit RequestLog(int output = 2);

    void write(const RequestRecord& record);
    [[nodiscard]] quint64 dropped() const { return droppedLines; }

private:
    [[nodiscard]] qsizetype writeNow(const QByteArray& bytes) const;

    Descriptor own; ///< Of a pipe, opened anew so that it may be used without waiting.
    int output;
    QByteArray unfinished; ///< The rest of a line that was written in part.
    std::atomic<quint64> droppedLines = 0;
};

} // namespace quibel::inbox
