#pragma once

#include "doctor/Check.h"
#include "doctor/Patient.h"
#include "doctor/TrialFrame.h"
#include "platform/HotKeyService.h"
#include "platform/StatusArea.h"

#include <optional>

namespace quibel {

/// What a check says that needs a display where there is none.
[[nodiscard]] Finding needsDisplay(Verdict verdict);

/// The display server and the window manager.
[[nodiscard]] Finding judgeDisplay(const std::optional<Patient::Display>& display);

/// Whether the hot key works, or who may have it. `availability` is what this process found.
[[nodiscard]] Finding judgeHotKey(HotKeyAvailability availability,
                                  const SessionBusFacts& bus,
                                  const Patient::Display& display);

/// Whether the agent's icon is shown.
[[nodiscard]] Finding judgeTray(StatusAreaKind kind, const DisplayFacts& display);

/// Where preferences are kept, and whether they can be.
[[nodiscard]] Finding judgePreferences(const PreferencesFacts& file);

/// A picture as for a branch; none when there was none to be had.
[[nodiscard]] Finding judgeTrial(const std::optional<TrialPicture>& picture,
                                 const DisplayFacts& display);

} // namespace quibel
