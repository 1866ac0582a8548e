#pragma once

namespace quibel {

/// The agent on the session bus: the name it has there, which is that of its interface too, and
/// its object. What starts programs from desktop entries goes by both.
inline constexpr auto agentBusName = "org.quibel.CaptureAgent";
inline constexpr auto agentObjectPath = "/org/quibel/CaptureAgent";

} // namespace quibel
