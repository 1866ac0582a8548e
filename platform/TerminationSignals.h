#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace quibel {

/// Tells when the system asks this process to end: a signal from a person, from the terminal that
/// goes, or from what started it. There is at most one object.
///
/// A signal that this process was started to ignore, as by nohup, stays ignored.
/// Thread: main; `handler` is called from the event loop.
class TerminationSignals
{
public:
    explicit TerminationSignals(std::function<void()> handler);
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;
    /// The signals end the process again.
    ~TerminationSignals();

private:
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace quibel
