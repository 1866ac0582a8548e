#pragma once

#include "platform/HotKeyService.h"

#include <vector>

namespace quibel {

/// The programs whose settings, in files that can be read, bind `hotKey` to something.
///
/// Source: the files of Openbox, Xfce, i3 and sxhkd. Others are not known.
[[nodiscard]] std::vector<HotKeyBinding> bindingsOf(QKeyCombination hotKey);

} // namespace quibel
