#pragma once

#include "doctor/Check.h"

namespace quibel {

/// The diagnosis for a person who reads it in a terminal: a line for each check, what to do below
/// those that need it, and at the end whether all is well. No line is broken that has no blank.
///
/// Units: a terminal is 80 columns wide.
[[nodiscard]] QString tableReport(const Diagnosis& diagnosis);

} // namespace quibel
