#pragma once

namespace quibel::inbox {

/// Asks the system for `wanted` open descriptors, and returns how many there may be.
///
/// Source: the soft limit, often 1024, may be raised to the hard one by anybody.
[[nodiscard]] unsigned raiseDescriptorLimit(unsigned wanted);

} // namespace quibel::inbox
