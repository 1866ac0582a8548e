#pragma once

namespace quibel {

/// Lets the calling thread, and those that it will start, interrupt what other threads do as soon
/// as there is something to do for it: for a thread that answers the user and is idle else. Its
/// share of the processors stays what it was.
///
/// Errors: nothing changes where the system knows no such thing.
/// Thread: any.
void letThisThreadInterruptOthers();

/// Lets the calling thread give way to what the user does, for good: for work that may take longer.
///
/// Thread: any.
void lowerPriorityOfThisThread();

} // namespace quibel
