#pragma once

namespace quibel {

/// Lets a crash of this process leave no file with what was in its memory, the API key among it.
///
/// The process can still be looked into by its user, from which desktops learn who it is.
void forbidCoreDumps();

} // namespace quibel
