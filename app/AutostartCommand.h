#pragma once

#include "platform/LoginItem.h"

namespace quibel {

/// Turns the start at login "on" or "off", or tells its "status" on standard output.
///
/// Returns the exit code: 0 when it is done or, for "status", on; else 1.
[[nodiscard]] int runAutostart(LoginItem& loginItem, const QString& operand);

} // namespace quibel
