#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

namespace quibel {

enum class Foreground { primary, secondary };

/// How a text looks: a size in points of the system font, a weight and an emphasis.
struct TextStyle
{
    int size = 12;
    QFont::Weight weight = QFont::Normal;
    Foreground foreground = Foreground::secondary;

    [[nodiscard]] QFont font() const;

    /// Secondary text is paler than primary text, yet readable on the window colour of any palette.
    [[nodiscard]] QColor color(const QPalette& palette) const;
};

} // namespace quibel
