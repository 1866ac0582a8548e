#pragma once

#include <QColor>
#include <QImage>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace quibel {

/// The colours of an image that has few: windows of text do, and their indices compress several
/// times faster, and smaller, than their pixels.
class PngPalette
{
public:
    static constexpr std::size_t capacity = 256;

    /// Errors: none when the image has more colours than a palette holds; found out quickly.
    [[nodiscard]] static std::optional<PngPalette> of(const QImage& image);

    /// In the image's own pixel values, opaque unless the image says otherwise.
    [[nodiscard]] const std::vector<QRgb>& colours() const { return entries; }

    /// Bits that an index takes in a PNG: 1, 2, 4 or 8.
    [[nodiscard]] int bitDepth() const;

    /// Writes the indices of a row of pixels, `bitDepth` bits each, first pixel highest.
    void packRow(const QRgb* pixels, int width, std::uint8_t* packed) const;

private:
    PngPalette();

    [[nodiscard]] bool addRow(const QRgb* pixels, int width);
    [[nodiscard]] std::size_t slotOf(QRgb colour) const;

    static constexpr std::int16_t unused = -1;

    QRgb opaqueBits = 0;
    std::vector<QRgb> entries;
    std::array<std::int16_t, 4 * capacity> indexBySlot;
};

} // namespace quibel
