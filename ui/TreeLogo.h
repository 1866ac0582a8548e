#pragma once

#include <QList>
#include <QPainterPath>

namespace quibel {

/// The agent's logo: a stem with three leaves.
///
/// Units: lies in a square of 18 points.
[[nodiscard]] QList<QPainterPath> treeLogo();

} // namespace quibel
