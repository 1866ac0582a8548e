#pragma once

#include <QColor>
#include <QIcon>
#include <QList>
#include <QPainterPath>

namespace quibel {

/// A drawing of one colour, to be drawn in the colour of the place where it is shown.
class TemplateImage
{
public:
    /// Draws one of `shapes` over the other.
    ///
    /// Units: they lie in a square of 18 points.
    explicit TemplateImage(QList<QPainterPath> shapes);

    /// The image in `color`, sharp at the sizes in which status areas show icons.
    [[nodiscard]] QIcon icon(const QColor& color) const;

    /// The same with a thin outline in the opposite brightness, for a place that does not tell its
    /// colour: one of the two stands out there.
    [[nodiscard]] QIcon outlinedIcon(const QColor& color) const;

private:
    QList<QPainterPath> drawing;
};

} // namespace quibel
