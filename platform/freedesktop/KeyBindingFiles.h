#pragma once

#include <QStringList>

namespace quibel {

/// The programs whose settings, in files that can be read, bind Super+Shift+B to something.
///
/// Source: the files of Openbox, Xfce, i3 and sxhkd. Others are not known.
[[nodiscard]] QStringList programsThatBindTheHotKey();

} // namespace quibel
