#include "doctor/Check.h"

#include <algorithm>

namespace quibel {

bool isHealthy(const Diagnosis& diagnosis)
{
    return std::ranges::none_of(
        diagnosis, [](const Check& check) { return check.finding.verdict == Verdict::failure; });
}

} // namespace quibel
