#pragma once

namespace quibel {

enum class DoctorReport { table, json };

/// Examines the desktop, writes what was found to standard output, and returns the exit code: 0
/// when everything that the main job needs works, else 1. Takes about five seconds at the most, and
/// needs neither a display nor a bus.
///
/// Thread: main, before an application object is made.
[[nodiscard]] int runDoctor(int& argc,
                            char* argv[], // NOLINT(modernize-avoid-c-arrays)
                            DoctorReport report);

} // namespace quibel
