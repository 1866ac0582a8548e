#include "ui/TextStyle.h"

#include "panels/LegibleColor.h"

#include <QGuiApplication>

namespace quibel {

namespace {

constexpr float secondaryShare = 0.65F;

} // namespace

QFont TextStyle::font() const
{
    QFont font = QGuiApplication::font();
    font.setPixelSize(size);
    font.setWeight(weight);
    return font;
}

QColor TextStyle::color(const QPalette& palette) const
{
    QColor color = palette.color(QPalette::WindowText);
    if (foreground == Foreground::primary)
        return color;
    color.setAlphaF(secondaryShare);
    return legibleColor(color, palette);
}

} // namespace quibel
