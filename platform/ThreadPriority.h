#pragma once

namespace quibel {

/// Lets the calling thread give way to what the user does, for good: for work that may take longer.
///
/// Thread: any.
void lowerPriorityOfThisThread();

} // namespace quibel
