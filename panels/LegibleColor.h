#pragma once

#include <QPalette>

namespace quibel {

/// The nearest mixture of `wanted` with the palette's text colour that stands out enough from its
/// window colour for small print.
///
/// Source: contrast ratio 4.5 : 1, WCAG 2.1, success criterion 1.4.3.
[[nodiscard]] QColor legibleColor(const QColor& wanted, const QPalette& palette);

/// The same for small print in a field.
[[nodiscard]] QColor legibleFieldColor(const QColor& wanted, const QPalette& palette);

} // namespace quibel
