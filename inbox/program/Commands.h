#pragma once

#include "inbox/program/CommandLine.h"

namespace quibel::inbox {

/// Does what the command line asks for; returns the program's exit status.
[[nodiscard]] int run(const CommandLine& line);

} // namespace quibel::inbox
