#pragma once

#include "doctor/Check.h"

#include <QByteArray>

namespace quibel {

/// The diagnosis for a program: `{"healthy": …, "checks": {<name>: {"verdict": "ok" | "warning" |
/// "failure", "finding": …, "advice": …, <details>}}}`, with a line break at its end.
[[nodiscard]] QByteArray jsonReport(const Diagnosis& diagnosis);

} // namespace quibel
