#pragma once

namespace quibel {

/// Asks the system to write no core file of this process, whose memory holds the API key. A crash
/// handler that the system pipes cores to may ignore that.
///
/// The process can still be looked into by its user, from which desktops learn who it is.
void forbidCoreDumps();

} // namespace quibel
