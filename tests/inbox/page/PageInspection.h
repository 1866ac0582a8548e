#pragma once

#include "tests/browser/Browser.h"

#include <QStringList>

namespace quibel::inbox::testing {

/// Every text on the page whose contrast to what is behind it is below 4.5, with the figure.
///
/// Source: https://www.w3.org/TR/WCAG22/#dfn-contrast-ratio
[[nodiscard]] QStringList faintTexts(quibel::testing::Browser& browser);

/// The kinds of all controls that a screen reader could only call by their kind.
[[nodiscard]] QStringList namelessControls(quibel::testing::Browser& browser);

} // namespace quibel::inbox::testing
