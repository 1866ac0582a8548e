#pragma once

namespace quibel {

/// Has the process give memory back to the system as soon as it is freed, whatever its size was
/// and whichever thread had it: for a program that works seldom and then rests for long.
///
/// Thread: main, before there are others.
void giveBackFreedMemory();

} // namespace quibel
