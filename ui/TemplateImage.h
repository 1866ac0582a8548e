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

private:
    QByteArray drawing;
};

} // namespace quibel
