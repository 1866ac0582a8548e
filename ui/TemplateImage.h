#pragma once

#include <QByteArray>
#include <QColor>
#include <QIcon>
#include <QString>

namespace quibel {

/// A drawing of one colour, to be drawn in the colour of the place where it is shown.
///
/// Source: an SVG file that paints with `currentColor`.
class TemplateImage
{
public:
    /// Errors: an image that cannot be loaded gives null icons.
    explicit TemplateImage(const QString& fileName);

    /// The image in `color`, sharp at the sizes in which status areas show icons.
    [[nodiscard]] QIcon icon(const QColor& color) const;

    /// The same with a thin outline in the opposite brightness, for a place that does not tell its
    /// colour: one of the two stands out there.
    [[nodiscard]] QIcon outlinedIcon(const QColor& color) const;

private:
    [[nodiscard]] QByteArray drawnIn(const QColor& color) const;

    QByteArray drawing;
};

} // namespace quibel
