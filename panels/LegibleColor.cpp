#include "panels/LegibleColor.h"

#include <algorithm>
#include <cmath>

namespace quibel {

namespace {

constexpr double requiredContrast = 4.5;
constexpr int mixingSteps = 20;

double linear(double component)
{
    return component <= 0.04045 ? component / 12.92 : std::pow((component + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color)
{
    return (0.2126 * linear(color.redF())) + (0.7152 * linear(color.greenF()))
        + (0.0722 * linear(color.blueF()));
}

double contrast(const QColor& a, const QColor& b)
{
    const auto [darker, lighter] = std::minmax({ luminance(a), luminance(b) });
    return (lighter + 0.05) / (darker + 0.05);
}

/// `share` of `over` laid on `under`.
QColor mix(const QColor& under, const QColor& over, double share)
{
    const auto component = [share](int from, int to) {
        return static_cast<int>(std::lround(std::lerp(from, to, share)));
    };
    return { component(under.red(), over.red()),
             component(under.green(), over.green()),
             component(under.blue(), over.blue()) };
}

QColor legibleOn(const QColor& background, const QColor& text, const QColor& wanted)
{
    const QColor start = mix(background, wanted, wanted.alphaF());
    QColor color = start;
    for (int step = 1; step <= mixingSteps && contrast(color, background) < requiredContrast;
         ++step)
        color = mix(start, text, static_cast<double>(step) / mixingSteps);
    return color;
}

} // namespace

QColor legibleColor(const QColor& wanted, const QPalette& palette)
{
    return legibleOn(palette.color(QPalette::Window), palette.color(QPalette::WindowText), wanted);
}

QColor legibleFieldColor(const QColor& wanted, const QPalette& palette)
{
    return legibleOn(palette.color(QPalette::Base), palette.color(QPalette::Text), wanted);
}

} // namespace quibel
