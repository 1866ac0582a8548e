#pragma once

#include "capture/PngPalette.h"

#include <QByteArray>
#include <QImage>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quibel {

/// An image as the rows of a PNG: in the smallest pixel layout that keeps every pixel, each row
/// behind the filter that suits it.
///
/// Source: PNG (ISO/IEC 15948), clauses 7 (layout of rows), 9 (filters) and 11.2 (chunks).
class PngRows
{
public:
    /// `source` has pixels of 32 bits (RGB32 or ARGB32_Premultiplied) and outlives the rows.
    explicit PngRows(const QImage& source);

    [[nodiscard]] std::uint8_t bitDepth() const;
    [[nodiscard]] std::uint8_t colourType() const;

    /// The content of the PLTE chunk; empty without a palette.
    [[nodiscard]] QByteArray paletteChunk() const;
    /// The content of the tRNS chunk; empty when every colour of the palette is opaque.
    [[nodiscard]] QByteArray transparencyChunk() const;

    /// Whether the image is of the kind of a photograph, where hardly anything occurs twice.
    [[nodiscard]] bool isPhotographic() const { return photographic; }

    /// Row `y`, its filter byte first; valid until the next call. Rows are asked for in order.
    [[nodiscard]] std::span<const std::uint8_t> filteredRow(int y);

private:
    enum class Layout { palette, rgb, rgba };
    enum Filter : std::uint8_t { filterNone = 0, filterPaeth = 4 };

    void readRow(int y, std::vector<std::uint8_t>& row) const;
    /// Leaves the prediction of the current row in `filtered` where there is a choice.
    [[nodiscard]] Filter chooseFilter(double recurrence);
    [[nodiscard]] bool manyRowsLookPhotographic();

    const QImage& image;
    std::optional<PngPalette> palette;
    Layout layout = Layout::rgb;
    bool photographic = false;
    std::size_t pixelBytes = 0; ///< Distance that filters look to the left.
    std::size_t rowBytes = 0;
    // Rows stand behind one pixel of zeros, which is what filters see left of the image.
    std::vector<std::uint8_t> above;
    std::vector<std::uint8_t> current;
    std::vector<std::uint8_t> filtered; ///< Filter byte and row.
};

} // namespace quibel
