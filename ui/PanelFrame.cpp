#include "ui/PanelFrame.h"

#include <QPainter>
#include <QPalette>
#include <QRadialGradient>

#include <cmath>

namespace quibel {

namespace {

constexpr double cornerRadius = 10;
constexpr float lineShare = 0.3F;

constexpr double shadowDrop = 4;
constexpr double shadowReach = 20;
constexpr double shadowStrength = 0.42;

QPen linePen(const QPalette& palette)
{
    QColor line = palette.color(QPalette::WindowText);
    line.setAlphaF(lineShare);
    return line;
}

QRectF lineAlong(const QRectF& frame)
{
    return frame.adjusted(0.5, 0.5, -0.5, -0.5);
}

/// Fades like a blurred edge does: along a bell curve.
QGradientStops shadowStops()
{
    constexpr int steps = 12;
    constexpr double steepness = 4.5;
    const double rest = std::exp(-steepness);
    QGradientStops stops;
    for (int step = 0; step <= steps; ++step) {
        const double way = static_cast<double>(step) / steps;
        const double share = (std::exp(-steepness * way * way) - rest) / (1 - rest);
        stops << QGradientStop(
            way, QColor::fromRgbF(0, 0, 0, static_cast<float>(share * shadowStrength)));
    }
    return stops;
}

/// Fills what lies beside an inner rectangle, which the frame covers: four sides and four corners.
void paintShadow(QPainter& painter, const QRectF& frame)
{
    const QGradientStops stops = shadowStops();
    const QRectF inner = frame.translated(0, shadowDrop)
                             .adjusted(cornerRadius, cornerRadius, -cornerRadius, -cornerRadius);
    constexpr double reach = shadowReach + cornerRadius;
    const auto fill = [&](const QRectF& area, QGradient&& gradient) {
        gradient.setStops(stops);
        painter.fillRect(area, gradient);
    };
    for (const double side : { -1.0, 1.0 }) {
        const double x = side < 0 ? inner.left() : inner.right();
        const double y = side < 0 ? inner.top() : inner.bottom();
        const QRectF beside(QPointF(x, inner.top()), QPointF(x + side * reach, inner.bottom()));
        const QRectF beyond(QPointF(inner.left(), y), QPointF(inner.right(), y + side * reach));
        fill(beside.normalized(), QLinearGradient(x, 0, x + side * reach, 0));
        fill(beyond.normalized(), QLinearGradient(0, y, 0, y + side * reach));
        for (const double other : { -1.0, 1.0 }) {
            const QPointF corner(x, other < 0 ? inner.top() : inner.bottom());
            const QRectF area(corner, corner + QPointF(side, other) * reach);
            fill(area.normalized(), QRadialGradient(corner, reach));
        }
    }
}

} // namespace

void paintSquareFrame(QPainter& painter, const QRect& frame, const QPalette& palette)
{
    painter.fillRect(frame, palette.window());
    painter.setPen(linePen(palette));
    painter.drawRect(lineAlong(frame));
}

void paintFloatingFrame(QPainter& painter, const QRect& frame, const QPalette& palette)
{
    paintShadow(painter, frame);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette.window());
    painter.drawRoundedRect(frame, cornerRadius, cornerRadius);
    painter.setPen(linePen(palette));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(lineAlong(frame), cornerRadius - 0.5, cornerRadius - 0.5);
}

} // namespace quibel
