#pragma once

#include <QMargins>
#include <QRect>

class QPainter;
class QPalette;

namespace quibel {

/// How far the shadow of a floating panel reaches beyond its frame, in points.
inline constexpr QMargins shadowMargins(24, 24, 24, 24);

/// Paints the paper and the border line of a panel.
void paintSquareFrame(QPainter& painter, const QRect& frame, const QPalette& palette);

/// The same with rounded corners, on a shadow around it.
///
/// Where this is painted there was nothing before: the painter starts out transparent.
void paintFloatingFrame(QPainter& painter, const QRect& frame, const QPalette& palette);

} // namespace quibel
