#pragma once

#include "platform/DesktopFacts.h"

#include <chrono>

namespace quibel {

/// Looks whether there is a session bus and whether the agent is on it. Starts neither.
///
/// Thread: main; returns within `patience`.
[[nodiscard]] SessionBusFacts lookAtSessionBus(std::chrono::milliseconds patience);

/// Whether there is a session bus that welcomes nobody within `patience`.
///
/// QtDBus waits for such a bus without an end, so ask before it is used.
///
/// Thread: main.
[[nodiscard]] bool sessionBusIsSilent(std::chrono::milliseconds patience);

/// Has this program do without a session bus, so that nothing in it waits for one.
///
/// Thread: main, before anything has connected to the bus.
void doWithoutSessionBus();

} // namespace quibel
