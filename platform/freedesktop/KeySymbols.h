#pragma once

#include <QString>
#include <Qt>

#include <cstdint>

namespace quibel {

/// The symbol of `key` in keyboard layouts; 0 if it has none.
///
/// Source: the key symbols of xkbcommon, which are those of X11 and of Wayland.
[[nodiscard]] std::uint32_t keySymbol(Qt::Key key);

/// The symbol with this name, in capitals or not; 0 if there is none.
///
/// Source: the same; window managers take the names in their settings.
[[nodiscard]] std::uint32_t keySymbolNamed(const QString& name);

} // namespace quibel
